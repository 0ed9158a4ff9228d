// CRegKey on real registry files, each test in a fresh directory under the application data
// directory.
#include <platform/ini_file.h>
#include <platform/locations.h>
#include <platform/registry.h>

#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>

using namespace std::string_literals;
using test_support::ReadFile;
using test_support::ScratchDir;
using test_support::WriteFile;
using zulwin::CRegKey;

namespace {

std::string DataDir() {
    std::string dir = zulplatform::GetDefaultAppDataDir().GetString();
    mkdir(dir.c_str(), 0770);
    return dir;
}

class Registry : public testing::Test {
protected:
    Registry() : m_dir(DataDir().c_str()) {}
    // The registry name relative to the data directory, as CRegKey takes it.
    std::string Name(char const* file = "reg.ini") const {
        return m_dir.path().substr(m_dir.path().rfind('/') + 1) + "/" + file;
    }
    std::string Path(char const* file = "reg.ini") const { return m_dir / file; }

    ScratchDir m_dir;
};

// A program copied into a fresh directory keeps its registry in that directory's "user_data/",
// and finds there what its previous run left.
TEST(RegistryLocation, RegistryFilesLiveInTheApplicationDataDirectory) {
    ScratchDir app;
    std::string const probe = app / "registry_probe";
    std::filesystem::copy_file(REGISTRY_PROBE_PATH, probe);
    ASSERT_EQ(mkdir((app / "user_data").c_str(), 0770), 0);
    for (int run = 1; run <= 2; ++run) {
        int status = -1;
        std::string const out =
            test_support::RunAndCapture({probe, "counter.reg", "Probe\\Runs"}, &status);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(out, "datadir=" + app.path() + "/user_data/\nruns=" + std::to_string(run) + "\n");
    }
    EXPECT_EQ(ReadFile(app / "user_data/counter.reg"),
              "[Probe]\n\n[Probe\\Runs]\nRuns@DWORD = 2\n\n");
}

TEST_F(Registry, CreateMakesEveryKeyOnThePath) {
    CRegKey key;
    EXPECT_EQ(key.Create(Name().c_str(), "A\\B\\\\C"), 0);
    EXPECT_EQ(key.Close(), 0);
    EXPECT_EQ(ReadFile(Path()), "[A]\n\n[A\\B]\n\n[A\\B\\C]\n\n");
    EXPECT_EQ(key.Close(), 0) << "closing twice";
    EXPECT_EQ(key.Open(Name().c_str(), "a\\b", 0), 0);
    EXPECT_EQ(key.Open(Name().c_str(), "Missing", 0), 3);
    unsigned int v = 0;
    EXPECT_EQ(key.QueryDWORDValue("x", v), 6) << "a failed Open leaves the key closed";
    EXPECT_EQ(key.Flush(), 6);
}

TEST_F(Registry, TypedValuesRoundTrip) {
    {
        CRegKey key;
        ASSERT_EQ(key.Create(Name().c_str(), "Settings\\Net"), 0);
        EXPECT_EQ(key.SetDWORDValue("Port", 502), 0);
        EXPECT_EQ(key.SetStringValue("Port", "text"), 0);
        EXPECT_EQ(key.SetBinaryValue("B", "\x01\xAB", 2), 0);
        EXPECT_EQ(key.SetBinaryValue("Empty", nullptr, 0), 0);
    }
    std::string const text = ReadFile(Path());
    EXPECT_NE(text.find("Port@DWORD = 502\n"), std::string::npos) << text;
    EXPECT_NE(text.find("B@BINARY = 01ab\n"), std::string::npos) << text;

    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "settings\\net", 0), 0);
    unsigned int dword = 0;
    EXPECT_EQ(key.QueryDWORDValue("port", dword), 0);
    EXPECT_EQ(dword, 502u);
    EXPECT_EQ(key.QueryDWORDValue("none", dword), 2);
    EXPECT_EQ(key.QueryDWORDValue(nullptr, dword), 13);

    // {binary, name, with a buffer, size, result, size after}; a buffer is only filled on
    // success, and only as far as the value goes.
    std::tuple<bool, char const*, bool, unsigned int, int, unsigned int> const cases[] = {
        {false, "Port", true, 4, 234, 5},  {false, "Port", true, 5, 0, 5},
        {false, "port", false, 0, 0, 5},   {false, "Port", true, 1, 13, 1},
        {false, "missing", true, 9, 2, 9}, {true, "B", true, 1, 234, 2},
        {true, "b", false, 1, 0, 2},       {true, "B", true, 4, 0, 2},
        {true, "Empty", true, 4, 0, 0}};
    for (auto const& [binary, name, withBuffer, sizeIn, result, sizeAfter] : cases) {
        char buffer[16] = "untouched";
        char* const out = withBuffer ? buffer : nullptr;
        unsigned int size = sizeIn;
        EXPECT_EQ(binary ? key.QueryBinaryValue(name, out, &size)
                         : key.QueryStringValue(name, out, &size),
                  result)
            << name;
        EXPECT_EQ(size, sizeAfter) << name;
        std::string const filled =
            binary ? "\x01\xAB"s.substr(0, size) + "untouched"s.substr(size) : "text";
        EXPECT_EQ(buffer, result == 0 && withBuffer ? filled : "untouched") << name;
    }
    EXPECT_EQ(key.QueryStringValue("Port", nullptr, nullptr), 13);
}

