// The saving and copying paths with one C library call failing: every call of the chosen
// function in turn, under each error, until the operation completes without meeting the
// failure. Each failure must surface as the result or exception its family describes, leave the
// old file intact or the new one complete, leak no descriptor and leave no temporary file.
#include "support/child_process.h"
#include "support/scratch.h"

#include <platform/file.h>

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>

using namespace test_support;
namespace fs = std::filesystem;

namespace {

// How one probe run ended.
struct ProbeRun {
    std::string outcome; // "ok", "false", "cfileexception <cause>", "exception <code>"
    unsigned int lastError = 0;
    int fdsBefore = -1;
    int fdsAfter = -2;
    long calls = 0;      // calls of the chosen function that concerned the directory
    bool failed = false; // whether the injected failure happened
};

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

ProbeRun RunProbe(const std::vector<std::string>& args, const std::string& dir, const char* call,
                  const char* error, long nth) {
    std::string const report = dir + "/../fault-report";
    std::vector<std::string> argv = {FAULT_PROBE_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    int status = -1;
    std::string const out = RunAndCapture(
        argv, &status,
        {std::string("LD_PRELOAD=") + FAULT_INJECT_PATH, std::string("FAULT_CALL=") + call,
         std::string("FAULT_ERRNO=") + error, "FAULT_NTH=" + std::to_string(nth),
         "FAULT_DIR=" + dir, "FAULT_REPORT=" + report,
         // The sanitizer runtime need not come first when a library is preloaded.
         "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"});
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << out;
    ProbeRun run;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("outcome=", 0) == 0)
            run.outcome = line.substr(8);
        else if (line.rfind("lasterror=", 0) == 0)
            run.lastError = static_cast<unsigned int>(std::stoul(line.substr(10)));
        else if (line.rfind("fds=", 0) == 0)
            std::istringstream(line.substr(4)) >> run.fdsBefore >> run.fdsAfter;
    }
    int failed = 0;
    if (std::sscanf(ReadText(report).c_str(), "calls=%ld failed=%d", &run.calls, &failed) != 2)
        ADD_FAILURE() << "no report from the probe: " << out;
    run.failed = failed != 0;
    std::remove(report.c_str());
    return run;
}

// The names in `dir`, sorted: a temporary file left behind shows here.
std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

const char* const kCalls[] = {"open", "read", "write", "rename", "fsync"};
const char* const kErrors[] = {"ENOSPC", "EIO", "EINTR"};

int ErrnoOf(const std::string& name) {
    return name == "ENOSPC" ? ENOSPC : name == "EINTR" ? EINTR : EIO;
}

// Runs `args` with every call of every function failing in turn, under every error. `prepare`
// sets the directory up before each run; `check` judges each run that met the failure,
// `complete` the run that did not. With `whole`, a failed run must leave the directory's
// listing as it found it. Returns how many calls of each function a complete run made.
std::map<std::string, long> UnderEveryFailure(
    const std::string& dir, const std::vector<std::string>& args, bool whole,
    const std::function<void()>& prepare,
    const std::function<void(const ProbeRun&, const std::string& call, const std::string& error)>&
        check,
    const std::function<void(const ProbeRun&)>& complete) {
    std::map<std::string, long> calls;
    for (const char* call : kCalls)
        for (const char* error : kErrors)
            for (long nth = 1;; ++nth) {
                SCOPED_TRACE(std::string(call) + " " + error + " #" + std::to_string(nth));
                prepare();
                std::vector<std::string> const before = Listing(dir);
                ProbeRun const run = RunProbe(args, dir, call, error, nth);
                EXPECT_EQ(run.fdsBefore, run.fdsAfter) << "a descriptor leaked";
                if (!run.failed) {
                    complete(run);
                    calls[call] = run.calls;
                    break;
                }
                check(run, call, error);
                if (whole) {
                    EXPECT_EQ(Listing(dir), before) << "a file was left behind";
                }
                if (nth > 1000 || ::testing::Test::HasFailure())
                    return calls;
            }
    return calls;
}

