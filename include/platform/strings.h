/// \file
/// Strings and buffers: the CString byte string, CStringArray, the safe C-string and number
/// helpers, and the CGrowableBuffer byte buffer.
#pragma once

#include <platform/cstring.h>
#include <platform/cstring_array.h>
#include <platform/growable_buffer.h>
#include <platform/safe_string.h>
