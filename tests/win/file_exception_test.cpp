// Exceptions thrown by pointer, file-error messages and the errno translations.
#include <platform/files.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <vector>

using zulwin::CFileException;

namespace {

// The sentences of the library's string table, by cause; "%s" receives the file name.
const char* const kMessages[] = {
    "No error occurred.",
    "An unknown error occurred while accessing %s.",
    "%s was not found.",
    "%s contains an incorrect path.",
    "Could not open %s because there are too many open files.",
    "Access to %s was denied.",
    "An incorrect file handle was associated with %s.",
    "Could not remove %s because it is the current directory.",
    "Could not create %s because the directory is full.",
    "Seek failed on %s",
    "Encountered a hardware I/O error while accessing %s.",
    "Encountered a sharing violation while accessing %s.",
    "Encountered a locking violation while accessing %s.",
    "Disk full while accessing %s.",
    "Attempted to access %s past its end.",
};

std::string WithName(std::string sentence, const std::string& name) {
    const auto at = sentence.find("%s");
    if (at != std::string::npos)
        sentence.replace(at, 2, name);
    return sentence;
}

// The message of `e` read through a 256-byte buffer, and the return value.
struct Message {
    int result;
    std::string text;
};
Message MessageOf(const zulwin::CException& e) {
    char buffer[256];
    std::memset(buffer, 'Z', sizeof buffer);
    const int result = e.GetErrorMessage(buffer, sizeof buffer);
    return {result, std::string(buffer, strnlen(buffer, sizeof buffer))};
}

// A minimal derived exception that counts its destructions and can carry its own text.
class TestException : public zulwin::CException {
public:
    explicit TestException(int* destroyed, const char* text = nullptr) : m_destroyed(destroyed) {
        if (text != nullptr)
            m_strError = text;
    }
    ~TestException() override { ++*m_destroyed; }

private:
    int* m_destroyed;
};

// Calling a member through a null pointer is what Delete is documented to tolerate; the
// sanitizer's null and dynamic-type checks would stop the call itself (the latter by reading
// the object's type through the pointer), before Delete can show that it copes.
__attribute__((noipa, no_sanitize("null", "vptr"))) void DeleteThrough(zulwin::CException* e) {
    e->Delete();
}

} // namespace

TEST(ErrnoToExceptionTest, MatchesTheWholeTable) {
    const std::map<int, int> listed = {
        {0, 0},  {1, 5},   {2, 2},  {5, 10}, {6, 6},  {9, 6},  {11, 6},  {12, 8},
        {13, 5}, {16, 11}, {20, 3}, {21, 5}, {23, 4}, {24, 4}, {26, 11}, {27, 6},
        {28, 8}, {30, 5},  {36, 3}, {38, 9}, {40, 3}, {75, 6}, {105, 4},
    };
    for (int err = -300; err <= 300; ++err) {
        const auto entry = listed.find(err);
        const int expected = entry != listed.end() ? entry->second : CFileException::causeGeneric;
        EXPECT_EQ(CFileException::ErrnoToException(err), expected) << "errno " << err;
    }
    for (const int err : {INT_MIN, INT_MIN + 1, INT_MAX, 106, 65536 + 2})
        EXPECT_EQ(CFileException::ErrnoToException(err), CFileException::causeGeneric) << err;
}

TEST(FileExceptionTest, StoresWhatItIsGiven) {
    const CFileException e(CFileException::causeAccessDenied, 13, "/srv/data.ini");
    EXPECT_EQ(e.m_cause, CFileException::causeAccessDenied);
    EXPECT_EQ(e.m_lOsError, 13);
    EXPECT_STREQ(e.m_strFileName.GetString(), "/srv/data.ini");

    const CFileException unnamed;
    EXPECT_EQ(unnamed.m_cause, CFileException::causeNone);
    EXPECT_EQ(unnamed.m_lOsError, -1);
    EXPECT_STREQ(unnamed.m_strFileName.GetString(), "an unnamed file");
}

