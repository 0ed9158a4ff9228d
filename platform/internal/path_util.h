// Path steps that several parts of the library share.
#pragma once

#include <platform/cstring.h>

namespace zulplatform {

// Makes a relative `path` (one that does not start with "/") absolute: the current directory
// and "/" go in front, and the result is made canonical with ResolveFullPath. An absolute path
// is left as it is. False, with `path` untouched, when the path is relative and the current
// directory cannot be read.
bool _MakeAbsolute(zulwin::CString& path);

} // namespace zulplatform
