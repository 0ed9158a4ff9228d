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
