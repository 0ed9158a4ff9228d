// Resource records and string lookup; this library's own string table and version record.
#include "platform/internal/build_time.h"
#include "platform/internal/library_entry.h"

#include <platform/module_object.h>
#include <platform/resources.h>
#include <platform/time_stamp.h>
#include <platform/version.h>

#include <cstring>
#include <string>

namespace zulplatform {

CResourceData::CResourceData() : m_version{} {}

CResourceData::~CResourceData() = default;

const char* CResourceData::GetString(unsigned int id) const {
    for (const StringEntry_t& entry : m_strings)
        if (entry.id == id)
            return entry.text != nullptr ? entry.text : "";
    return "";
}

void CResourceData::SetStringTable(std::vector<StringEntry_t> entries) {
    m_strings = std::move(entries);
}

void CResourceData::SetVersionInfo(const VersionRecord_t& record) {
    m_version = record;
}

CResourceData& GetResourceData() {
    static CResourceData data;
    return data;
}

CResourceData& _GetLocalResourceData() {
    static CResourceData data;
    return data;
}

void InitResources() {
    // The file-error messages, formatted with the file name. 110 has no final full stop, as
    // it always had.
    std::vector<StringEntry_t> table = {
        {101, "No error occurred."},
        {102, "An unknown error occurred while accessing %s."},
        {103, "%s was not found."},
        {104, "%s contains an incorrect path."},
        {105, "Could not open %s because there are too many open files."},
        {106, "Access to %s was denied."},
        {107, "An incorrect file handle was associated with %s."},
        {108, "Could not remove %s because it is the current directory."},
        {109, "Could not create %s because the directory is full."},
        {110, "Seek failed on %s"},
        {111, "Encountered a hardware I/O error while accessing %s."},
        {112, "Encountered a sharing violation while accessing %s."},
        {113, "Encountered a locking violation while accessing %s."},
        {114, "Disk full while accessing %s."},
        {115, "Attempted to access %s past its end."},
    };
    VersionRecord_t record = {
        PLATFORM_VERSION_TEXT,
        "Portable base library of the server family",
        nullptr,
        "The libplatform developers",
        "libplatform",
        "Copyright (c) The libplatform developers",
        "libplatform",
        {PLATFORM_VERSION_MAJOR, PLATFORM_VERSION_MINOR, PLATFORM_VERSION_PATCH, 0},
        {PLATFORM_VERSION_MAJOR, PLATFORM_VERSION_MINOR, PLATFORM_VERSION_PATCH, 0},
        0,
    };
    // std::stol gives exactly the contract wanted: invalid_argument / out_of_range with the
    // text "stol", errno restored when the conversion left it alone.
    long const seconds = std::stol(PLATFORM_BUILD_TIME, nullptr, 10);
    // The build time goes through a time stamp and comes back as 32-bit Unix seconds, widened;
    // every value from 0 to 2147483647 is kept as it is.
    record.tBuildTime = static_cast<int64_t>(CTimeStamp(seconds).GetUnixTime());

    CResourceData& data = GetResourceData();
    data.SetStringTable(std::move(table));
    data.SetVersionInfo(record);
}

bool LoadString(zulwin::CString& out, IModule* module, unsigned int id) {
    return out.LoadString(module, id);
}

bool HasLocalizedResources(IModule* module) {
    if (module == nullptr)
        return false;
    const char* name = module->GetModuleFileName();
    std::size_t const len = name != nullptr ? std::strlen(name) : 0;
    return len >= 5 && std::memcmp(name + len - 5, ".lang", 5) == 0;
}

bool IsMappedImage(IModule* module) {
    return module != nullptr && !HasLocalizedResources(module);
}

} // namespace zulplatform