std::string CauseOf(const std::string& error) {
    return "cfileexception " +
           std::to_string(zulwin::CFileException::ErrnoToException(ErrnoOf(error)));
}

TEST(Faults, CopyFileLeavesTheOldTargetOrACompleteCopy) {
    ScratchDir scratch;
    std::string const dir = scratch / "d";
    std::string const source(100000, 's'), old = "old content";
    std::string const from = dir + "/from", to = dir + "/to";
    auto const calls = UnderEveryFailure(
        dir, {"copy", from, to}, true,
        [&] {
            fs::remove_all(dir);
            fs::create_directories(dir);
            WriteFile(from, source);
            WriteFile(to, old);
        },
        [&](const ProbeRun& run, const std::string& call, const std::string& error) {
            std::string const target = ReadText(to);
            if (call == "read") {
                // A read error ends the copy like the end of the file: a short copy, reported
                // as done.
                EXPECT_EQ(run.outcome, "ok");
                EXPECT_EQ(target, source.substr(0, target.size()));
                EXPECT_EQ(target.size() % 16384, 0u);
            } else if (call == "write") {
                EXPECT_EQ(run.outcome, CauseOf(error));
                EXPECT_EQ(target, old);
            } else { // open and rename: the target could not be opened or put in place
                EXPECT_EQ(run.outcome, "false");
                EXPECT_EQ(run.lastError, 5u);
                EXPECT_EQ(target, old);
            }
            EXPECT_EQ(ReadText(from), source);
        },
        [&](const ProbeRun& run) {
            EXPECT_EQ(run.outcome, "ok");
            EXPECT_EQ(ReadText(to), source);
        });
    // Every step was met by a failure: the source's open, the temporary file's creation and
    // its open for writing, every read and write, the rename.
    EXPECT_EQ(calls, (std::map<std::string, long>{
                         {"open", 3}, {"read", 7}, {"write", 7}, {"rename", 1}, {"fsync", 0}}));
}

TEST(Faults, CFileWriteThrowsItsCauseAndClosesOnUnwinding) {
    ScratchDir scratch;
    std::string const dir = scratch / "d";
    std::string const file = dir + "/f";
    auto const calls = UnderEveryFailure(
        dir, {"write", file, "300000"}, false,
        [&] {
            fs::remove_all(dir);
            fs::create_directories(dir);
        },
        [&](const ProbeRun& run, const std::string& call, const std::string& error) {
            if (call == "open") {
                EXPECT_EQ(run.outcome, "false");
            } else {
                ASSERT_EQ(call, "write");
                EXPECT_EQ(run.outcome, CauseOf(error));
            }
        },
        [&](const ProbeRun& run) {
            EXPECT_EQ(run.outcome, "ok");
            EXPECT_EQ(fs::file_size(file), 300000u);
        });
    EXPECT_EQ(calls.at("open"), 1);
    EXPECT_EQ(calls.at("write"), 5); // 64 KiB at a time
}

TEST(Faults, CGrowableBufferSaveThrowsItsCause) {
    ScratchDir scratch;
    std::string const dir = scratch / "d";
    std::string const file = dir + "/buffer";
    auto const calls = UnderEveryFailure(
        dir, {"buffer", file, "100000"}, false,
        [&] {
            fs::remove_all(dir);
            fs::create_directories(dir);
        },
        [&](const ProbeRun& run, const std::string& call, const std::string& error) {
            if (call == "open") {
                EXPECT_EQ(run.outcome, "false");
            } else {
                ASSERT_EQ(call, "write");
                EXPECT_EQ(run.outcome, CauseOf(error));
            }
        },
        [&](const ProbeRun& run) {
            EXPECT_EQ(run.outcome, "ok");
            EXPECT_EQ(fs::file_size(file), 8u + 100000u); // the length field, then the bytes
        });
    EXPECT_EQ(calls.at("open"), 1);
    EXPECT_GE(calls.at("write"), 2);
}

} // namespace
