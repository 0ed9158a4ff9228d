// A small host program of the family.
//
//   platform-demo [TEXT...]                 the text layer at work on each TEXT
//   platform-demo --list DIR PATTERN        the files under DIR whose names match PATTERN
//   platform-demo --watch FILE SECONDS      each change to FILE for SECONDS, holding a lock on it
//   platform-demo --zones                   every time zone with its Windows id and display name
//   platform-demo --zone NAME               the current time in zone NAME (a zone, Windows id or
//                                           POSIX rule), its abbreviation and daylight flag
//   platform-demo --stat FILE               the time FILE was last modified, UTC and local
//   platform-demo --profile FILE SECTION KEY   the value of KEY in SECTION of the INI file FILE
//
// Every run also shows the host side of the module runtime: the application object answering
// from the host's own resources, the single-instance check, the library's version and texts,
// and the sample plug-in loaded by name, and a new GUID.
#include <platform/platform.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using zulwin::CString;

// The host's own resources: its string table and version record.
zulplatform::CResourceData& HostResources() {
    static zulplatform::CResourceData data;
    return data;
}

void InitHostResources() {
    HostResources().SetStringTable({
        {1, "libplatform demo host"},
        {2, "%d argument(s) to show"},
    });
    HostResources().SetVersionInfo({"1.0.0.0",
                                    "Demo host of the family",
                                    nullptr,
                                    "The libplatform developers",
                                    "libplatform examples",
                                    "Copyright (c) The libplatform developers",
                                    "platform-demo",
                                    {1, 0, 0, 0},
                                    {1, 0, 0, 0},
                                    0});
}

std::string Hex(const std::u16string& units) {
    std::string out;
    char buf[8];
    for (char16_t u : units) {
        std::snprintf(buf, sizeof buf, "%s%04X", out.empty() ? "" : " ", unsigned(u));
        out += buf;
    }
    return out;
}

void ShowText(const char* arg) {
    CString const text(arg);
    CString lower(text), upper(text);
    lower.MakeLower();
    upper.MakeUpper();
    std::u16string const wide = CUtf8String::ToWide(text.GetString());
    CString const back(wide.c_str());
    bool const valid = utf8_private::IsValidString(arg);

    std::printf("argument     : %s\n", arg);
    std::printf("  valid UTF-8: %s\n",
                valid ? "yes" : "no (stored with '?' for each byte >= 0x80)");
    std::printf("  stored     : %s (%ld bytes, %lu code points)\n", text.GetString(),
                text.GetLength(), text.GetUtf8().GetLength());
    std::printf("  lower      : %s\n", lower.GetString());
    std::printf("  upper      : %s\n", upper.GetString());
    std::printf("  UTF-16     : %s\n", Hex(wide).c_str());
    std::printf("  round trip : %s\n", back == text ? "identical" : "differs");
}

void ShowRuntime(int texts) {
    zulplatform::GenerateApp(HostResources());
    CString title, line;
    title.LoadString(1u); // from the current resource module: the application object
    line.Format(2u, texts);
    std::printf("%s (%s): %s\n", title.GetString(), zulplatform::GetExeName(), line.GetString());

    // The application keeps its data under its own directory; the host creates it.
    zulplatform::CreatePath(zulplatform::GetDefaultAppDataDir().GetString());
    std::printf("another instance running: %s\n",
                zulplatform::IsAppInstanceRunning() ? "yes" : "no");

    // The library's module object, found the way the loader finds any module's: by its
    // unmangled GetModule export (the host has no module object of its own but the application).
    zulplatform::IModule* library = zulwin::GetModuleHandle("libplatform.so." PLATFORM_SOVERSION);
    CVersionInfo const version(library);
    CString text;
    version.Format(text);
    std::printf("library      : %s %s\n", library->GetModuleFileName(), text.GetString());
    CString message;
    message.Format(library->LoadString(103), "settings.ini");
    std::printf("  texts      : \"%s\" / \"%s\"\n", library->LoadString(101), message.GetString());

    // The sample plug-in, by name: ".so" is appended because the name has no dot.
    CString const name = CString(zulplatform::GetAppDir()) + "libsample_plugin";
    zulplatform::IModule* plugin = zulwin::LoadLibrary(name.GetString());
    if (plugin == nullptr) {
        std::printf("plug-in      : %s.so could not be loaded\n", name.GetString());
        return;
    }
    CVersionInfo const pluginVersion(plugin);
    pluginVersion.Format(text);
    std::printf("plug-in      : %s %s (%s)\n", plugin->GetModuleFileName(), text.GetString(),
                pluginVersion.m_strFileDescription.GetString());
    using GreetFn = int (*)(const char*, char*, unsigned long);
    if (auto greet =
            reinterpret_cast<GreetFn>(zulwin::GetProcAddress(plugin, "sample_plugin_greet"))) {
        char greeting[128];
        greet("demo host", greeting, sizeof greeting);
        std::printf("  says       : %s\n", greeting);
    }
    zulwin::FreeLibrary(plugin);
}

