// Strings and buffers: the CString byte string, CStringArray, and the safe C-string and number
// helpers.
#pragma once

#include <platform/cstring.h>
#include <platform/cstring_array.h>
#include <platform/safe_string.h>
