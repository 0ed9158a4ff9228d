// Module runtime: module objects and resources.
#pragma once

#include <platform/strings.h>

#include <cstdint>

namespace zulplatform {

// A module's version record. The field order is part of the interface, so a module can write
// its record as an aggregate.
struct VersionRecord_t {
    const char* szFileVersion; // dotted, such as "1.1.271.0"
    const char* szFileDescription;
    const char* szReserved; // left null by this library
    const char* szCompanyName;
    const char* szProductName;
    const char* szLegalCopyright;
    const char* szInternalName;
    uint16_t wFileVersion[4];    // major, minor, build, revision
    uint16_t wProductVersion[4]; // major, minor, build, revision
    int64_t tBuildTime;          // seconds since 1970-01-01 00:00:00 UTC
};

// A module of the family (a shared library or the host executable).
class IModule {
public:
    virtual ~IModule() = default;
    // The text for `id`; an empty string (never null) when the id is unknown.
    virtual const char* LoadString(unsigned int id) const = 0;
    virtual const char* GetModuleFileName() const = 0;
    virtual const VersionRecord_t* GetVersionInfo() const = 0;
};

} // namespace zulplatform

namespace zulwin {

// The current resource module: the one set by AfxSetResourceHandle, else the application
// object; null while neither exists.
zulplatform::IModule* AfxGetResourceHandle();

} // namespace zulwin
