#include "BasicFileException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

TEST(BasicFileExceptionTest, EveryKindHasItsText) {
    const struct {
        unsigned char kind;
        const char* text;
    } cases[] = {
        {0, "couldn't access the file."},
        {1, "the file does not exist."},
        {2, "the parameters are invalid."},
        {3, "error with the file handle."},
        {4, "wasn't abled to find the File."},
        {5, "the handle is invalid."},
        {6, "not enough space."},
        {7, "ran out of memory."},
        {8, "undefined Error."},
        {9, "undefined default Error."},
        {255, "undefined default Error."},
    };
    for (const auto& c : cases) {
        CBasicFileException error(L"C:/data/x.bin", L"open", 0, c.kind);
        EXPECT_EQ(std::string(error.what()),
                  std::string("File exception for: C:/data/x.bin error was: ") + c.text)
            << "kind " << int(c.kind);
    }
}

TEST(BasicFileExceptionTest, DefaultIsUndefinedAndCopiesKeepEverything) {
    CBasicFileException empty;
    EXPECT_EQ(empty.GetErrorKind(), CBasicFileException::eUndefined);
    EXPECT_STREQ(empty.what(), "File exception for:  error was: undefined Error.");

    CBasicFileException original(L"Prüfung.bin", L"write", ENOSPC, CBasicFileException::eNoSpace);
    CBasicFileException copy = original;
    EXPECT_EQ(copy.GetFileName(), L"Prüfung.bin");
    EXPECT_EQ(copy.GetDetail(), L"write");
    EXPECT_EQ(copy.GetOsError(), ENOSPC);
    // The narrow encoding of the test environment is UTF-8.
    EXPECT_STREQ(copy.what(), "File exception for: Pr\xC3\xBC"
                              "fung.bin error was: not enough space.");
    EXPECT_STREQ(copy.what(), original.what()) << "what() can be called again";
}

} // namespace
