// CRegKey on real registry files, each test in a fresh directory under the application data
// directory. fuzz/registry_fuzz.cpp queries and rewrites the values of arbitrary files.
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

using namespace test_support;
using zulwin::CRegKey;

namespace {

// The application data directory, where CRegKey keeps its files, made if it is missing.
std::string DataDir() {
    std::string const dir = zulplatform::GetDefaultAppDataDir().GetString();
    mkdir(dir.c_str(), 0770);
    return dir;
}

class Registry : public testing::Test {
protected:
    ScratchDir m_dir{DataDir().c_str()};
    std::string const m_path = m_dir / "reg.ini";
    // The registry name relative to the data directory, as CRegKey takes it.
    std::string const m_name = m_dir.path().substr(m_dir.path().rfind('/') + 1) + "/reg.ini";
};

// A program copied into a fresh directory keeps its registry in that directory's "user_data/",
// and finds there what its previous run left.
TEST(RegistryLocation, RegistryFilesLiveInTheApplicationDataDirectory) {
    ScratchDir app;
    std::string const probe = app / "registry_probe";
    std::filesystem::copy_file(REGISTRY_PROBE_PATH, probe);
    ASSERT_EQ(mkdir((app / "user_data").c_str(), 0770), 0);
    for (int run = 1; run <= 2; ++run)
        EXPECT_EQ(RunAndCapture({probe, "counter.reg", "Probe\\Runs"}),
                  "datadir=" + app.path() + "/user_data/\nruns=" + std::to_string(run) + "\n");
}

TEST_F(Registry, TypedValuesRoundTrip) {
    CRegKey key; // creates every key on the path
    EXPECT_FALSE(key.Create(m_name.c_str(), "A\\B") || key.SetDWORDValue("Port", 502) ||
                 key.SetStringValue("Port", "text") || key.SetBinaryValue("B", "\x01\xAB", 2) ||
                 key.Close());
    EXPECT_EQ(ReadFile(m_path),
              "[A]\n\n[A\\B]\nB@BINARY = 01ab\nPort@DWORD = 502\nPort@STRING = text\n\n");
}

TEST_F(Registry, RecurseDeleteKeyUsesACharacterPrefix) {
    WriteFile(m_path, "[K]\n[K\\A]\n[K\\A\\B]\n[K\\Ax]\n[K\\a\\c]\n[K\\B]\n");
    CRegKey key;
    EXPECT_FALSE(key.Open(m_name.c_str(), "K", 0) || key.RecurseDeleteKey("A") || key.Close());
    // The sibling "K\Ax" goes with "K\A"; "K\a\c" differs in case from the prefix and stays.
    EXPECT_EQ(ReadFile(m_path), "[K]\n\n[K\\a\\c]\n\n[K\\B]\n\n");
}

// A registry name with a separator and ".." reaches where it says.
TEST_F(Registry, OddNamesAreStoredAsGiven) {
    CRegKey key;
    mkdir((m_dir / "sub").c_str(), 0770);
    std::string const name = m_name.substr(0, m_name.rfind('/')) + "/sub/../other.ini";
    EXPECT_FALSE(key.Create(name.c_str(), "K") || key.SetDWORDValue("v", 1) || key.Close());
    EXPECT_EQ(ReadFile(m_dir / "other.ini"), "[K]\nv@DWORD = 1\n\n");
}

TEST_F(Registry, KeysHoldIndependentCopiesAndOnlyChangesAreSaved) {
    CRegKey first, second;
    ASSERT_FALSE(first.Create(m_name.c_str(), "K") || first.SetDWORDValue("a", 1) || first.Flush());
    ASSERT_FALSE(second.Open(m_name.c_str(), "K", 0) || second.SetDWORDValue("b", 2));
    first.SetDWORDValue("a", 3);
    EXPECT_FALSE(first.Close() || second.Close());
    // The second key's save merges its values into the file the first one wrote.
    EXPECT_EQ(ReadFile(m_path), "[K]\na@DWORD = 1\nb@DWORD = 2\n\n");
    // Setting a value to what it is changes nothing: the file is not replaced.
    struct stat before = {}, after = {};
    stat(m_path.c_str(), &before);
    EXPECT_FALSE(first.Open(m_name.c_str(), "K", 0) || first.SetDWORDValue("b", 2) ||
                 first.Close() || stat(m_path.c_str(), &after) || before.st_ino != after.st_ino);
}

// A file that does not parse is never written over: the key reads the part before the bad
// line, and its document lacks the rest of the file. Once the file reads again, saving that
// document would replace the file's other keys by nothing, so neither Flush nor Close writes.
TEST_F(Registry, AKeyOnAFileItCouldNotReadNeverSavesOverItLater) {
    WriteFile(m_path, "[K]\nbroken line\n");
    CRegKey key;
    ASSERT_EQ(key.Open(m_name.c_str(), "K", 0), 0);
    std::string const repaired = "[K]\nold@DWORD = 7\n\n[Other]\nx@STRING = kept\n\n";
    WriteFile(m_path, repaired);
    EXPECT_FALSE(key.SetDWORDValue("v", 2) || key.Flush() || key.Close());
    EXPECT_EQ(ReadFile(m_path), repaired);
}

// Processes creating, setting and closing keys in one registry file at the same time: the file
// parses at every moment. Keys hold independent copies and the last one closed decides, so a
// stale copy may drop another process's key: the file must parse, not hold everything.
TEST_F(Registry, ConcurrentProcessesNeverLeaveABrokenFile) {
    pid_t children[6];
    for (pid_t& child : children)
        if ((child = fork()) == 0) {
            for (unsigned int round = 0; round < 30; ++round) {
                CRegKey key;
                key.Create(m_name.c_str(), ("Proc\\" + std::to_string(getpid())).c_str());
                key.SetDWORDValue("Round", round);
            }
            _exit(0);
        }
    int unreadable = 0;
    for (int check = 0; check < 150; ++check, usleep(1000))
        unreadable += access(m_path.c_str(), F_OK) == 0 && !CIniFile().Load(m_path.c_str());
    int status = -1;
    for (pid_t child : children)
        EXPECT_TRUE(child > 0 && waitpid(child, &status, 0) == child && status == 0);
    EXPECT_EQ(unreadable, 0);
    EXPECT_TRUE(CIniFile().Load(m_path.c_str())); // it exists and parses at the end
}

} // namespace
