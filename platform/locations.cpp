// The process environment and the places derived from it: country code, the application's
// own directories and the Java runtime root.
#include <platform/filesystem.h>
#include <platform/loader.h>
#include <platform/locations.h>
#include <platform/path.h>
#include <platform/safe_string.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>

using zulwin::CString;

namespace zulplatform {

namespace {

// Shortest root the Java search accepts; anything shorter is a parse failure.
constexpr long kMinJavaRootLength = 4;
constexpr int kCommandChunk = 256;

// The first "LD_LIBRARY_PATH" entry that holds libjvm.so, taken as written; empty when none.
CString FindJvmLibraryDirectory() {
    const char* list = std::getenv("LD_LIBRARY_PATH");
    if (list == nullptr)
        return CString();
    for (const char* entry = list;;) {
        const char* end = std::strchr(entry, ':');
        const std::size_t length =
            end != nullptr ? static_cast<std::size_t>(end - entry) : std::strlen(entry);
        std::string candidate(entry, length);
        const std::size_t entryLength = candidate.size();
        candidate += "/libjvm.so";
        if (FileExists(candidate.c_str()))
            return CString(candidate.substr(0, entryLength).c_str());
        if (end == nullptr)
            return CString();
        entry = end + 1;
    }
}

// What the shell reports for the "java" on the search path, line feed included.
CString ResolveJavaOnSearchPath() {
    FILE* pipe = popen("readlink -f $(which java)", "r");
    if (pipe == nullptr)
        throw std::runtime_error("Failed to execute external command");
    CString output;
    char chunk[kCommandChunk];
    while (std::fgets(chunk, sizeof chunk, pipe) != nullptr)
        output += chunk;
    pclose(pipe);
    return output;
}

bool EndsWithJvm(const CString& path) {
    const long length = path.GetLength();
    return length >= 3 && std::strcmp(path.GetString() + length - 3, "jvm") == 0;
}

// The directory one level below the first ancestor named "...jvm"; without such an ancestor,
// the shortest ancestor longer than three characters.
CString FindRuntimeRoot(const CString& candidate) {
    CString result = candidate;
    CString path = candidate;
    while (path.GetLength() > 3 && !EndsWithJvm(path)) {
        result = path;
        path = path.Left(path.ReverseFind('/'));
    }
    return result;
}

} // namespace

bool GetEnvironmentString(CString& value, CString const& name) {
    const char* text = secure_getenv(name.GetString());
    if (text == nullptr) {
        value.Empty();
        return false;
    }
    value = text;
    return true;
}

CString GetIso3166CountryName() {
    CString lang;
    GetEnvironmentString(lang, "LANG");
    // "en_US.UTF-8": the two characters before the first dot. No dot gives Left(-1), empty.
    return lang.Left(lang.Find('.')).Right(2);
}

CString GetAppUserDir() {
    return CString(GetAppDir()) + ".config/";
}

CString GetDefaultAppDataDir() {
    return CString(GetAppDir()) + "user_data/";
}

char const* GetJavaPath() {
    // Filled by the first successful call, under a lock so that threads asking at the same time
    // search once; a failure leaves it empty so that a later call searches again. Once filled it
    // never changes, so the text handed out stays valid.
    static std::mutex fillLock;
    static std::atomic<bool> found{false};
    static CString root;
    if (found.load(std::memory_order_acquire))
        return root.GetString();
    std::lock_guard<std::mutex> lock(fillLock);
    if (!found.load(std::memory_order_relaxed)) {
        CString candidate = FindJvmLibraryDirectory();
        if (candidate.IsEmpty())
            candidate = ResolveJavaOnSearchPath();
        CString result = FindRuntimeRoot(candidate);
        if (result.GetLength() < kMinJavaRootLength)
            throw std::runtime_error("Error caught trying to parse root jre location.");
        root = result + "/";
        found.store(true, std::memory_order_release);
    }
    return root.GetString();
}

} // namespace zulplatform
