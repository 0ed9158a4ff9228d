/// \file
/// Resources: a module's string table and version record, and string lookup by id.
#pragma once

#include <platform/cstring.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zulplatform {

class IModule;

/// A module's version record. The field order is part of the interface, so a module can write
/// its record as an aggregate.
struct VersionRecord_t {
    const char* szFileVersion;     ///< dotted, such as "1.1.271.0"
    const char* szFileDescription; ///< what the module is
    const char* szReserved;        ///< left null by this library
    const char* szCompanyName;     ///< the maker
    const char* szProductName;     ///< the product the module belongs to
    const char* szLegalCopyright;  ///< the copyright line
    const char* szInternalName;    ///< the module's own name, without path or suffix
    uint16_t wFileVersion[4];      ///< major, minor, build, revision
    uint16_t wProductVersion[4];   ///< major, minor, build, revision
    int64_t tBuildTime;            ///< seconds since 1970-01-01 00:00:00 UTC
};

/// One entry of a string table. The text is a static string that the owning module keeps for
/// its whole life; tables never copy or free texts.
struct StringEntry_t {
    unsigned int id;  ///< the string's id; the first entry of an id wins
    const char* text; ///< the text, never copied
};

/// A module's string table and version record. Each module keeps one as a static object and
/// fills it at attach time (its InitResources).
class PLATFORM_API CResourceData {
public:
    /// An empty table and a record of null pointers and zeros.
    CResourceData();
    ~CResourceData();

    /// The text of the first entry whose id equals `id`; "" (never null) when there is none.
    const char* GetString(unsigned int id) const;

    /// Replaces the string table with `entries`, kept in their order.
    void SetStringTable(std::vector<StringEntry_t> entries);
    /// Copies `record` in as the version record.
    void SetVersionInfo(const VersionRecord_t& record);

    /// The string table in its order.
    const std::vector<StringEntry_t>& GetStringTable() const { return m_strings; }
    /// The version record (never null).
    const VersionRecord_t* GetVersionInfo() const { return &m_version; }

private:
    std::vector<StringEntry_t> m_strings;
    VersionRecord_t m_version;
};

/// Looks strings up in one CResourceData it does not own.
class PLATFORM_API CResourceManager {
public:
    /// Looks up in `data`, which must outlive the manager.
    explicit CResourceManager(const CResourceData& data) : m_data(&data) {}
    /// CResourceData::GetString: "" (never null) for an unknown id.
    const char* LoadString(unsigned int id) const { return m_data->GetString(id); }
    /// The data looked up in.
    const CResourceData* GetResourceData() const { return m_data; }

private:
    const CResourceData* m_data;
};

/// Empties `out`; for a non-null module assigns its text for `id`. True when the result is not
/// empty.
PLATFORM_API bool LoadString(zulwin::CString& out, IModule* module, unsigned int id);
/// True when the module's file name ends in ".lang" (case-sensitive); false for null.
PLATFORM_API bool HasLocalizedResources(IModule* module);
/// The complement for a non-null module: a code image rather than a language file.
PLATFORM_API bool IsMappedImage(IModule* module);

} // namespace zulplatform

namespace zulwin {

/// Copies the module's text for `id` into `buffer` (at most size - 1 characters, always
/// terminated); returns the number copied. 0 for a null buffer, size 0 or null module.
PLATFORM_API std::size_t LoadString(zulplatform::IModule* module, unsigned int id, char* buffer,
                                    std::size_t size);
} // namespace zulwin
