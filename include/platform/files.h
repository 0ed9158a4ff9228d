/// \file
/// Files: exceptions and file errors, CFile, CStdioFile and the text-file helpers, CMemFile,
/// file-system operations, paths and path validation, file search, change monitors and file
/// locks.
#pragma once

#include <platform/file.h>
#include <platform/file_exception.h>
#include <platform/file_lock.h>
#include <platform/file_monitor.h>
#include <platform/file_search.h>
#include <platform/filesystem.h>
#include <platform/mem_file.h>
#include <platform/path.h>
#include <platform/stdio_file.h>
