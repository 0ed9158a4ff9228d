// The bounded string functions. (The number parsers are held to the C library's rules by the
// numbers fuzz target, whose corpus holds the limits; HashCString is the internal test's.)
#include <platform/exception.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

// Runs `call` on a buffer holding "keepXYZ" and describes what happened: "<result>|<bytes>" or
// "throw <code>|<bytes>", where <bytes> are the buffer's first seven bytes.
template <typename F> static std::string Outcome(F call) {
    char buf[8] = "keepXYZ";
    try {
        std::string const result = std::to_string(call(buf));
        return result + "|" + std::string(buf, 7);
    } catch (zulplatform::CException const& e) {
        return "throw " + std::to_string(e.GetCode()) + "|" + std::string(buf, 7);
    }
}

// The bounded functions throw instead of returning error numbers and clear the destination
// (or zero-fill it, for memcpy_s) only where they must; strncpy_s treats its count as a size.
TEST(SafeString, BoundedAndCopyFunctions) {
    EXPECT_EQ("throw 34|\0eepXYZ"s, Outcome([](char* b) { return strcpy_s(b, 4, "abcd"); }));
    EXPECT_EQ("0|abcd\0YZ"s, Outcome([](char* b) { return strcpy_s(b, 5, "abcd"); }));
    EXPECT_EQ("throw 22|keepXYZ", Outcome([](char*) { return strcpy_s(nullptr, 4, "a"); }));
    EXPECT_EQ("throw 34|\0eepXYZ"s, Outcome([](char* b) { return strcat_s(b, 8, "x"); }));
    EXPECT_EQ("throw 34|\0\0\0\0XYZ"s, Outcome([](char* b) { return memcpy_s(b, 4, "abcde", 5); }));
    EXPECT_EQ("throw -4|\0bcd\0YZ"s, Outcome([](char* b) { return sprintf_s(b, 5, "abcd!"); }));
    EXPECT_EQ("0|ab\0pXYZ"s, Outcome([](char* b) { return strncpy_s(b, 8, "abcdef", 3); }));
}
