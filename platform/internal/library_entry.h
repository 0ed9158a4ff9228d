// This library as a module of the family: its own resources, entry routine, hooks and instance
// slot. Every module of the family has functions of these names and roles for itself, so none
// of them is exported: a module's calls must never reach another module's definitions.
//
// Load-time constructors of the library run in this order (ELF constructor priorities):
//   101 PlatformExceptionInit, 102 init_dll, 103 the signal table, 104 the invalid path
//   characters. So everything init_dll reaches must be constant-initialised or a function-local
//   static.
#pragma once

#include <platform/module_object.h>
#include <platform/resources.h>

namespace zulplatform {

// This library's own resource record.
CResourceData& GetResourceData();
// A second record that stays empty unless someone fills it; the application object starts on
// it.
CResourceData& _GetLocalResourceData();
// Fills GetResourceData() with this library's string table (ids 101 to 115, the file-error
// messages) and version record. Throws std::invalid_argument / std::out_of_range ("stol") for
// a malformed build time.
void InitResources();

// This library's entry routine: 0 stores the module in the instance slot, fills the resources
// and calls InitLib; 1 calls ReleaseLib; 2 ThreadAttachLib; 3 ThreadDetachLib. Returns 1.
int DllMain(IModule* module, unsigned int reason, void* reserved);
// The load-time constructor and destructor of this library.
void init_dll();
void release_dll();
// Hooks of this library's entry routine; empty here.
void InitLib();
void ReleaseLib();
void ThreadAttachLib();
void ThreadDetachLib();

// This library's instance slot: its content (null before attach) and its address.
IModule* GetInstance();
void* _GetInstance();

// The first load-time constructor of the library; empty.
void PlatformExceptionInit();

} // namespace zulplatform