TEST(FileExceptionTest, MessageForEveryCauseNamesTheFile) {
    const std::string name = "/var/lib/app/settings.ini";
    for (int cause = 0; cause < 15; ++cause) {
        const CFileException e(cause, -1, name.c_str());
        const Message m = MessageOf(e);
        EXPECT_EQ(m.result, 1) << cause;
        EXPECT_EQ(m.text, WithName(kMessages[cause], name)) << cause;
    }
}

TEST(FileExceptionTest, UnknownCausesReadAsNoError) {
    for (const int cause : {15, 16, 100, -1, -3, INT_MIN, INT_MAX}) {
        const Message m = MessageOf(CFileException(cause, -1, "x"));
        EXPECT_EQ(m.result, 1) << cause;
        EXPECT_EQ(m.text, "No error occurred.") << cause;
    }
}

TEST(FileExceptionTest, UnnamedFileAndLiteralPercentInTheName) {
    EXPECT_EQ(MessageOf(CFileException(CFileException::causeFileNotFound, -1, nullptr)).text,
              "an unnamed file was not found.");
    // The name is an argument, never part of the format.
    EXPECT_EQ(MessageOf(CFileException(CFileException::causeFileNotFound, -1, "/tmp/%s%n")).text,
              "/tmp/%s%n was not found.");
}

TEST(FileExceptionTest, MessageFollowsTheCurrentCauseAndName) {
    CFileException e(CFileException::causeFileNotFound, -1, "a.txt");
    EXPECT_EQ(MessageOf(e).text, "a.txt was not found.");
    e.m_cause = CFileException::causeDiskFull;
    e.m_strFileName = "b.txt";
    EXPECT_EQ(MessageOf(e).text, "Disk full while accessing b.txt.");
}

TEST(GetErrorMessageTest, ShortBufferGetsAPrefixAndATerminator) {
    const CFileException e(CFileException::causeFileNotFound, -1, nullptr);
    char buffer[16];
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(e.GetErrorMessage(buffer, 6), 1);
    EXPECT_EQ(std::string(buffer, 6), std::string("an un\0", 6));
    for (size_t i = 6; i < sizeof buffer; ++i)
        EXPECT_EQ(buffer[i], 'Z') << "byte " << i << " is outside the buffer";

    // A one-byte buffer holds just the terminator.
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(e.GetErrorMessage(buffer, 1), 1);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'Z');
}

TEST(GetErrorMessageTest, ZeroFillsTheRestAndNeverWritesTheHelpContext) {
    const CFileException e(CFileException::causeBadSeek, -1, "f");
    char buffer[40];
    std::memset(buffer, 'Z', sizeof buffer);
    unsigned int helpContext = 0xABCD;
    EXPECT_EQ(e.GetErrorMessage(buffer, sizeof buffer, &helpContext), 1);
    EXPECT_STREQ(buffer, "Seek failed on f");
    for (size_t i = std::strlen("Seek failed on f"); i < sizeof buffer; ++i)
        EXPECT_EQ(buffer[i], '\0') << "byte " << i;
    EXPECT_EQ(helpContext, 0xABCDu);
}

TEST(GetErrorMessageTest, BaseWithoutTextLeavesTheBufferAlone) {
    int destroyed = 0;
    const TestException empty(&destroyed);
    char buffer[8];
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(empty.GetErrorMessage(buffer, sizeof buffer), 0);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(sizeof buffer, 'Z'));

    const TestException withText(&destroyed, "disk on fire");
    EXPECT_EQ(MessageOf(withText).result, 1);
    EXPECT_EQ(MessageOf(withText).text, "disk on fire");
}

TEST(CExceptionDeleteTest, DestroysThroughTheVirtualDestructor) {
    int destroyed = 0;
    zulwin::CException* e = new TestException(&destroyed);
    e->Delete();
    EXPECT_EQ(destroyed, 1);

    DeleteThrough(nullptr); // harmless
}

