// The saving and copying paths with one C library call failing: every call of the chosen
// function in turn, under each error, until the operation completes without meeting the
// failure. Each failure must surface as the result or exception its family describes, leave the
// old file intact or the new one complete, leak no descriptor and leave no temporary file.
#include "support/child_process.h"
#include "support/scratch.h"

#include <platform/file.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
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
    int fdsBefore = -1, fdsAfter = -2;
    long calls = 0; // calls of the chosen function that concerned the directory
    int failed = 0; // whether the injected failure happened
};

// One operation of the probe, on files below `dir` (whose calls are the ones that fail).
struct Operation {
    std::string dir;
    std::vector<std::string> args;
    std::map<std::string, std::string> seed; // the files put in place before each run
    bool whole = true; // a run must leave the directory's listing as it found it
    std::string probe = FAULT_PROBE_PATH;
};

ProbeRun RunProbe(const Operation& op, const std::string& call, const std::string& error,
                  long nth) {
    std::vector<std::string> argv = {op.probe};
    argv.insert(argv.end(), op.args.begin(), op.args.end());
    int status = -1;
    std::string const out = RunAndCapture(
        argv, &status,
        {"LD_PRELOAD=" FAULT_INJECT_PATH, "FAULT_CALL=" + call, "FAULT_ERRNO=" + error,
         "FAULT_NTH=" + std::to_string(nth), "FAULT_DIR=" + op.dir,
         // The sanitizer runtime need not come first when a library is preloaded.
         "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"});
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << out;
    ProbeRun run;
    int reports = 0;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("outcome=", 0) == 0)
            run.outcome = line.substr(8);
        std::sscanf(line.c_str(), "lasterror=%u fds=%d %d", &run.lastError, &run.fdsBefore,
                    &run.fdsAfter);
        reports += std::sscanf(line.c_str(), "calls=%ld failed=%d", &run.calls, &run.failed) == 2;
    }
    EXPECT_EQ(reports, 1) << "no report from the preload library: " << out;
    return run;
}

void Prepare(const Operation& op) {
    fs::remove_all(op.dir);
    fs::create_directories(op.dir);
    for (const auto& [path, content] : op.seed)
        WriteFile(path, content);
}

// The names in `dir`, sorted: a temporary file left behind shows here.
std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

using Judge = std::function<void(const ProbeRun&, const std::string& call, const char* error)>;

// Runs `op` with every call of every function failing in turn, under every error: `failed`
// judges each run that met the failure, `complete` the run that did not. Returns
// how many calls of each function a complete run made.
std::map<std::string, long>
UnderEveryFailure(const Operation& op, const Judge& failed,
                  const std::function<void(const ProbeRun&)>& complete) {
    std::map<std::string, long> calls;
    for (const char* call : {"open", "read", "write", "rename", "fsync"})
        for (const char* error : {"ENOSPC", "EIO", "EINTR"})
            for (long nth = 1;; ++nth) {
                SCOPED_TRACE(std::string(call) + " " + error + " #" + std::to_string(nth));
                Prepare(op);
                std::vector<std::string> const before = Listing(op.dir);
                ProbeRun const run = RunProbe(op, call, error, nth);
                EXPECT_EQ(run.fdsBefore, run.fdsAfter) << "a descriptor leaked";
                if (op.whole) {
                    EXPECT_EQ(Listing(op.dir), before) << "a file was left behind";
                }
                if (!run.failed) {
                    EXPECT_LT(run.calls, nth) << "the failing call was made but did not fail";
                    complete(run);
                    calls[call] = run.calls;
                    break;
                }
                failed(run, call, error);
                if (nth > 1000 || ::testing::Test::HasFailure())
                    return calls;
            }
    return calls;
}

std::string CauseOf(const std::string& error) {
    int const code = error == "ENOSPC" ? ENOSPC : error == "EINTR" ? EINTR : EIO;
    return "cfileexception " + std::to_string(zulwin::CFileException::ErrnoToException(code));
}

TEST(Faults, CopyFileLeavesTheOldTargetOrACompleteCopy) {
    ScratchDir scratch;
    std::string const dir = scratch / "d", from = dir + "/from", to = dir + "/to";
    std::string const source(100000, 's'), old = "old content";
    Operation const op{dir, {"copy", from, to}, {{from, source}, {to, old}}};
    auto const calls = UnderEveryFailure(
        op,
        [&](const ProbeRun& run, const std::string& call, const char* error) {
            std::string const target = ReadFile(to);
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
            EXPECT_EQ(ReadFile(from), source);
        },
        [&](const ProbeRun& run) {
            EXPECT_EQ(run.outcome, "ok");
            EXPECT_EQ(ReadFile(to), source);
        });
    // Every step was met by a failure: the source's open, the temporary file's creation and
    // its open for writing, every read and write, the rename.
    EXPECT_EQ(calls, (std::map<std::string, long>{
                         {"open", 3}, {"read", 7}, {"write", 7}, {"rename", 1}, {"fsync", 0}}));
}

