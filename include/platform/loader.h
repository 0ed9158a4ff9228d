/// \file
/// Dynamic loading: modules of the family loaded by name, their symbols, handles and file names;
/// the directories of the executable and of a module.
#pragma once

#include <platform/cstring.h>
#include <platform/module_object.h>

#include <cstddef>

namespace zulplatform {

/// The module's directory with its trailing "/"; empty when no name is known.
PLATFORM_API zulwin::CString GetModuleDir(IModule* module);
/// The executable's directory with a trailing "/", and its file name. Computed once; call
/// during start-up before threads use them.
PLATFORM_API const char* GetAppDir();
/// The executable's file name without its directory; computed once, like GetAppDir.
PLATFORM_API const char* GetExeName();
/// For a program that works on another application's files (an operator's tool): makes `dir`
/// the application directory that GetAppDir, and every location derived from it, reports for
/// the rest of the process. A relative `dir` is taken from the current directory; the stored
/// form is canonical and ends in "/" (the directory need not exist). True when set; false,
/// changing nothing, once GetAppDir or GetExeName has been called (or SetAppDir has succeeded)
/// in this process, and for a null, empty or over-long path. Safe to race with those calls:
/// exactly one of them fixes the directory. GetExeName still names the running executable.
PLATFORM_API bool SetAppDir(const char* dir);

} // namespace zulplatform

namespace zulwin {

/// Loads a module of the family by name (".so" appended when the base name has no dot) and
/// returns its GetModule object; null when it cannot be loaded or exports no module. A name
/// ending in ".out" denotes the executable: the application object when its file name
/// contains that name, else null.
PLATFORM_API zulplatform::IModule* LoadLibrary(const char* name);
/// LoadLibrary(name); `reserved` and `flags` are ignored.
PLATFORM_API zulplatform::IModule* LoadLibraryEx(const char* name, void* reserved,
                                                 unsigned int flags);
/// The symbol in the module (the main program for null); null when not found.
PLATFORM_API void* GetProcAddress(zulplatform::IModule* module, const char* symbol);
/// Drops the reference LoadLibrary took. False for modules not registered with the
/// application object and for the application object itself.
PLATFORM_API bool FreeLibrary(zulplatform::IModule* module);
/// The module of that name (the application object for null), leaving the loader's reference
/// count as it found it.
PLATFORM_API zulplatform::IModule* GetModuleHandle(const char* name);
/// The module's file name (the executable's full path for null), truncated to size - 1
/// characters and terminated; returns the number of characters copied.
PLATFORM_API std::size_t GetModuleFileName(zulplatform::IModule* module, char* buffer,
                                           std::size_t size);
/// Stores the mode and returns it (the new mode, not the previous one).
PLATFORM_API unsigned int SetErrorMode(unsigned int mode);
/// The process-wide cache of the executable's full path.
PLATFORM_API CString& _GetAppFullPath();

} // namespace zulwin