TEST(ThrowErrnoTest, ThrowsAHeapExceptionTheCatcherDeletes) {
    struct Case {
        int err;
        const char* name;
        int cause;
        const char* storedName;
    };
    const Case cases[] = {
        {ENOENT, "/data/missing.ini", CFileException::causeFileNotFound, "/data/missing.ini"},
        {ENOSPC, "/data/full.ini", CFileException::causeDirectoryFull, "/data/full.ini"},
        {-7, nullptr, CFileException::causeGeneric, "an unnamed file"},
    };
    for (const Case& c : cases) {
        try {
            CFileException::ThrowErrno(c.err, c.name);
            ADD_FAILURE() << "nothing thrown for errno " << c.err;
        } catch (CFileException* e) {
            EXPECT_EQ(e->m_cause, c.cause);
            EXPECT_EQ(e->m_lOsError, -1);
            EXPECT_STREQ(e->m_strFileName.GetString(), c.storedName);
            e->Delete();
        }
    }
}

TEST(PopulateFileExceptionTest, WildcardNamesThatWereNotFoundAreBadPaths) {
    struct Case {
        int err;
        const char* name;
        int cause;
    };
    const Case cases[] = {
        {ENOENT, "/tmp/a*.txt", CFileException::causeBadPath},
        {ENOENT, "/tmp/a?.txt", CFileException::causeBadPath},
        {ENOENT, "/tmp/*/a.txt", CFileException::causeBadPath},
        {ENOENT, "/tmp/a.txt", CFileException::causeFileNotFound},
        {EACCES, "/tmp/a*.txt", CFileException::causeAccessDenied},
        {ENOTDIR, "/tmp/a.txt/b", CFileException::causeBadPath},
        {0, "/tmp/a*.txt", CFileException::causeNone},
    };
    for (const Case& c : cases) {
        CFileException e(CFileException::causeDiskFull, 99, "before");
        errno = c.err;
        EXPECT_EQ(zulwin::_PopulateFileException(e, c.name), c.cause) << c.name;
        EXPECT_EQ(e.m_cause, c.cause) << c.name;
        EXPECT_EQ(e.m_lOsError, -1);
        EXPECT_STREQ(e.m_strFileName.GetString(), c.name);
    }

    CFileException unnamed;
    errno = ENOENT;
    EXPECT_EQ(zulwin::_PopulateFileException(unnamed, nullptr), CFileException::causeFileNotFound);
    EXPECT_STREQ(unnamed.m_strFileName.GetString(), "");
}

TEST(PopulateFileExceptionTest, AfterARealFailedOpen) {
    const char* wildcard = "/nonexistent-dir-for-tests/a*.txt";
    ASSERT_EQ(open(wildcard, O_RDONLY), -1);
    CFileException e;
    EXPECT_EQ(zulwin::_PopulateFileException(e, wildcard), CFileException::causeBadPath);
    EXPECT_EQ(MessageOf(e).text, std::string(wildcard) + " contains an incorrect path.");
}

TEST(ErrnoToStringTest, NamesExactlyTheListedValues) {
    const std::map<unsigned int, std::string> listed = {
        {4, "EINTR"},        {5, "EIO"},       {6, "ENXIO"},      {9, "EBADF"},
        {11, "EAGAIN"},      {12, "ENOMEM"},   {21, "EISDIR"},    {22, "EINVAL"},
        {29, "ESPIPE"},      {38, "ENOSYS"},   {74, "EBADMSG"},   {75, "EOVERFLOW"},
        {104, "ECONNRESET"}, {105, "ENOBUFS"}, {107, "ENOTCONN"}, {110, "ETIMEDOUT"},
    };
    std::vector<unsigned int> values;
    for (unsigned int err = 0; err <= 300; ++err)
        values.push_back(err);
    values.insert(values.end(), {UINT_MAX, UINT_MAX - 1, 1u << 31, 65536 + 4});
    for (const unsigned int err : values) {
        const char* name = zulwin::_ErrnoToString(err);
        ASSERT_NE(name, nullptr) << err;
        const auto entry = listed.find(err);
        EXPECT_STREQ(name, entry != listed.end() ? entry->second.c_str() : "") << err;
    }
}
