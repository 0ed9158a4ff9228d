// Process services: the recursive mutex, process and thread identifiers, the processor count,
// and the first load-time hook of the library.
#include "platform/internal/library_entry.h"

#include <platform/exception.h>
#include <platform/process.h>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

namespace zulplatform {

// Nothing needs setting up before the rest of the library loads; the hook keeps its place as
// the first load-time constructor for code that expects it.
void PlatformExceptionInit() {}

namespace {

// GCC drops a constructor priority given on the definition of a function that an earlier
// declaration (the public header) declared without it, so the priority sits on this wrapper.
// Order: 101 this hook, 102 the module entry, 103 the signal table, 104 the path characters.
__attribute__((constructor(101))) void RunPlatformExceptionInit() {
    PlatformExceptionInit();
}

} // namespace

// ---------------------------------------------------------------------------------------------
// CZULMutex

CZULMutex::CZULMutex() {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
        CException::Throw(-1);
    const bool typed = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0;
    const bool created = typed && pthread_mutex_init(&m_mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    if (!created)
        CException::Throw(-1);
}

CZULMutex::~CZULMutex() {
    pthread_mutex_destroy(&m_mutex);
}

bool CZULMutex::Lock() {
    return pthread_mutex_lock(&m_mutex) == 0;
}

bool CZULMutex::Unlock() {
    return pthread_mutex_unlock(&m_mutex) == 0;
}

// ---------------------------------------------------------------------------------------------
// Identifiers

namespace {

thread_local uint64_t t_threadId = 0;
thread_local bool t_threadIdCached = false;

// fork() copies the calling thread's cache into a child whose only thread has a new kernel id;
// forgetting the copy there makes the child fetch its own.
void ForgetThreadIdInChild() {
    t_threadIdCached = false;
}

const uint64_t s_traceId = 0;

} // namespace

unsigned int GetCpuCount() {
    const unsigned int count = std::thread::hardware_concurrency();
    return count != 0 ? count : 2;
}

pid_t GetProcessID() {
    return getpid();
}

uint64_t GetCurrentThreadIdentifier() {
    // Registered before anything is cached, so every cached value is covered.
    static const int forkHook = pthread_atfork(nullptr, nullptr, &ForgetThreadIdInChild);
    static_cast<void>(forkHook);
    if (!t_threadIdCached) {
        t_threadId = static_cast<uint64_t>(syscall(SYS_gettid));
        t_threadIdCached = true;
    }
    return t_threadId;
}

uint64_t GetTraceId() {
    return s_traceId;
}

} // namespace zulplatform