// CFile::Write, CGrowableBuffer::Save and CTimeStamp::Save into a file the probe creates: a
// failed creation is the result, a failed write the exception of its cause, and the file is
// closed on the unwinding.
TEST(Faults, CFileWritersThrowTheirCauseAndCloseOnUnwinding) {
    struct {
        const char* op;
        const char* bytes;
        std::uintmax_t size;
        long minWrites, maxWrites;
    } const cases[] = {
        {"write", "300000", 300000, 5, 5},         // 64 KiB at a time
        {"buffer", "100000", 8 + 100000, 2, 1000}, // the length field, then the bytes
        {"timestamp", nullptr, 12, 1, 1000},       // the magic, then the 64-bit value
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        ScratchDir scratch;
        std::string const dir = scratch / "d", file = dir + "/f";
        Operation op{dir, {c.op, file}, {}, false};
        if (c.bytes != nullptr)
            op.args.push_back(c.bytes);
        auto const calls = UnderEveryFailure(
            op,
            [&](const ProbeRun& run, const std::string& call, const char* error) {
                ASSERT_TRUE(call == "open" || call == "write") << call;
                EXPECT_EQ(run.outcome, call == "open" ? "false" : CauseOf(error));
            },
            [&](const ProbeRun& run) {
                EXPECT_EQ(run.outcome, "ok");
                EXPECT_EQ(fs::file_size(file), c.size);
            });
        EXPECT_EQ(calls.at("open"), 1);
        EXPECT_GE(calls.at("write"), c.minWrites);
        EXPECT_LE(calls.at("write"), c.maxWrites);
    }
}

// The configuration writers replace a file as a whole: whatever fails, the file holds the old
// text or the complete new one, and no other file is left. The registry lives below the
// executable's directory, so every writer runs from a copy of the probe in the scratch
// directory and works in its data directory.
TEST(Faults, ConfigurationWritersLeaveTheOldFileOrTheNewOne) {
    struct {
        const char* op;
        const char* name; // the file in the data directory: the registry's name, else a path
        const char* old;
        // The outcomes allowed ('|' between) when a write failed or another call did, with the
        // old content kept or the new one in place.
        const char *keptOnWrite, *keptOtherwise, *newOnWrite, *newOtherwise;
    } const cases[] = {
        // A write error is the INI write error; anything else before the rename is reported by
        // the result.
        {"ini", "settings.ini", "[A]\nk = old\n\n[B]\nx = 1\n\n", "exception -3", "false", "ok",
         "ok"},
        // Always true; only the write error passes out.
        {"profile", "app.ini", "[A]\nk = old\nj = 2\n\n", "exception -3", "ok", "ok", "ok"},
        // Flush and Close report success whatever the save did; only the write error passes
        // out. The key's destructor, on the way out, saves the still modified document again,
        // which may then succeed. A key whose file could not be opened or read when it was
        // made never saves over it, so those failures keep the old file too.
        {"registry", "registry",
         "[Other]\nx@DWORD = 1\n\n[Settings]\n\n[Settings\\Net]\nHost@STRING = old\n"
         "Port@DWORD = 502\n\n",
         "exception -3", "ok", "exception -3|ok", "ok"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        ScratchDir scratch;
        std::string const bin = scratch / "bin", dir = bin + "/user_data";
        std::string const file = dir + "/" + c.name;
        fs::create_directories(bin);
        fs::copy_file(FAULT_PROBE_PATH, bin + "/fault_probe");
        Operation const op{dir,
                           {c.op, std::string(c.op) == "registry" ? c.name : file},
                           {{file, c.old}},
                           true,
                           bin + "/fault_probe"};
        // The content a run without any failure leaves.
        Prepare(op);
        ASSERT_EQ(RunProbe(op, "open", "EIO", 0).outcome, "ok");
        std::string const fresh = ReadFile(file);
        ASSERT_NE(fresh, c.old);
        auto const calls = UnderEveryFailure(
            op,
            [&](const ProbeRun& run, const std::string& call, const char*) {
                std::string const content = ReadFile(file);
                bool const kept = content == c.old;
                EXPECT_TRUE(kept || content == fresh) << content;
                std::string const allowed = call == "write"
                                                ? (kept ? c.keptOnWrite : c.newOnWrite)
                                                : (kept ? c.keptOtherwise : c.newOtherwise);
                EXPECT_NE(("|" + allowed + "|").find("|" + run.outcome + "|"), std::string::npos)
                    << run.outcome << " kept=" << kept;
            },
            [&](const ProbeRun& run) {
                EXPECT_EQ(run.outcome, "ok");
                EXPECT_EQ(ReadFile(file), fresh);
            });
        // The old file is read, a temporary file made and written, and renamed over it.
        EXPECT_GE(calls.at("open"), 2);
        EXPECT_GE(calls.at("read"), 1);
        EXPECT_GE(calls.at("write"), 1);
        EXPECT_EQ(calls.at("rename"), 1);
    }
}

} // namespace
