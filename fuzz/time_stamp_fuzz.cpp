// CTimeStamp's text parsing and binary load on arbitrary input. Text in the canonical form the
// class prints must come back exactly as it was; whatever a parse gives, printing it and parsing
// that again gives the same value. The binary form is loaded from memory and saved back.
#include <platform/file_exception.h>
#include <platform/mem_file.h>
#include <platform/time_stamp.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using zulplatform::CTimeStamp;

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

// "YYYY-MM-DDThh:mm:ss." followed by exactly `fraction` digits; the year may have more digits.
bool IsCanonical(const std::string& text, std::size_t fraction) {
    std::size_t const yearDigits = text.find('-');
    if (yearDigits == std::string::npos || yearDigits < 4)
        return false;
    std::string const shape =
        std::string(yearDigits, '9') + "-99-99T99:99:99." + std::string(fraction, '9');
    if (text.size() != shape.size())
        return false;
    for (std::size_t i = 0; i < shape.size(); ++i)
        if (shape[i] == '9' ? !std::isdigit(static_cast<unsigned char>(text[i]))
                            : text[i] != shape[i])
            return false;
    // The year is read as a short; the conversion moves a day past its month's end on.
    long const year = std::atol(text.c_str());
    int const month = std::atoi(text.c_str() + yearDigits + 1);
    int const day = std::atoi(text.c_str() + yearDigits + 4);
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool const leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month < 1 || month > 12 || day > kDays[month - 1] + (month == 2 && leap))
        return false;
    return year <= 32767 && (yearDigits == 4 || text[0] != '0');
}

void FuzzText(const std::string& text) {
    CTimeStamp const ts(text.c_str());
    Check(ts.GetFileTime() <= zulplatform::GetMaxFileTime());
    std::string const hr = ts.ToStringHr().GetString();
    CTimeStamp const back(hr.c_str());
    Check(back == ts);
    Check(CTimeStamp(ts.ToString().GetString()).GetFileTime() / 10000 == ts.GetFileTime() / 10000);
    // A valid time in the printed form prints as it was written. Text that parses to either
    // end of the range may have been invalid or clamped, so it proves nothing.
    bool const inside = ts.GetFileTime() != 0 && ts.GetFileTime() != zulplatform::GetMaxFileTime();
    // The value counts 100 ns, so only nanoseconds ending in "00" are exact.
    if (inside && IsCanonical(text, 9) && text.compare(text.size() - 2, 2, "00") == 0)
        Check(hr == text);
    if (inside && IsCanonical(text, 3))
        Check(ts.ToString() == text.c_str());
}

void FuzzLoad(const uint8_t* data, std::size_t size) {
    // A growing memory file, so that skipping past the end works as it does in a disk file.
    zulwin::CMemFile file;
    file.Write(data, static_cast<unsigned int>(size));
    file.Seek(0, zulwin::CFile::begin);
    CTimeStamp ts(std::string("2001-02-03T04:05:06.7").c_str());
    try {
        ts.Load(&file);
    } catch (zulwin::CFileException* e) {
        e->Delete();
        return;
    }
    Check(ts.GetFileTime() <= zulplatform::GetMaxFileTime());
    zulwin::CMemFile out;
    ts.Save(&out);
    out.Seek(0, zulwin::CFile::begin);
    CTimeStamp again;
    Check(again.Load(&out) == ts.GetFileTime());
    Check(again == ts);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    if (data[0] % 4 != 0)
        FuzzText(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    else
        FuzzLoad(data + 1, size - 1);
    return 0;
}
