/// \file
/// CVersionInfo: a module's version record as owned strings and numbers.
#pragma once

#include <platform/cstring.h>
#include <platform/module_object.h>

#include <cstddef>
#include <cstdint>

/// A module's version record as owned strings and numbers.
class PLATFORM_API CVersionInfo {
public:
    /// The record of `module` (the application object for null). A module that is not an
    /// ILinkedObject leaves the fields cleared.
    explicit CVersionInfo(zulplatform::IModule* module);
    /// The application object's record.
    explicit CVersionInfo(std::nullptr_t)
        : CVersionInfo(static_cast<zulplatform::IModule*>(nullptr)) {}
    /// The record of the module GetModuleHandle(moduleName) finds.
    explicit CVersionInfo(const char* moduleName);

    /// All numbers zero, the flag false, every string empty.
    void _Clear();
    /// "V%d.%d.%d.%d" of the file version, plus " (Debug)" for a debug build.
    void Format(zulwin::CString& out) const;

    bool m_bDebug = false;                ///< never set by the constructors
    uint16_t m_wFileVersion[4] = {};      ///< major, minor, build, revision
    uint16_t m_wProductVersion[3] = {};   ///< the first three product version numbers
    zulwin::CString m_strFileDescription; ///< VersionRecord_t::szFileDescription
    zulwin::CString m_strReserved;        ///< no constructor fills it
    zulwin::CString m_strCompanyName;     ///< VersionRecord_t::szCompanyName
    zulwin::CString m_strProductName;     ///< VersionRecord_t::szProductName
    zulwin::CString m_strInternalName;    ///< VersionRecord_t::szInternalName
    zulwin::CString m_strLegalCopyright;  ///< VersionRecord_t::szLegalCopyright
    int64_t m_tBuildTime = 0;             ///< Unix seconds of the build
};
