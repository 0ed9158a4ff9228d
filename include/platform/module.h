/// \file
/// Module runtime: resources and string tables, module objects and library entry, the
/// application object, dynamic loading, version information and process services.
#pragma once

#include <platform/app.h>
#include <platform/loader.h>
#include <platform/module_entry.h>
#include <platform/module_object.h>
#include <platform/process.h>
#include <platform/resources.h>
#include <platform/signals.h>
#include <platform/version_info.h>