TEST_F(Registry, BinaryDecodingStopsAtTheFirstBadPair) {
    WriteFile(Path(), "[K]\nb@BINARY = 0a1zzz33\nodd@BINARY = abc\n");
    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0);
    // "1z" reads as 1 and is the last byte; an odd last digit is ignored.
    for (auto const& [name, bytes] : {std::pair{"b", "\x0A\x01"s}, {"odd", "\xAB"s}}) {
        char buffer[4] = {};
        unsigned int size = sizeof buffer;
        EXPECT_EQ(key.QueryBinaryValue(name, buffer, &size), 0);
        EXPECT_EQ(std::string(buffer, size), bytes) << name;
    }
}

TEST_F(Registry, RecurseDeleteKeyUsesACharacterPrefix) {
    WriteFile(Path(), "[K]\n[K\\A]\n[K\\A\\B]\n[K\\Ax]\n[K\\a\\c]\n[K\\B]\n");
    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0);
    EXPECT_EQ(key.RecurseDeleteKey("X"), 2);
    EXPECT_EQ(key.RecurseDeleteKey("A"), 0);
    EXPECT_EQ(key.Close(), 0);
    // The sibling "K\Ax" goes with "K\A"; "K\a\c" differs in case from the prefix and stays.
    EXPECT_EQ(ReadFile(Path()), "[K]\n\n[K\\a\\c]\n\n[K\\B]\n\n");
}

TEST_F(Registry, OddNamesAreStoredAsGiven) {
    char const* names[] = {"a/b", "..", "x@y", "back\\slash", "@DWORD"};
    {
        CRegKey key;
        ASSERT_EQ(key.Create(Name().c_str(), "K"), 0);
        for (char const* name : names)
            EXPECT_EQ(key.SetStringValue(name, name), 0);
    }
    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0);
    for (char const* name : names) {
        char buffer[32];
        unsigned int size = sizeof buffer;
        EXPECT_EQ(key.QueryStringValue(name, buffer, &size), 0) << name;
        EXPECT_STREQ(buffer, name);
    }
    // A registry name with a separator and ".." reaches where it says.
    mkdir((m_dir / "sub").c_str(), 0770);
    std::string const indirect = Name("sub") + "/../other.ini";
    CRegKey other;
    ASSERT_EQ(other.Create(indirect.c_str(), "K"), 0);
    other.SetDWORDValue("v", 1);
    other.Close();
    EXPECT_EQ(ReadFile(Path("other.ini")), "[K]\nv@DWORD = 1\n\n");
}

