// System services: per-thread last error and error-code texts; environment and standard
// locations.
#pragma once

#include <platform/last_error.h>
#include <platform/locations.h>
#include <platform/winerror.h>
