/// \file
/// Umbrella header: every family of the library.
#pragma once

#include <platform/config.h>
#include <platform/files.h>
#include <platform/module.h>
#include <platform/strings.h>
#include <platform/system.h>
#include <platform/time.h>
#include <platform/unicode.h>
#include <platform/version.h>

/// \namespace zulwin
/// The Windows programming model under its own names: CString, CFile, CRegKey, the loader
/// calls, the last error, the time records and conversions. Windows-named functions report
/// through the last error; the MFC-style classes throw.

/// \namespace zulplatform
/// The library's own services: the module and application objects, files and paths, time
/// stamps, GUIDs, locations. Its utilities return a boolean or the POSIX result and set no last
/// error.

/// \namespace utf8_private
/// The UTF-8 codec primitives and the Unicode case and composition tables under CUtf8String.

/// \namespace inifile
/// The INI text reader and writer behind CIniFile.
