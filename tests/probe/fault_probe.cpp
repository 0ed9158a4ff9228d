// Runs one saving or copying operation of the library and says how it ended, for the fault
// injection tests (which load a preload library into this process that makes one C library call
// fail). Output, one line each:
//   outcome=ok | outcome=false | outcome=cfileexception <cause> | outcome=exception <code>
//   lasterror=<the thread's last error after the call>
//   fds=<open descriptors before> <after>
//
//   fault_probe copy FROM TO          zulwin::CopyFile(FROM, TO, 0)
//   fault_probe write FILE BYTES      CFile: create FILE and write BYTES bytes in 64 KiB writes
//   fault_probe buffer FILE BYTES     CGrowableBuffer::Save of BYTES bytes into a created FILE
//   fault_probe ini FILE              CIniFile::Save(FILE) of a document with a changed value
//   fault_probe profile FILE          WritePrivateProfileString of a changed value into FILE
//   fault_probe registry NAME         CRegKey: Create NAME's key "Settings\Net", set a value of
//                                     each type, Flush, Close (NAME below the application data
//                                     directory, which the probe creates)
//   fault_probe timestamp FILE        CTimeStamp::Save into a created FILE
#include <platform/file.h>
#include <platform/filesystem.h>
#include <platform/growable_buffer.h>
#include <platform/ini_file.h>
#include <platform/last_error.h>
#include <platform/locations.h>
#include <platform/profile.h>
#include <platform/registry.h>
#include <platform/time_stamp.h>

#include <sys/stat.h>

#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

int CountDescriptors() {
    int count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (dirent* entry = readdir(dir))
            count += entry->d_name[0] != '.';
        closedir(dir);
    }
    return count - 1; // the listing's own descriptor
}

// Runs `op` and prints how it ended.
int Report(const std::function<bool()>& op) {
    int const before = CountDescriptors();
    std::string outcome;
    try {
        outcome = op() ? "ok" : "false";
    } catch (zulwin::CFileException* e) {
        outcome = "cfileexception " + std::to_string(e->m_cause);
        e->Delete();
    } catch (const zulplatform::CException& e) {
        outcome = "exception " + std::to_string(e.GetCode());
    }
    unsigned int const lastError = zulwin::GetLastError();
    int const after = CountDescriptors();
    std::printf("outcome=%s\nlasterror=%u\nfds=%d %d\n", outcome.c_str(), lastError, before, after);
    return 0;
}

bool WriteFile(const char* path, unsigned long bytes) {
    zulwin::CFile file;
    if (file.Open(path, zulwin::CFile::openWrite | zulwin::CFile::openCreate) == 0)
        return false;
    std::vector<char> chunk(65536, 'w');
    for (unsigned long done = 0; done < bytes; done += chunk.size())
        file.Write(chunk.data(), std::min<unsigned long>(chunk.size(), bytes - done));
    file.Close();
    return true;
}

bool SaveBuffer(const char* path, unsigned long bytes) {
    CGrowableBuffer const buffer(std::vector<unsigned char>(bytes, 0x5A));
    zulwin::CFile file;
    if (file.Open(path, zulwin::CFile::openWrite | zulwin::CFile::openCreate) == 0)
        return false;
    buffer.Save(&file);
    file.Close();
    return true;
}

// The new content differs from what the tests put in the file in one value, so that the save
// merges into the file and writes.
bool SaveIni(const char* path) {
    CIniFile ini;
    ini.FromText("[A]\nk = new\n[B]\nx = 1\n");
    return ini.Save(path);
}

bool WriteProfile(const char* path) {
    return zulwin::WritePrivateProfileString("A", "k", "new", path) == 1;
}

bool SetRegistryValues(const char* name) {
    mkdir(zulplatform::GetDefaultAppDataDir().GetString(), 0770);
    zulwin::CRegKey key;
    if (key.Create(name, "Settings\\Net") != 0)
        return false;
    unsigned char const bytes[] = {0x01, 0xAB, 0x00, 0xFF};
    key.SetDWORDValue("Port", 503);
    key.SetStringValue("Host", "new");
    key.SetBinaryValue("Key", bytes, sizeof bytes);
    return key.Flush() == 0 && key.Close() == 0;
}

bool SaveTimeStamp(const char* path) {
    zulplatform::CTimeStamp const ts("2024-05-06T07:08:09.1234567");
    zulwin::CFile file;
    if (file.Open(path, zulwin::CFile::openWrite | zulwin::CFile::openCreate) == 0)
        return false;
    ts.Save(&file);
    file.Close();
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const args(argv + 1, argv + argc);
    if (args.size() == 3 && args[0] == "copy")
        return Report([&] { return zulwin::CopyFile(argv[2], argv[3], 0) != 0; });
    if (args.size() == 3 && args[0] == "write")
        return Report([&] { return WriteFile(argv[2], std::strtoul(argv[3], nullptr, 10)); });
    if (args.size() == 3 && args[0] == "buffer")
        return Report([&] { return SaveBuffer(argv[2], std::strtoul(argv[3], nullptr, 10)); });
    if (args.size() == 2 && args[0] == "ini")
        return Report([&] { return SaveIni(argv[2]); });
    if (args.size() == 2 && args[0] == "profile")
        return Report([&] { return WriteProfile(argv[2]); });
    if (args.size() == 2 && args[0] == "registry")
        return Report([&] { return SetRegistryValues(argv[2]); });
    if (args.size() == 2 && args[0] == "timestamp")
        return Report([&] { return SaveTimeStamp(argv[2]); });
    std::fprintf(stderr, "usage: fault_probe copy FROM TO | write FILE BYTES | buffer FILE BYTES |"
                         " ini FILE | profile FILE | registry NAME | timestamp FILE\n");
    return 2;
}
