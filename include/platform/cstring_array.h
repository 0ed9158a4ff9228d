/// \file
/// zulwin::CStringArray, an owning list of CString values.
#pragma once

#include <platform/cstring.h>

#include <vector>

namespace zulwin {

/// Ordered list of CString values, each owned by the array. Indexes and counts are signed 64-bit.
/// Not copyable: use Copy.
class PLATFORM_API CStringArray {
public:
    CStringArray() = default;
    CStringArray(const CStringArray&) = delete;
    CStringArray& operator=(const CStringArray&) = delete;
    ~CStringArray();

    /// The number of elements.
    long GetCount() const noexcept { return static_cast<long>(m_items.size()); }
    /// Appends a copy; returns its index.
    long Add(CString const& s);
    /// Throws zulplatform::CException(-1) for an index outside 0..count-1.
    /// @{
    CString& operator[](long i);
    const CString& operator[](long i) const;
    /// @}
    /// growBy is ignored. A negative n throws zulplatform::CException(-1).
    void SetSize(long n, int growBy = -1);
    /// Deletes up to `count` elements at `index`, the later ones moving down; a count running
    /// past the end stops there, a count below 1 does nothing.
    void RemoveAt(int index, int count = 1);
    /// Deletes every element.
    void RemoveAll();
    /// Makes the array an element-by-element copy of `src`.
    void Copy(CStringArray const& src);
    /// Returns the index of the first appended element.
    long Append(CStringArray const& src);

private:
    std::vector<CString*> m_items;
};

} // namespace zulwin
