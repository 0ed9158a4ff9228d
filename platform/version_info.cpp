// CVersionInfo: a module's version record copied into owned strings and numbers.
#include <platform/loader.h>
#include <platform/version_info.h>

CVersionInfo::CVersionInfo(zulplatform::IModule* module) {
    _Clear();
    if (module == nullptr)
        module = zulwin::GetModuleHandle(nullptr);
    auto* linked = dynamic_cast<zulplatform::ILinkedObject*>(module);
    if (linked == nullptr)
        return;
    const zulplatform::VersionRecord_t* record = linked->GetVersionInfo();
    if (record == nullptr)
        return;
    // The record's file version text and its reserved text are not copied.
    m_strFileDescription = record->szFileDescription;
    m_strCompanyName = record->szCompanyName;
    m_strProductName = record->szProductName;
    m_strInternalName = record->szInternalName;
    m_strLegalCopyright = record->szLegalCopyright;
    for (int i = 0; i < 4; ++i)
        m_wFileVersion[i] = record->wFileVersion[i];
    for (int i = 0; i < 3; ++i)
        m_wProductVersion[i] = record->wProductVersion[i];
    m_tBuildTime = record->tBuildTime;
    m_bDebug = false;
}

CVersionInfo::CVersionInfo(const char* moduleName)
    : CVersionInfo(zulwin::GetModuleHandle(moduleName)) {}

void CVersionInfo::_Clear() {
    m_bDebug = false;
    for (auto& v : m_wFileVersion)
        v = 0;
    for (auto& v : m_wProductVersion)
        v = 0;
    m_strFileDescription.Empty();
    m_strReserved.Empty();
    m_strCompanyName.Empty();
    m_strProductName.Empty();
    m_strInternalName.Empty();
    m_strLegalCopyright.Empty();
    m_tBuildTime = 0;
}

void CVersionInfo::Format(zulwin::CString& out) const {
    out.Format("V%d.%d.%d.%d", m_wFileVersion[0], m_wFileVersion[1], m_wFileVersion[2],
               m_wFileVersion[3]);
    if (m_bDebug)
        out += " (Debug)";
}
