/// \file
/// System services: per-thread last error and error-code texts; GUIDs; environment and standard
/// locations; BSTR and SAFEARRAY.
#pragma once

#include <platform/guid.h>
#include <platform/last_error.h>
#include <platform/locations.h>
#include <platform/oleauto.h>
#include <platform/winerror.h>
