/// \file
/// CFileSearch: directory trees searched with wildcard patterns and callbacks.
#pragma once

#include <platform/export.h>

namespace zulplatform {

/// Walks a directory tree and reports matching files to a callback; a directory that cannot be
/// opened reports nothing.
class PLATFORM_API CFileSearch {
public:
    /// Its two virtual operations are its whole table; it is never deleted through this type.
    class IFsCallback {
    public:
        /// A matching regular file; returning true stops the whole search.
        virtual bool OnFile(const char* path) = 0;
        /// A subdirectory of a recursive search, after its subtree; true stops the search.
        virtual bool OnDirectory(const char* path);

    protected:
        ~IFsCallback() = default;
    };

    /// Reports the regular files of `directory` (the current directory when empty) whose names
    /// match `pattern` ('*' and '?', case-sensitive), and with `recursive` those of every
    /// subdirectory, depth first, announcing each subdirectory after its contents.
    void FindFile(const char* directory, const char* pattern, IFsCallback* callback,
                  bool recursive);
};

} // namespace zulplatform
