// The saving and copying paths with one C library call failing: every call of the chosen
// function in turn, under each error, until the operation completes without meeting the
// failure. Each failure must surface as the result or exception its family describes, leave the
// old file intact or the new one complete, leak no descriptor and leave no temporary file.
#include "support/child_process.h"
#include "support/scratch.h"

#include <platform/file.h>

#include <gtest/gtest.h>

#include <algorithm>
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
                  const char* error, long nth, const std::string& probe = FAULT_PROBE_PATH) {
    std::string const report = dir + "/../fault-report";
    std::vector<std::string> argv = {probe};
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
    const std::function<void(const ProbeRun&)>& complete,
    const std::string& probe = FAULT_PROBE_PATH) {
    std::map<std::string, long> calls;
    for (const char* call : kCalls)
        for (const char* error : kErrors)
            for (long nth = 1;; ++nth) {
                SCOPED_TRACE(std::string(call) + " " + error + " #" + std::to_string(nth));
                prepare();
                std::vector<std::string> const before = Listing(dir);
                ProbeRun const run = RunProbe(args, dir, call, error, nth, probe);
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

// The content a run without any failure leaves, from the state `prepare` sets up.
std::string CompleteContent(const std::vector<std::string>& args, const std::string& dir,
                            const std::string& file, const std::function<void()>& prepare,
                            const std::string& probe = FAULT_PROBE_PATH) {
    prepare();
    ProbeRun const run = RunProbe(args, dir, "open", "EIO", 0, probe);
    EXPECT_EQ(run.outcome, "ok");
    return ReadText(file);
}

// The configuration writers replace a file as a whole: whatever fails, the file holds the old
// text or the complete new one, and a failed run leaves nothing else in the directory. Each
// failure surfaces as `expected` says (the outcome, given the call that failed and whether the
// old content stayed).
void ReplacesWhole(
    const std::string& dir, const std::string& file, const std::vector<std::string>& args,
    const std::string& old,
    const std::function<std::vector<std::string>(const std::string& call, bool kept)>& expected,
    const std::string& probe = FAULT_PROBE_PATH) {
    auto const prepare = [&] {
        fs::remove_all(dir);
        fs::create_directories(dir);
        WriteFile(file, old);
    };
    std::string const fresh = CompleteContent(args, dir, file, prepare, probe);
    ASSERT_NE(fresh, old);
    auto const calls = UnderEveryFailure(
        dir, args, true, prepare,
        [&](const ProbeRun& run, const std::string& call, const std::string&) {
            std::string const content = ReadText(file);
            bool const kept = content == old;
            EXPECT_TRUE(kept || content == fresh) << content;
            auto const outcomes = expected(call, kept);
            EXPECT_NE(std::find(outcomes.begin(), outcomes.end(), run.outcome), outcomes.end())
                << run.outcome << " kept=" << kept;
        },
        [&](const ProbeRun& run) {
            EXPECT_EQ(run.outcome, "ok");
            EXPECT_EQ(ReadText(file), fresh);
        },
        probe);
    // The old file is read, a temporary file made and written, and renamed over it.
    EXPECT_GE(calls.at("open"), 2);
    EXPECT_GE(calls.at("read"), 1);
    EXPECT_GE(calls.at("write"), 1);
    EXPECT_EQ(calls.at("rename"), 1);
}

TEST(Faults, CIniFileSaveLeavesTheOldFileOrTheNewOne) {
    ScratchDir scratch;
    std::string const dir = scratch / "d";
    std::string const file = dir + "/settings.ini";
    ReplacesWhole(dir, file, {"ini", file}, "[A]\nk = old\n\n[B]\nx = 1\n\n",
                  [](const std::string& call, bool kept) -> std::vector<std::string> {
                      if (!kept)
                          return {"ok"};
                      // A write error is the INI write error; anything else before the
                      // rename is reported by the result.
                      return call == "write" ? std::vector<std::string>{"exception -3"}
                                             : std::vector<std::string>{"false"};
                  });
}

TEST(Faults, WritePrivateProfileStringLeavesTheOldFileOrTheNewOne) {
    ScratchDir scratch;
    std::string const dir = scratch / "d";
    std::string const file = dir + "/app.ini";
    ReplacesWhole(dir, file, {"profile", file}, "[A]\nk = old\nj = 2\n\n",
                  [](const std::string& call, bool kept) -> std::vector<std::string> {
                      // Always true; only the write error passes out.
                      if (kept && call == "write")
                          return {"exception -3"};
                      return {"ok"};
                  });
}

TEST(Faults, CRegKeyFlushLeavesTheOldFileOrTheNewOne) {
    ScratchDir scratch;
    // The registry lives below the executable's directory: the probe runs from a copy of its
    // own in the scratch directory.
    std::string const bin = scratch / "bin";
    fs::create_directories(bin);
    std::string const probe = bin + "/fault_probe";
    fs::copy_file(FAULT_PROBE_PATH, probe);
    std::string const dir = bin + "/user_data";
    std::string const file = dir + "/registry";
    // A key whose file could not be opened or read when it was made never saves over it, so
    // those failures keep the old file too.
    ReplacesWhole(
        dir, file, {"registry", "registry"},
        "[Other]\nx@DWORD = 1\n\n[Settings]\n\n[Settings\\Net]\nHost@STRING = old\n"
        "Port@DWORD = 502\n\n",
        [](const std::string& call, bool kept) -> std::vector<std::string> {
            // Flush and Close report success whatever the save did; only the write
            // error passes out. The key's destructor, on the way out, saves the still
            // modified document again, which may then succeed.
            if (call != "write")
                return {"ok"};
            if (kept)
                return {"exception -3"};
            return {"exception -3", "ok"};
        },
        probe);
}

TEST(Faults, CTimeStampSaveThrowsItsCause) {
    ScratchDir scratch;
    std::string const dir = scratch / "d";
    std::string const file = dir + "/stamp";
    auto const calls = UnderEveryFailure(
        dir, {"timestamp", file}, false,
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
            EXPECT_EQ(fs::file_size(file), 12u); // the magic, then the 64-bit value
        });
    EXPECT_EQ(calls.at("open"), 1);
    EXPECT_GE(calls.at("write"), 1);
}

} // namespace
