// Exceptions thrown by pointer, file-error messages and the errno translations.
#include "support/opaque.h"

#include <platform/files.h>
#include <platform/module.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <tuple>

using zulwin::CException;
using zulwin::CFileException;

// The message of `e` read through a 256-byte buffer, or "<none>" when it reports no text.
static std::string MessageOf(const CException& e) {
    char buffer[256];
    return e.GetErrorMessage(buffer, sizeof buffer) == 1 ? buffer : "<none>";
}

// Delete is documented to tolerate a null `this`; the sanitizer would stop the call itself.
static __attribute__((TEST_OPAQUE, no_sanitize("null", "vptr"))) void DeleteThrough(CException* e) {
    e->Delete();
}

TEST(ErrnoTablesTest, ListExactlyTheirValues) {
    // ENOSPC and ENOMEM give "directory full", ENOSYS a bad seek, EISDIR access denied.
    const std::map<int, int> cause = {{0, 0},  {1, 5},  {2, 2},   {5, 10},  {6, 6},  {9, 6},
                                      {11, 6}, {12, 8}, {13, 5},  {16, 11}, {20, 3}, {21, 5},
                                      {23, 4}, {24, 4}, {26, 11}, {27, 6},  {28, 8}, {30, 5},
                                      {36, 3}, {38, 9}, {40, 3},  {75, 6},  {105, 4}};
    const std::map<int, std::string> name = {
        {4, "EINTR"},     {5, "EIO"},        {6, "ENXIO"},        {9, "EBADF"},
        {11, "EAGAIN"},   {12, "ENOMEM"},    {21, "EISDIR"},      {22, "EINVAL"},
        {29, "ESPIPE"},   {38, "ENOSYS"},    {74, "EBADMSG"},     {75, "EOVERFLOW"},
        {105, "ENOBUFS"}, {107, "ENOTCONN"}, {104, "ECONNRESET"}, {110, "ETIMEDOUT"}};
    for (int e = -300; e <= 300; ++e) { // negative ones reach the names as huge values
        EXPECT_EQ(CFileException::ErrnoToException(e), cause.count(e) ? cause.at(e) : 1) << e;
        EXPECT_EQ(zulwin::_ErrnoToString(e), name.count(e) ? name.at(e) : "") << e;
    }
}

TEST(GetErrorMessageTest, ResourceSentenceWithTheNameCutToTheBuffer) {
    zulplatform::IModule* own = GetModule();     // the library's own texts
    for (int cause = -3; cause <= 16; ++cause) { // unknown causes read as "no error" (id 101)
        std::string expected = own->LoadString(cause >= 0 && cause < 15 ? 101 + cause : 101);
        if (expected.find("%s") != std::string::npos)
            expected.replace(expected.find("%s"), 2, "n");
        EXPECT_EQ(MessageOf(CFileException(cause, -1, "n")), expected) << cause;
    }
    EXPECT_EQ(MessageOf(CFileException(2, -1, nullptr)), "an unnamed file was not found.");
    EXPECT_EQ(MessageOf(CFileException(3, -1, "/%s%n")), "/%s%n contains an incorrect path.");
    CFileException changed(2, -1, "a"); // the sentence is made when asked for
    changed.m_cause = CFileException::causeDiskFull;
    EXPECT_EQ(MessageOf(changed), "Disk full while accessing a.");

    const CFileException e(CFileException::causeBadSeek, -1, "f"); // "Seek failed on f"
    for (const unsigned long size : {1ul, 6ul, 20ul}) {
        char buffer[24];
        std::memset(buffer, 'Z', sizeof buffer);
        EXPECT_EQ(e.GetErrorMessage(buffer, size), 1);
        std::string expected = std::string("Seek failed on f").substr(0, size - 1);
        expected.resize(size, '\0'); // zero-filled up to and with the last byte
        expected.resize(sizeof buffer, 'Z');
        EXPECT_EQ(std::string(buffer, sizeof buffer), expected) << size;
    }
    DeleteThrough(nullptr); // harmless
}

// A missing wildcard name reads as a bad path after a failed open. (ThrowErrno, which has no
// such rule, is exercised through the file classes.)
TEST(PopulateFileExceptionTest, WildcardNamesThatWereNotFoundAreBadPaths) {
    const std::tuple<int, const char*, int> cases[] = {
        {ENOENT, "/t/a*.txt", 3}, {ENOENT, "/t/a?", 3}, {ENOENT, "/*/a", 3},
        {ENOENT, "/t/a.txt", 2},  {EACCES, "/t/a*", 5}, {0, "/t/a*", 0}};
    for (const auto& [err, name, cause] : cases) {
        CFileException e(CFileException::causeDiskFull, 99, "before");
        errno = err;
        EXPECT_EQ(zulwin::_PopulateFileException(e, name), cause) << name;
        EXPECT_EQ(e.m_cause, cause) << name;
        EXPECT_EQ(e.m_lOsError, -1);
        EXPECT_STREQ(e.m_strFileName.GetString(), name);
    }
}
