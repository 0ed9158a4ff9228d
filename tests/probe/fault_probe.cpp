// Runs one saving or copying operation of the library on FILE and prints how it ended, for the
// fault injection tests (a preload library makes one C library call of this process fail):
//   fds=<open descriptors before> <after> outcome=ok | false <last error> |
//       cfileexception <cause> | exception <code>
//
//   fault_probe copy FILE        zulwin::CopyFile(FILE.src, FILE, 0)
//   fault_probe write FILE       CFile: create FILE and write 300000 bytes in 64 KiB writes
//   fault_probe buffer FILE      CGrowableBuffer::Save of 100000 bytes into a created FILE
//   fault_probe timestamp FILE   CTimeStamp::Save into a created FILE
//   fault_probe ini FILE         CIniFile::Save(FILE) of a document with a changed value
//   fault_probe profile FILE     WritePrivateProfileString of a changed value into FILE
//   fault_probe registry FILE    CRegKey on the registry named by FILE's last component (FILE
//                                in the application data directory): Create "Settings\Net",
//                                set a value of each type, Flush, Close
#include <platform/exception.h>
#include <platform/file.h>
#include <platform/filesystem.h>
#include <platform/growable_buffer.h>
#include <platform/ini_file.h>
#include <platform/last_error.h>
#include <platform/profile.h>
#include <platform/registry.h>
#include <platform/time_stamp.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
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
    std::string const source = std::string(file) + ".src";
    std::map<std::string, std::function<bool()>> const ops = {
        {"copy", [&] { return zulwin::CopyFile(source.c_str(), file, 0) != 0; }},
        {"write",
         [&] {
             return IntoNewFile(file, [](zulwin::CFile& f) {
                 std::vector<char> const chunk(65536, 'w');
                 for (unsigned done = 0; done < 300000; done += chunk.size())
                     f.Write(chunk.data(), std::min<unsigned>(chunk.size(), 300000 - done));
             });
         }},
        {"buffer",
         [&] {
             CGrowableBuffer const buffer(std::vector<unsigned char>(100000, 0x5A));
             return IntoNewFile(file, [&](zulwin::CFile& f) { buffer.Save(&f); });
         }},
        {"timestamp",
         [&] {
             zulplatform::CTimeStamp const ts("2024-05-06T07:08:09.1234567");
             return IntoNewFile(file, [&](zulwin::CFile& f) { ts.Save(&f); });
         }},
        // One value differs from what the tests put in the file: the save merges and writes.
        {"ini",
         [&] {
             CIniFile ini;
             ini.FromText("[A]\nk = new\n[B]\nx = 1\n");
             return ini.Save(file);
         }},
        {"profile", [&] { return zulwin::WritePrivateProfileString("A", "k", "new", file) == 1; }},
        {"registry", [&] { return SetRegistryValues(std::strrchr(file, '/') + 1); }},
    };
    auto const op = ops.find(argc > 2 && std::strchr(file, '/') ? argv[1] : "");
    if (op == ops.end())
        return 2; // see above for the usage

    int const before = CountDescriptors();
    std::string outcome;
    try {
        outcome = op->second() ? "ok" : "false " + std::to_string(zulwin::GetLastError());
    } catch (zulwin::CFileException* e) {
        outcome = "cfileexception " + std::to_string(e->m_cause);
        e->Delete();
    } catch (const zulplatform::CException& e) {
        outcome = "exception " + std::to_string(e.GetCode());
    }
    std::printf("fds=%d %d outcome=%s\n", before, CountDescriptors(), outcome.c_str());
    return 0;
}
