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
    explicit CVersionInfo(std::nullptr_t)
        : CVersionInfo(static_cast<zulplatform::IModule*>(nullptr)) {}
    /// The record of the module GetModuleHandle(moduleName) finds.
    explicit CVersionInfo(const char* moduleName);

    void _Clear();
    /// "V%d.%d.%d.%d" of the file version, plus " (Debug)" for a debug build.
    void Format(zulwin::CString& out) const;

    bool m_bDebug = false;
    uint16_t m_wFileVersion[4] = {};
    uint16_t m_wProductVersion[3] = {};
    zulwin::CString m_strFileDescription;
    zulwin::CString m_strReserved; ///< no constructor fills it
    zulwin::CString m_strCompanyName;
    zulwin::CString m_strProductName;
    zulwin::CString m_strInternalName;
    zulwin::CString m_strLegalCopyright;
    int64_t m_tBuildTime = 0;
};
