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
//                                set two values, Flush, Close
#include <platform/platform.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// The open descriptors, less the listing's own.
int CountDescriptors() {
    std::filesystem::directory_iterator const listing("/proc/self/fd");
    return static_cast<int>(std::distance(listing, {})) - 1;
}

bool Run(const std::string& op, const char* file) {
    if (op == "copy")
        return zulwin::CopyFile((file + std::string(".src")).c_str(), file, 0) != 0;
    if (op == "ini") {
        // One value differs from what the tests put in the file: the save merges and writes.
        CIniFile ini;
        ini.FromText("[A]\nk = new\n[B]\nx = 1\n");
        return ini.Save(file);
    }
    if (op == "profile")
        return zulwin::WritePrivateProfileString("A", "k", "new", file) == 1;
    if (op == "registry") {
        zulwin::CRegKey key;
        if (key.Create(std::strrchr(file, '/') + 1, "Settings\\Net") != 0)
            return false;
        key.SetDWORDValue("Port", 503);
        key.SetStringValue("Host", "new");
        return key.Flush() == 0 && key.Close() == 0;
    }
    // The CFile writers create FILE, write it and close it (on unwinding too, by the destructor).
    zulwin::CFile f;
    if (f.Open(file, zulwin::CFile::openWrite | zulwin::CFile::openCreate) == 0)
        return false;
    if (op == "write") {
        std::vector<char> const chunk(65536, 'w');
        for (unsigned done = 0; done < 300000; done += chunk.size())
            f.Write(chunk.data(), std::min<unsigned>(chunk.size(), 300000 - done));
    } else if (op == "buffer") {
        CGrowableBuffer(std::vector<unsigned char>(100000, 0x5A)).Save(&f);
    } else if (op == "timestamp") {
        zulplatform::CTimeStamp("2024-05-06T07:08:09.1234567").Save(&f);
    } else {
        return false; // see above for the commands
    }
    f.Close();
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2; // see above for the usage; FILE is a path with a directory
    int const before = CountDescriptors();
    std::string outcome;
    try {
        outcome = Run(argv[1], argv[2]) ? "ok" : "false " + std::to_string(zulwin::GetLastError());
    } catch (zulwin::CFileException* e) {
        outcome = "cfileexception " + std::to_string(e->m_cause);
        e->Delete();
    } catch (const zulplatform::CException& e) {
        outcome = "exception " + std::to_string(e.GetCode());
    }
    // Unbuffered, so that it comes before the preload library's report at exit.
    dprintf(1, "fds=%d %d outcome=%s\n", before, CountDescriptors(), outcome.c_str());
    return 0;
}
