/// \file
/// CFileLock: an exclusive advisory lock on a file, between processes and within one.
#pragma once

#include <platform/export.h>

#include <exception>

namespace zulplatform {

/// Holds an exclusive flock on an existing file for its lifetime. Locks belong to the open
/// file, so two CFileLock objects on one file exclude each other within a process too. The
/// file is opened close-on-exec, so programs started meanwhile do not keep the lock alive.
class PLATFORM_API CFileLock {
public:
    /// Thrown by value when the lock is not taken.
    class PLATFORM_API failure : public std::exception {
    public:
        /// A failure, held elsewhere or not.
        explicit failure(bool heldElsewhere) noexcept : m_bHeldElsewhere(heldElsewhere) {}
        /// True when a non-waiting attempt found the lock taken; false when the file could not
        /// be opened or the lock failed otherwise.
        bool IsHeldElsewhere() const noexcept { return m_bHeldElsewhere; }

        bool m_bHeldElsewhere; ///< what IsHeldElsewhere reports
    };

    /// Opens `path` read-only (it is not created) and locks it; with `wait` blocks until the
    /// lock is granted, without it fails at once when another holder has it.
    CFileLock(const char* path, bool wait);
    CFileLock(const CFileLock&) = delete;
    CFileLock& operator=(const CFileLock&) = delete;
    /// Unlocks and closes.
    ~CFileLock();

private:
    int* m_pFd;
};

} // namespace zulplatform
