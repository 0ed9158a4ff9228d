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

using namespace test_support;
namespace fs = std::filesystem;

namespace {

struct Case {
    const char* op;  // the probe's command, run on FILE = the data directory's "target"
    const char* old; // the target's content before each run; null: the probe creates it
    long least[4];   // open, read, write and rename calls of a complete run, at least
    // What is allowed when another call, a read or a write fails: "outcome/content" pairs ('|'
    // between; none: that call never fails here): "cause" is the injected error's CFileException
    // cause; content o is the old file, n the complete new one, p a prefix of the new one in
    // whole 16 KiB blocks, and . any of them.
    const char* allowed[3];
};

const char kConfig[] = "[A]\nk = old\n\n[B]\nx = 1\n\n[Settings\\Net]\nHost@STRING = old\n\n";

const char kCFile[] = "false 0/."; // the CFile writers: Open fails, or a write throws
const char kKept[] = "ok/o|ok/n";

const Case kCases[] = {
    // A read error ends the copy like the end of the file: a short copy, reported as done. A
    // target that could not be opened or put in place is ERROR_ACCESS_DENIED.
    {"copy", "old content", {3, 7, 7, 1}, {"false 5/o", "ok/p", "cause/o"}},
    {"write", nullptr, {1, 0, 5, 0}, {kCFile, "", "cause/."}}, // 64 KiB at a time
    {"buffer", nullptr, {1, 0, 2, 0}, {kCFile, "", "cause/."}},
    {"timestamp", nullptr, {1, 0, 2, 0}, {kCFile, "", "cause/."}},
    // The configuration writers replace the file as a whole. A failed INI write is exception
    // -3, anything else before the rename the result false.
    {"ini", kConfig, {2, 1, 1, 1}, {"false 0/o|ok/n", "false 0/o|ok/n", "exception -3/o|ok/n"}},
    // Always true; only the write error passes out.
    {"profile", kConfig, {2, 1, 1, 1}, {kKept, kKept, "exception -3/o|ok/n"}},
    // Flush and Close report success whatever the save did; the key's destructor saves the
    // still modified document again, which may then succeed. A key whose file could not be
    // opened or read when it was made never saves over it.
    {"registry", kConfig, {2, 1, 1, 1}, {kKept, kKept, "exception -3/o|exception -3/n|ok/n"}},
};

// The probe's report of running `op` on the directory's "target" with the nth call of `call`
// failing with `error` (nth 0: calls are only counted): the open descriptors before and after,
// how the operation ended, how many calls of `call` concerned the directory, and whether the
// injected failure happened.
struct ProbeRun {
    int fdsBefore = -1, fdsAfter = -2, failed = 0;
    long calls = 0;
    char outcome[64] = {};
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
    ProbeRun run;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
                std::sscanf(out.c_str(), "fds=%d %d outcome=%63[^\n] calls=%ld failed=%d",
                            &run.fdsBefore, &run.fdsAfter, run.outcome, &run.calls,
                            &run.failed) == 5)
        << out;
    return run;
}

TEST(Faults, EveryOperationUnderEveryFailure) {
    const char* const kCalls[] = {"open", "read", "write", "rename", "fsync"};
    std::pair<const char*, int> const kErrors[] = {
        {"ENOSPC", ENOSPC}, {"EIO", EIO}, {"EINTR", EINTR}};
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.op);
        ScratchDir scratch;
        // The registry lives below the executable's directory: the probe runs from a copy.
        std::string const probe = scratch / "fault_probe", dir = scratch / "user_data",
                          target = dir + "/target", old = c.old != nullptr ? c.old : "";
        fs::copy_file(FAULT_PROBE_PATH, probe);
        auto const prepare = [&] {
            fs::remove_all(dir);
            fs::create_directories(dir);
            WriteFile(target + ".src", std::string(100000, 's'));
            if (c.old != nullptr)
                WriteFile(target, c.old);
        };
        prepare();
        ASSERT_STREQ(RunProbe(probe, dir, c.op, "open", "EIO", 0).outcome, "ok");
        std::string const fresh = ReadFile(target);
        ASSERT_NE(fresh, old);
        for (int k = 0; k < 15; ++k) {
            int const call = k / 3;
            auto const [error, code] = kErrors[k % 3];
            // The outcome that names the injected error's cause.
            std::string const cause =
                "cfileexception " + std::to_string(zulwin::CFileException::ErrnoToException(code));
            for (long nth = 1;; ++nth) {
                SCOPED_TRACE(std::string(kCalls[call]) + " " + error + " #" + std::to_string(nth));
                prepare();
                ProbeRun const run = RunProbe(probe, dir, c.op, kCalls[call], error, nth);
                EXPECT_EQ(run.fdsBefore, run.fdsAfter) << "a descriptor leaked";
                for (const auto& entry : fs::directory_iterator(dir))
                    EXPECT_TRUE(entry.path() == target || entry.path() == target + ".src")
                        << "left behind: " << entry.path();
                std::string const content = ReadFile(target);
                if (!run.failed) {
                    EXPECT_LT(run.calls, nth) << "the failing call was made but did not fail";
                    EXPECT_GE(run.calls, call < 4 ? c.least[call] : 0);
                    EXPECT_STREQ(run.outcome, "ok");
                    EXPECT_EQ(content, fresh);
                    break;
                }
                // The outcome against the allowed "outcome/kept" pairs (kept "." allows any).
                std::string const kept =
                    content == old                                                ? "o"
                    : content == fresh                                            ? "n"
                    : content.size() % 16384 == 0 && fresh.rfind(content, 0) == 0 ? "p"
                                                                                  : "?";
                std::string const outcome = run.outcome == cause ? "cause" : run.outcome;
                std::string const allowed =
                    "|" + std::string(c.allowed[call == 1 || call == 2 ? call : 0]) + "|";
                EXPECT_TRUE(allowed.find("|" + outcome + "/" + kept + "|") != std::string::npos ||
                            allowed.find("|" + outcome + "/.|") != std::string::npos)
                    << run.outcome << ", content " << kept;
                if (nth > 1000 || ::testing::Test::HasFailure())
                    return;
            }
        }
    }
}

} // namespace
