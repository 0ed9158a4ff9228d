/// \file
/// Process services: the recursive mutex, process and thread identifiers, the processor count.
#pragma once

#include <platform/export.h>

#include <pthread.h>
#include <sys/types.h>

#include <cstdint>

namespace zulplatform {

/// A recursive POSIX mutex. Construction failure throws zulplatform::CException(-1).
class PLATFORM_API CZULMutex {
public:
    CZULMutex();
    CZULMutex(const CZULMutex&) = delete;
    CZULMutex& operator=(const CZULMutex&) = delete;
    ~CZULMutex();
    /// @{
    /// pthread_mutex_lock / unlock; true on success. The owning thread may lock again.
    bool Lock();
    bool Unlock();
    /// @}

private:
    pthread_mutex_t m_mutex;
};

/// Hardware concurrency, or 2 when unknown.
PLATFORM_API unsigned int GetCpuCount();
/// getpid().
PLATFORM_API pid_t GetProcessID();
/// The kernel thread id, cached per thread.
PLATFORM_API uint64_t GetCurrentThreadIdentifier();
/// Always 0: nothing in the library sets it.
PLATFORM_API uint64_t GetTraceId();
} // namespace zulplatform