TEST_F(Registry, KeysHoldIndependentCopiesAndOnlyChangesAreSaved) {
    CRegKey first, second;
    ASSERT_EQ(first.Create(Name().c_str(), "K"), 0);
    first.SetDWORDValue("a", 1);
    ASSERT_EQ(first.Flush(), 0);
    ASSERT_EQ(second.Open(Name().c_str(), "K", 0), 0);
    second.SetDWORDValue("b", 2);
    first.SetDWORDValue("a", 3);
    EXPECT_EQ(first.Close(), 0);
    EXPECT_EQ(second.Close(), 0);
    // The second key's save merges its values into the file the first one wrote.
    EXPECT_EQ(ReadFile(Path()), "[K]\na@DWORD = 1\nb@DWORD = 2\n\n");

    struct stat before {};
    stat(Path().c_str(), &before);
    usleep(20000);
    CRegKey unchanged;
    ASSERT_EQ(unchanged.Open(Name().c_str(), "K", 0), 0);
    unchanged.SetDWORDValue("b", 2);
    unchanged.Close();
    struct stat after {};
    stat(Path().c_str(), &after);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

// A file that does not parse is never written over: the key reads the part before the bad
// line, and its document lacks the rest of the file. Once the file reads again, saving that
// document would replace the file's other keys by nothing, so neither Flush nor Close writes.
TEST_F(Registry, AKeyOnAFileItCouldNotReadNeverSavesOverItLater) {
    WriteFile(Path(), "[K]\nbroken line\n");
    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0) << "the part before the bad line is kept";
    EXPECT_EQ(key.SetDWORDValue("v", 1), 0);
    EXPECT_EQ(key.Flush(), 0);
    EXPECT_EQ(ReadFile(Path()), "[K]\nbroken line\n");
    std::string const repaired = "[K]\nold@DWORD = 7\n\n[Other]\nx@STRING = kept\n\n";
    WriteFile(Path(), repaired);
    EXPECT_EQ(key.SetDWORDValue("v", 2), 0);
    EXPECT_EQ(key.Flush(), 0);
    EXPECT_EQ(key.Close(), 0);
    EXPECT_EQ(ReadFile(Path()), repaired);

    // A missing file is no such case: the key's first save creates it.
    CRegKey fresh;
    ASSERT_EQ(fresh.Create(Name("new.ini").c_str(), "K"), 0);
    EXPECT_EQ(fresh.SetDWORDValue("v", 1), 0);
    EXPECT_EQ(fresh.Flush(), 0);
    EXPECT_EQ(ReadFile(Path("new.ini")), "[K]\nv@DWORD = 1\n\n");
}

// Processes creating, setting and closing keys in one registry file at the same time: the file
// parses at every moment.
TEST_F(Registry, ConcurrentProcessesNeverLeaveABrokenFile) {
    constexpr int kProcesses = 8;
    constexpr int kRounds = 40;
    std::string const name = Name();
    pid_t children[kProcesses];
    for (int p = 0; p < kProcesses; ++p) {
        children[p] = fork();
        ASSERT_GE(children[p], 0);
        if (children[p] == 0) {
            std::string const keyPath = "Proc\\" + std::to_string(p);
            for (int round = 0; round < kRounds; ++round) {
                CRegKey key;
                key.Create(name.c_str(), keyPath.c_str());
                key.SetDWORDValue("Round", static_cast<unsigned int>(round));
                key.SetStringValue("Owner", keyPath.c_str());
                key.Close();
            }
            _exit(0);
        }
    }
    int unreadable = 0;
    for (int check = 0; check < 200; ++check) {
        CIniFile ini;
        if (access(Path().c_str(), F_OK) == 0 && !ini.Load(Path().c_str()))
            ++unreadable;
        usleep(1000);
    }
    for (pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(unreadable, 0);
    // Keys hold independent copies and the last one closed decides, so a stale copy may drop
    // another process's key: the file must parse, not hold everything.
    CIniFile ini;
    ASSERT_TRUE(ini.Load(Path().c_str()));
    EXPECT_TRUE(ini.HasSection("Proc"));
    EXPECT_GE(ini._GetSectionCount(), 2u);
}

} // namespace
