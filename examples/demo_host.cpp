// A small host program of the family: shows the text layer at work on its arguments.
#include <platform/platform.h>

#include <cstdio>
#include <string>

namespace {

std::string Hex(const std::u16string& units) {
    std::string out;
    char buf[8];
    for (char16_t u : units) {
        std::snprintf(buf, sizeof buf, "%s%04X", out.empty() ? "" : " ", unsigned(u));
        out += buf;
    }
    return out;
}

void Show(const char* arg) {
    using zulwin::CString;
    CString const text(arg);
    CString lower(text), upper(text);
    lower.MakeLower();
    upper.MakeUpper();
    std::u16string const wide = CUtf8String::ToWide(text.GetString());
    CString const back(wide.c_str());

    std::printf("argument     : %s\n", arg);
    std::printf("  valid UTF-8: %s%s\n", utf8_private::IsValidString(arg) ? "yes" : "no",
                utf8_private::IsValidString(arg) ? "" : " (stored with '?' for each byte >= 0x80)");
    std::printf("  stored     : %s (%ld bytes, %lu code points)\n", text.GetString(),
                text.GetLength(), text.GetUtf8().GetLength());
    std::printf("  lower      : %s\n", lower.GetString());
    std::printf("  upper      : %s\n", upper.GetString());
    std::printf("  UTF-16     : %s\n", Hex(wide).c_str());
    std::printf("  round trip : %s\n", back == text ? "identical" : "differs");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        const char* samples[] = {"Hello, World",
                                 "Stra\xC3\x9F"
                                 "e \xC3\x9C"
                                 "BER \xCE\xA3\xCE\xBF\xCF\x86\xCE\xAF\xCE\xB1",
                                 "\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0 "
                                 "\xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80",
                                 "bad \xFF byte"};
        for (const char* s : samples)
            Show(s);
        return 0;
    }
    for (int i = 1; i < argc; ++i)
        Show(argv[i]);
    return 0;
}
