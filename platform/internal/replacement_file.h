// Replacing a file's content as a whole: the new content is written to a temporary file in the
// target's directory and renamed over the target, so that a reader, or a crash or kill at any
// moment, sees either the old or the new complete file. No fsync is made: the fault this guards
// against is the death of a process, not a power cut.
#pragma once

#include <string>

namespace zulplatform {

class _CReplacementFile {
public:
    // `target` is the path to replace. A dangling symbolic link is followed (the content goes
    // where the link points, as writing through the link would); any other link is replaced,
    // unless `followLinks` asks for every link to be followed, so that the link stays and its
    // target gets the new content.
    explicit _CReplacementFile(const char* target, bool followLinks = false);
    _CReplacementFile(const _CReplacementFile&) = delete;
    _CReplacementFile& operator=(const _CReplacementFile&) = delete;
    // Removes the temporary file unless Commit succeeded.
    ~_CReplacementFile();

    // Creates the temporary file, empty, with `mode` (before the umask). False, with errno set,
    // when it cannot be created.
    bool Create(unsigned int mode);
    // The temporary file's path; valid after Create.
    const std::string& TempPath() const { return m_temp; }
    // Renames the temporary file over the target. False, with errno set and the temporary file
    // removed, when the rename fails.
    bool Commit();

private:
    std::string m_target;
    std::string m_temp;
    bool m_pending = false;
};

} // namespace zulplatform
