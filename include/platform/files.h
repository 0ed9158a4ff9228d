// Files: exceptions and file errors, CFile, file-system operations, paths and path validation,
// file search.
#pragma once

#include <platform/file.h>
#include <platform/file_exception.h>
#include <platform/file_search.h>
#include <platform/filesystem.h>
#include <platform/path.h>