void ShowGuid() {
    zulplatform::guid_t id(false);
    if (zulplatform::CreateGuid(id))
        std::printf("new GUID     : %s\n", id.ToString().GetString());
    else
        std::printf("new GUID     : none (the kernel's source cannot be read)\n");
}

// A time stamp in UTC (milliseconds and nanoseconds) and as the local date and time display.
void ShowTimeStamp(const char* label, const zulplatform::CTimeStamp& ts) {
    CString date, time;
    ts.FormatDate(date);
    ts.FormatTime(time, true, false, false);
    std::printf("%-13s: %s UTC\n", label, ts.ToString().GetString());
    std::printf("  precise    : %s UTC\n", ts.ToStringHr().GetString());
    std::printf("  local      : %s %s\n", date.GetString(), time.GetString());
}

int ShowModificationTime(const char* path) {
    unsigned long const ticks = zulplatform::GetLastModificationTime(path);
    if (ticks == 0) {
        std::fprintf(stderr, "%s: cannot be read\n", path);
        return 1;
    }
    _FILETIME const ft{static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
    ShowTimeStamp("modified", zulplatform::CTimeStamp(ft));
    return 0;
}

// Reports each change to `path` for `seconds`, holding an exclusive lock on the file meanwhile
// so that another watcher started on it is told at once that the file is taken.
int Watch(const char* path, const char* seconds) {
    char* end = nullptr;
    long const duration = std::strtol(seconds, &end, 10);
    if (end == seconds || *end != '\0' || duration < 0) {
        std::fprintf(stderr, "--watch: SECONDS must be a whole number, not \"%s\"\n", seconds);
        return 2;
    }
    try {
        zulplatform::CFileLock lock(path, false);
        zulplatform::CFileChangeMonitor monitor(path);
        std::printf("watching %s for %ld s (locked)\n", path, duration);
        std::fflush(stdout);
        using Clock = std::chrono::steady_clock;
        auto const start = Clock::now();
        auto const stop = start + std::chrono::seconds(duration);
        int changes = 0;
        while (Clock::now() < stop) {
            if (monitor.IsChangePending()) {
                double const at = std::chrono::duration<double>(Clock::now() - start).count();
                std::printf("  %6.1f s: %s changed\n", at, path);
                std::fflush(stdout);
                ++changes;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        std::printf("%d change(s)\n", changes);
        return 0;
    } catch (zulplatform::CFileLock::failure const& f) {
        std::fprintf(stderr, "%s: %s\n", path,
                     f.IsHeldElsewhere() ? "locked by another process" : "cannot be opened");
    } catch (zulplatform::CException const& e) {
        std::fprintf(stderr, "%s: cannot be watched (%d)\n", path, e.GetCode());
    }
    return 1;
}

void ListZones() {
    std::vector<CString> names;
    CTimeZone::GetZoneNames(names);
    for (const CString& name : names) {
        CTimeZone zone;
        if (zone.Load(name.GetString()))
            std::printf("%-40s %-36s %s\n", name.GetString(), zone.GetWindowsId().GetString(),
                        zone.GetDisplayName().GetString());
    }
    std::printf("%zu zone(s)\n", names.size());
}

int ShowZone(const char* name) {
    CTimeZone zone;
    if (!zone.Load(name)) {
        std::fprintf(stderr, "--zone: unknown time zone \"%s\"\n", name);
        return 2;
    }
    zulplatform::CTimeStamp const now(true);
    std::printf("zone         : %s\n", zone.GetDisplayName().GetString());
    CString const id = zone.GetWindowsId();
    std::printf("Windows id   : %s\n", id.IsEmpty() ? "(none)" : id.GetString());
    std::printf("local time   : %s %s (UTC%+d s)%s\n", zone.UtcToLocal(now).ToString().GetString(),
                zone.GetAbbreviation(now).GetString(), zone.GetUtcOffset(now),
                zone.IsDaylightTime(now) ? ", daylight time" : "");
    return 0;
}

// The host's own registry file in its data directory: a run counter and two typed values,
// written back on close.
void ShowRegistry() {
    zulwin::CreateDirectory(zulplatform::GetDefaultAppDataDir().GetString(), nullptr);
    zulwin::CRegKey key;
    key.Create("demo.reg", "Settings\\Demo");
    unsigned int runs = 0;
    key.QueryDWORDValue("Runs", runs);
    key.SetDWORDValue("Runs", runs + 1);
    key.SetStringValue("Host", zulplatform::GetExeName());
    unsigned char const stamp[] = {0xC0, 0xFF, 0xEE, static_cast<unsigned char>(runs + 1)};
    key.SetBinaryValue("Stamp", stamp, sizeof stamp);
    char host[256];
    unsigned int hostSize = sizeof host;
    unsigned char bytes[8];
    unsigned int byteCount = sizeof bytes;
    if (key.QueryStringValue("Host", host, &hostSize) != 0)
        host[0] = 0;
    if (key.QueryBinaryValue("Stamp", bytes, &byteCount) != 0)
        byteCount = 0;
    std::printf("registry     : %sdemo.reg [Settings\\Demo]\n",
                zulplatform::GetDefaultAppDataDir().GetString());
    std::printf("  Runs       : %u\n", runs + 1);
    std::printf("  Host       : %s\n", host);
    std::printf("  Stamp      :");
    for (unsigned int i = 0; i < byteCount; ++i)
        std::printf(" %02x", bytes[i]);
    std::printf("\n");
    key.Close();
}

int ShowProfileValue(const char* file, const char* section, const char* key) {
    char value[1024];
    unsigned long const n =
        zulwin::GetPrivateProfileString(section, key, "(not set)", value, sizeof value, file);
    std::printf("[%s] %s = %s (%lu bytes)\n", section, key, value, n);
    return 0;
}

class Lister : public zulplatform::CFileSearch::IFsCallback {
public:
    bool OnFile(const char* path) override {
        std::printf("  %s\n", path);
        ++m_count;
        return false;
    }
    int Count() const { return m_count; }

private:
    int m_count = 0;
};

} // namespace

int main(int argc, char** argv) {
    InitHostResources();
    if (argc == 4 && std::strcmp(argv[1], "--watch") == 0) {
        ShowRuntime(0);
        ShowGuid();
        return Watch(argv[2], argv[3]);
    }
    if (argc == 2 && std::strcmp(argv[1], "--zones") == 0) {
        ListZones();
        return 0;
    }
    if (argc == 3 && std::strcmp(argv[1], "--zone") == 0)
        return ShowZone(argv[2]);
    if (argc == 3 && std::strcmp(argv[1], "--stat") == 0) {
        ShowTimeStamp("now", zulplatform::CTimeStamp(true));
        return ShowModificationTime(argv[2]);
    }
    if (argc == 4 && std::strcmp(argv[1], "--list") == 0) {
        ShowRuntime(0);
        ShowGuid();
        std::printf("files under %s matching %s:\n", argv[2], argv[3]);
        Lister lister;
        zulplatform::CFileSearch().FindFile(argv[2], argv[3], &lister, true);
        std::printf("%d file(s)\n", lister.Count());
        return 0;
    }
    if (argc == 5 && std::strcmp(argv[1], "--profile") == 0)
        return ShowProfileValue(argv[2], argv[3], argv[4]);
    ShowRuntime(argc - 1);
    ShowRegistry();
    ShowGuid();
    ShowTimeStamp("now", zulplatform::CTimeStamp(true));
    if (argc < 2) {
        const char* samples[] = {"Hello, World",
                                 "Stra\xC3\x9F"
                                 "e \xC3\x9C"
                                 "BER \xCE\xA3\xCE\xBF\xCF\x86\xCE\xAF\xCE\xB1",
                                 "bad \xFF byte"};
        for (const char* s : samples)
            ShowText(s);
        return 0;
    }
    for (int i = 1; i < argc; ++i)
        ShowText(argv[i]);
    return 0;
}
