#include <platform/platform.h>

#include <cstdio>

int main() {
    zulwin::CString s("caf\xC3\xA9");
    s.MakeUpper();
    std::printf("%s %ld\n", s.Left(3).GetString(), static_cast<long>(s.GetUtf8().GetLength()));
    return s == "CAF\xC3\x89" ? 0 : 1;
}
