// Runs one saving or copying operation of the library and says how it ended, for the fault
// injection tests (which load a preload library into this process that makes one C library call
// fail). Output:
//   outcome=ok | outcome=false | outcome=cfileexception <cause> | outcome=exception <code>
//   lasterror=<the thread's last error after the call> fds=<open descriptors before> <after>
//
//   fault_probe copy FROM TO          zulwin::CopyFile(FROM, TO, 0)
//   fault_probe write FILE BYTES      CFile: create FILE and write BYTES bytes in 64 KiB writes
//   fault_probe buffer FILE BYTES     CGrowableBuffer::Save of BYTES bytes into a created FILE
//   fault_probe timestamp FILE        CTimeStamp::Save into a created FILE
//   fault_probe ini FILE              CIniFile::Save(FILE) of a document with a changed value
//   fault_probe profile FILE          WritePrivateProfileString of a changed value into FILE
//   fault_probe registry NAME         CRegKey: Create NAME's key "Settings\Net", set a value of
//                                     each type, Flush, Close (NAME below the application data
//                                     directory, which the probe creates)
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

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

// The open descriptors, less the listing's own.
int CountDescriptors() {
    std::filesystem::directory_iterator const listing("/proc/self/fd");
    return static_cast<int>(std::distance(listing, {})) - 1;
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
    std::printf("outcome=%s\nlasterror=%u fds=%d %d\n", outcome.c_str(), lastError, before,
                CountDescriptors());
    return 0;
}

// Creates `path` through CFile, writes it with `write` and closes it (on unwinding too, by the
// destructor); false when it cannot be created.
bool IntoNewFile(const char* path, const std::function<void(zulwin::CFile&)>& write) {
    zulwin::CFile file;
    if (file.Open(path, zulwin::CFile::openWrite | zulwin::CFile::openCreate) == 0)
        return false;
    write(file);
    file.Close();
    return true;
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

} // namespace

int main(int argc, char** argv) {
    const char* const file = argc > 2 ? argv[2] : "";
    unsigned long const bytes = argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 0;
    std::map<std::string, std::function<bool()>> const ops = {
        {"copy", [&] { return zulwin::CopyFile(file, argv[3], 0) != 0; }},
        {"write",
         [&] {
             return IntoNewFile(file, [&](zulwin::CFile& f) {
                 std::vector<char> const chunk(65536, 'w');
                 for (unsigned long done = 0; done < bytes; done += chunk.size())
                     f.Write(chunk.data(), std::min<unsigned long>(chunk.size(), bytes - done));
             });
         }},
        {"buffer",
         [&] {
             CGrowableBuffer const buffer(std::vector<unsigned char>(bytes, 0x5A));
             return IntoNewFile(file, [&](zulwin::CFile& f) { buffer.Save(&f); });
         }},
        {"timestamp",
         [&] {
             zulplatform::CTimeStamp const ts("2024-05-06T07:08:09.1234567");
             return IntoNewFile(file, [&](zulwin::CFile& f) { ts.Save(&f); });
         }},
        // The new content differs in one value from what the tests put in the file, so that
        // the save merges into the file and writes.
        {"ini",
         [&] {
             CIniFile ini;
             ini.FromText("[A]\nk = new\n[B]\nx = 1\n");
             return ini.Save(file);
         }},
        {"profile", [&] { return zulwin::WritePrivateProfileString("A", "k", "new", file) == 1; }},
        {"registry", [&] { return SetRegistryValues(file); }},
    };
    auto const op = ops.find(argc > 2 ? argv[1] : "");
    if (op != ops.end())
        return Report(op->second);
    std::fprintf(stderr, "usage: fault_probe copy FROM TO | write FILE BYTES | buffer FILE BYTES | "
                         "timestamp FILE | ini FILE | profile FILE | registry NAME\n");
    return 2;
}
