// The saving and copying paths with one C library call failing: each operation runs with every
// call of every function failing in turn, under every error, until it completes without meeting
// the failure. Each failure must surface as the result or exception its family describes, leave
// the old file intact or the new one complete, leak no descriptor and leave no other file.
#include "support/child_process.h"
#include "support/scratch.h"

#include <platform/file.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

using namespace test_support;
namespace fs = std::filesystem;

namespace {

int ErrnoToException(const std::string& error) {
    int const code = error == "ENOSPC" ? ENOSPC : error == "EINTR" ? EINTR : EIO;
    return zulwin::CFileException::ErrnoToException(code);
}

struct Case {
    const char* op;          // the probe's command, run on FILE = the data directory's "target"
    const char* old;         // the target's content before each run; null: the probe creates it
    std::uintmax_t size;     // the size of the complete new target; 0: not checked
    long least[4];           // open, read, write and rename calls of a complete run, at least
    const char* onWrite;     // "outcome/content" pairs ('|' between) allowed when a write fails:
    const char* onRead;      // "cause" is the injected error's CFileException cause; content o
    const char* onOtherCall; // is the old file, n the complete new one, p a prefix of the new
                             // one in whole 16 KiB blocks, * anything
};

const char kConfig[] = "[A]\nk = old\n\n[B]\nx = 1\n\n[Settings\\Net]\nHost@STRING = old\n\n";

const Case kCases[] = {
    // A read error ends the copy like the end of the file: a short copy, reported as done. A
    // target that could not be opened or put in place is ERROR_ACCESS_DENIED.
    {"copy", "old content", 100000, {3, 7, 7, 1}, "cause/o", "ok/p", "false 5/o"},
    {"write", nullptr, 300000, {1, 0, 5, 0}, "cause/*", "", "false 0/*"}, // 64 KiB at a time
    {"buffer", nullptr, 8 + 100000, {1, 0, 2, 0}, "cause/*", "", "false 0/*"},
    {"timestamp", nullptr, 12, {1, 0, 2, 0}, "cause/*", "", "false 0/*"},
    // The configuration writers replace the file as a whole. A failed INI write is exception
    // -3, anything else before the rename the result false.
    {"ini", kConfig, 0, {2, 1, 1, 1}, "exception -3/o|ok/n", "false 0/o|ok/n", "false 0/o|ok/n"},
    // Always true; only the write error passes out.
    {"profile", kConfig, 0, {2, 1, 1, 1}, "exception -3/o|ok/n", "ok/o|ok/n", "ok/o|ok/n"},
    // Flush and Close report success whatever the save did; the key's destructor saves the
    // still modified document again, which may then succeed. A key whose file could not be
    // opened or read when it was made never saves over it.
    {"registry",
     kConfig,
     0,
     {2, 1, 1, 1},
     "exception -3/o|exception -3/n|ok/n",
     "ok/o|ok/n",
     "ok/o|ok/n"},
};

struct ProbeRun {
    std::string outcome;
    int fdsBefore = -1, fdsAfter = -2;
    long calls = 0; // calls of the chosen function that concerned the directory
    int failed = 0; // whether the injected failure happened
};

ProbeRun RunProbe(const std::string& probe, const std::string& dir, const char* op,
                  const char* call, const char* error, long nth) {
    int status = -1;
    std::string const out =
        RunAndCapture({probe, op, dir + "/target"}, &status,
                      {"LD_PRELOAD=" FAULT_INJECT_PATH, std::string("FAULT_CALL=") + call,
                       std::string("FAULT_ERRNO=") + error, "FAULT_NTH=" + std::to_string(nth),
                       "FAULT_DIR=" + dir,
                       // The sanitizer runtime need not come first when a library is preloaded.
                       "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"});
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << out;
    ProbeRun run;
    int reports = 0, at = 0;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        if (std::sscanf(line.c_str(), "fds=%d %d outcome=%n", &run.fdsBefore, &run.fdsAfter, &at) ==
            2)
            run.outcome = line.substr(static_cast<std::size_t>(at));
        reports += std::sscanf(line.c_str(), "calls=%ld failed=%d", &run.calls, &run.failed) == 2;
    }
    EXPECT_EQ(reports, 1) << "no report from the preload library: " << out;
    return run;
}

TEST(Faults, EveryOperationUnderEveryFailure) {
    std::string const source(100000, 's');
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.op);
        ScratchDir scratch;
        // The registry lives below the executable's directory: the probe runs from a copy.
        std::string const probe = scratch / "fault_probe", dir = scratch / "user_data";
        std::string const target = dir + "/target", old = c.old != nullptr ? c.old : "";
        fs::copy_file(FAULT_PROBE_PATH, probe);
        auto const prepare = [&] {
            fs::remove_all(dir);
            fs::create_directories(dir);
            WriteFile(target + ".src", source);
            if (c.old != nullptr)
                WriteFile(target, c.old);
        };
        prepare();
        ASSERT_EQ(RunProbe(probe, dir, c.op, "open", "EIO", 0).outcome, "ok");
        std::string const fresh = ReadFile(target);
        ASSERT_NE(fresh, old);
        if (c.size != 0) {
            ASSERT_EQ(fresh.size(), c.size);
        }
        const char* const kCalls[] = {"open", "read", "write", "rename", "fsync"};
        for (int call = 0; call < 5; ++call)
            for (const char* error : {"ENOSPC", "EIO", "EINTR"})
                for (long nth = 1;; ++nth) {
                    SCOPED_TRACE(std::string(kCalls[call]) + " " + error + " #" +
                                 std::to_string(nth));
                    prepare();
                    ProbeRun const run = RunProbe(probe, dir, c.op, kCalls[call], error, nth);
                    EXPECT_EQ(run.fdsBefore, run.fdsAfter) << "a descriptor leaked";
                    for (const auto& entry : fs::directory_iterator(dir))
                        EXPECT_TRUE(entry.path() == target || entry.path() == target + ".src")
                            << "left behind: " << entry.path();
                    EXPECT_EQ(ReadFile(target + ".src"), source);
                    std::string const content = ReadFile(target);
                    if (!run.failed) {
                        EXPECT_LT(run.calls, nth) << "the failing call was made but did not fail";
                        EXPECT_GE(run.calls, call < 4 ? c.least[call] : 0);
                        EXPECT_EQ(run.outcome, "ok");
                        EXPECT_EQ(content, fresh);
                        break;
                    }
                    // The outcome with the injected error's cause written "cause", and how the
                    // target was left.
                    std::string outcome = run.outcome;
                    if (outcome == "cfileexception " + std::to_string(ErrnoToException(error)))
                        outcome = "cause";
                    bool const prefix = content.size() % 16384 == 0 &&
                                        fresh.compare(0, content.size(), content) == 0;
                    std::string const kept = content == old     ? "o"
                                             : content == fresh ? "n"
                                             : prefix           ? "p"
                                                                : "?";
                    std::string const allowed = std::string("|") +
                                                (call == 2   ? c.onWrite
                                                 : call == 1 ? c.onRead
                                                             : c.onOtherCall) +
                                                "|";
                    EXPECT_TRUE(allowed.find("|" + outcome + "/" + kept + "|") !=
                                    std::string::npos ||
                                allowed.find("|" + outcome + "/*|") != std::string::npos)
                        << run.outcome << ", content " << kept;
                    if (nth > 1000 || ::testing::Test::HasFailure())
                        return;
                }
    }
}

} // namespace
