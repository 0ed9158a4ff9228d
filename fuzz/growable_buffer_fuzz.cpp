// CGrowableBuffer's hex text and binary form on arbitrary input. The first byte picks the
// operation: hex text is compared with a plain decoder and printed back; a binary form is
// loaded from memory and must hold what the length field and the following bytes say.
#include <platform/growable_buffer.h>
#include <platform/mem_file.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

int HexValue(unsigned char c) {
    return std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10;
}

// Both letter cases, two digits a byte; nothing for null, empty, odd or non-hex text.
bool ReferenceDecode(const char* text, std::vector<unsigned char>& bytes) {
    std::size_t const n = std::strlen(text);
    if (n == 0 || n % 2 != 0)
        return false;
    for (std::size_t i = 0; i < n; ++i)
        if (!std::isxdigit(static_cast<unsigned char>(text[i])))
            return false;
    for (std::size_t i = 0; i < n; i += 2)
        bytes.push_back(
            static_cast<unsigned char>(HexValue(static_cast<unsigned char>(text[i])) * 16 +
                                       HexValue(static_cast<unsigned char>(text[i + 1]))));
    return true;
}

void FuzzHex(const std::string& text) {
    CGrowableBuffer buffer(static_cast<unsigned long>(text.size() % 64));
    std::vector<unsigned char> expected;
    bool const ok = buffer.FromString(text.c_str());
    Check(ok == ReferenceDecode(text.c_str(), expected));
    if (!ok) {
        Check(buffer.GetLength() == 0);
        return;
    }
    std::vector<unsigned char> bytes;
    buffer.ToVector(bytes);
    Check(bytes == expected);
    zulwin::CString printed;
    buffer.ToString(printed);
    std::string lowered(text.c_str());
    for (char& c : lowered)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    Check(lowered == printed.GetString());
}

void FuzzLoad(const uint8_t* data, std::size_t size) {
    std::vector<unsigned char> image(data, data + size);
    zulwin::CMemFile file(image.data(), static_cast<unsigned long>(image.size()));
    CGrowableBuffer buffer;
    std::uint64_t length = 0;
    std::memcpy(&length, data, size < 8 ? size : 8);
    std::size_t const body = size > 8 ? size - 8 : 0;
    // A length field far beyond the input would only exercise the allocator (the sanitizers'
    // one refuses huge requests outright): such images are left out.
    if (length > (1u << 20))
        return;
    unsigned int const got = buffer.Load(&file);
    if (length == 0) {
        Check(buffer.GetLength() == 0 && got == (size < 8 ? size : 8));
        return;
    }
    std::size_t const arrived = body < length ? body : static_cast<std::size_t>(length);
    Check(buffer.GetLength() == length && got == arrived);
    Check(std::memcmp(buffer.GetData(), data + 8, arrived) == 0);
    for (std::size_t i = arrived; i < length; ++i)
        Check(buffer.GetData()[i] == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        FuzzHex(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    else
        FuzzLoad(data + 1, size - 1);
    return 0;
}
