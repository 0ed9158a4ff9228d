/// \file
/// Configuration storage: the INI document and its text form, the private profile functions and
/// the registry emulation on INI files.
#pragma once

#include <platform/ini_file.h>
#include <platform/profile.h>
#include <platform/registry.h>
