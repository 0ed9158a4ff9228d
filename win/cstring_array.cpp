// CStringArray: an owning, index-addressed list of CString.
//
// Elements live on the heap, one allocation each, so references handed out by operator[] stay
// valid while other elements are added or removed.

#include <platform/cstring_array.h>
#include <platform/exception.h>

#include <algorithm>

namespace zulwin {

namespace {

constexpr int kRangeError = -1;

} // namespace

CStringArray::~CStringArray() {
    // Destructors are noexcept: a throwing element destructor ends the process here.
    RemoveAll();
}

long CStringArray::Add(CString const& s) {
    // Reserve first so that push_back cannot throw after the copy is made.
    m_items.reserve(m_items.size() + 1);
    m_items.push_back(new CString(s));
    return GetCount() - 1;
}

CString& CStringArray::operator[](long i) {
    if (i < 0 || i >= GetCount())
        zulplatform::CException::Throw(kRangeError);
    return *m_items[static_cast<std::size_t>(i)];
}

const CString& CStringArray::operator[](long i) const {
    if (i < 0 || i >= GetCount())
        zulplatform::CException::Throw(kRangeError);
    return *m_items[static_cast<std::size_t>(i)];
}

void CStringArray::SetSize(long n, int /*growBy*/) {
    if (n < 0)
        zulplatform::CException::Throw(kRangeError);
    auto const wanted = static_cast<std::size_t>(n);
    if (wanted == 0) {
        RemoveAll();
    } else if (wanted > m_items.size()) {
        m_items.reserve(wanted);
        while (m_items.size() < wanted)
            m_items.push_back(new CString());
    } else if (wanted < m_items.size()) {
        for (std::size_t i = wanted; i < m_items.size(); ++i)
            delete m_items[i];
        m_items.resize(wanted);
    }
}

void CStringArray::RemoveAt(int index, int count) {
    // A negative index is a caller error; it removes nothing rather than corrupting memory.
    if (count < 1 || index < 0 || static_cast<std::size_t>(index) >= m_items.size())
        return;
    auto const first = static_cast<std::size_t>(index);
    // Rounds that run past the end remove nothing, so the range is clamped to the end.
    std::size_t const last = std::min(m_items.size(), first + static_cast<std::size_t>(count));
    for (std::size_t i = first; i < last; ++i)
        delete m_items[i]; // a null slot is skipped by delete itself
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(first),
                  m_items.begin() + static_cast<std::ptrdiff_t>(last));
}

void CStringArray::RemoveAll() {
    for (CString* item : m_items)
        delete item;
    m_items.clear(); // keeps the capacity for reuse
}

void CStringArray::Copy(CStringArray const& src) {
    SetSize(src.GetCount(), -1);
    for (std::size_t i = 0; i < m_items.size(); ++i)
        *m_items[i] = *src.m_items[i];
}

long CStringArray::Append(CStringArray const& src) {
    // Taken before SetSize: appending an array to itself must copy only the old elements.
    long const oldCount = GetCount();
    long const srcCount = src.GetCount();
    SetSize(oldCount + srcCount, -1);
    for (long i = 0; i < srcCount; ++i)
        *m_items[static_cast<std::size_t>(oldCount + i)] =
            *src.m_items[static_cast<std::size_t>(i)];
    return oldCount;
}

} // namespace zulwin
