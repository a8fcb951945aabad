#include "hdbplatform/File.h"

#include "FileExceptionCause.h"
#include "StringConversion.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

class FileTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "cfile-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(m_dir, ignored);
    }
    std::wstring PathOf(const std::string& utf8Name) const {
        return hdbtext::WideFromUtf8((m_dir / utf8Name).string());
    }

    fs::path m_dir;
};

TEST_F(FileTest, RoundTripThroughANonAsciiName) {
    const std::wstring path = PathOf("Prüfung-äöü.bin");
    const char content[] = "Zeile 1\r\nZeile 2\0Ende";
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite | CFile::typeBinary);
        file.Write(content, sizeof content);
        EXPECT_EQ(file.GetLength(), sizeof content);
        EXPECT_EQ(file.GetFileName(), L"Prüfung-äöü.bin");
        EXPECT_EQ(file.GetFilePath(), path);
    }
    ASSERT_TRUE(fs::exists(m_dir / "Pr\xC3\xBC"
                                   "fung-\xC3\xA4\xC3\xB6\xC3\xBC.bin"));

    CFile file;
    ASSERT_TRUE(file.Open(path.c_str(), CFile::modeRead | CFile::shareDenyWrite));
    EXPECT_EQ(file.SeekToEnd(), sizeof content);
    EXPECT_EQ(file.Seek(-5, CFile::end), sizeof content - 5);
    char tail[8] = {};
    EXPECT_EQ(file.Read(tail, sizeof tail), 5u);
    EXPECT_EQ(std::string(tail, 5), std::string("Ende\0", 5));
    file.SeekToBegin();
    EXPECT_EQ(file.GetPosition(), 0u);
    char all[sizeof content] = {};
    EXPECT_EQ(file.Read(all, sizeof all), sizeof content);
    EXPECT_EQ(std::string(all, sizeof all), std::string(content, sizeof content));
    file.Close();
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileTest, ReadWriteModeUpdatesInPlaceAndSetLengthCuts) {
    std::ofstream(m_dir / "update.txt") << "0123456789";
    CFile file(PathOf("update.txt").c_str(), CFile::modeReadWrite);
    file.Seek(3, CFile::begin);
    file.Write("abc", 3);
    file.SetLength(8);
    file.SeekToBegin();
    char text[16] = {};
    EXPECT_EQ(file.Read(text, sizeof text), 8u);
    EXPECT_STREQ(text, "012abc67");
    file.Flush();

    CFileStatus status;
    ASSERT_TRUE(file.GetStatus(status));
    EXPECT_EQ(status.m_size, 8u);
    EXPECT_EQ(status.m_attribute, CFile::normal);
    EXPECT_STREQ(status.m_szFullName, PathOf("update.txt").c_str());
    EXPECT_LE(std::abs(status.m_mtime.GetTime() - std::time(nullptr)), 60) << "just written";
    file.Close();
    EXPECT_FALSE(file.GetStatus(status));

    fs::permissions(m_dir / "update.txt", fs::perms::owner_read);
    CFile readOnlyFile(PathOf("update.txt").c_str(), CFile::modeRead);
    ASSERT_TRUE(readOnlyFile.GetStatus(status));
    EXPECT_EQ(status.m_attribute, CFile::readOnly);
}

TEST_F(FileTest, MissingFileThrowsAHeapExceptionThatDeleteFrees) {
    const std::wstring path = PathOf("missing.bin");
    try {
        CFile file(path.c_str(), CFile::modeRead);
        FAIL() << "opening a missing file must throw";
    } catch (CFileException* error) {
        EXPECT_EQ(error->m_cause, CFileException::fileNotFound);
        EXPECT_EQ(error->m_lOsError, ENOENT);
        EXPECT_EQ(error->m_strFileName, path);
        wchar_t message[256];
        UINT help = 7;
        ASSERT_TRUE(error->GetErrorMessage(message, 256, &help));
        EXPECT_EQ(help, 0u);
        EXPECT_NE(std::wcsstr(message, path.c_str()), nullptr) << "the message names the file";
        error->Delete(); // a leak here fails the sanitizer build
    }
}

TEST_F(FileTest, OpenReportsThroughItsArgumentWithoutThrowing) {
    CFile file;
    CFileException error(CFileException::none, -1, nullptr);
    error.m_bAutoDelete = FALSE;
    EXPECT_FALSE(file.Open(PathOf("missing.bin").c_str(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_FALSE(
        file.Open(PathOf("no-dir/x.bin").c_str(), CFile::modeCreate | CFile::modeWrite, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);
    EXPECT_EQ(error.m_strFileName, PathOf("no-dir/x.bin"));
    EXPECT_FALSE(file.Open(L"", CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);
    EXPECT_FALSE(file.Open(PathOf("missing.bin").c_str(), CFile::modeRead)) << "no error object";
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileTest, FailedOperationsThrowTheirCauses) {
    std::ofstream(m_dir / "small.txt") << "abc";
    CFile file(PathOf("small.txt").c_str(), CFile::modeRead);
    LONG osError = 0;
    EXPECT_EQ(CauseThrownBy([&] { file.Seek(-1, CFile::begin); }, &osError),
              CFileException::badSeek);
    EXPECT_EQ(osError, EINVAL);
    EXPECT_EQ(CauseThrownBy([&] { file.Write("x", 1); }), CFileException::accessDenied)
        << "writing a file opened for reading";
    file.Close();
    char byte;
    EXPECT_EQ(CauseThrownBy([&] { file.Read(&byte, 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseThrownBy([&] { file.GetLength(); }), CFileException::invalidFile);
    EXPECT_EQ(CauseThrownBy([&] {
                  CFile directory(hdbtext::WideFromUtf8(m_dir.string()).c_str(), CFile::modeWrite);
              }),
              CFileException::accessDenied);
}

TEST(FileExceptionTest, MessagesAreCutToTheBufferAndNameUnnamedFiles) {
    CFileException unnamed(CFileException::diskFull);
    wchar_t message[128];
    ASSERT_TRUE(unnamed.GetErrorMessage(message, 128));
    EXPECT_NE(std::wcsstr(message, L"an unnamed file"), nullptr);

    CFileException named(CFileException::fileNotFound, ENOENT, L"daten.csv");
    wchar_t small[6];
    ASSERT_TRUE(named.GetErrorMessage(small, 6));
    EXPECT_STREQ(small, L"The f") << "cut to five characters and terminated";
    EXPECT_FALSE(named.GetErrorMessage(small, 0));

    CException base;
    message[0] = L'x';
    EXPECT_FALSE(base.GetErrorMessage(message, 128));
    EXPECT_EQ(message[0], L'\0');
}

TEST(FileExceptionTest, ACaughtExceptionCanBeThrownOnWithItsName) {
    try {
        try {
            AfxThrowFileException(CFileException::sharingViolation, 32, L"C:\\lock.db");
        } catch (CFileException* first) {
            CBasicString<wchar_t> name = first->m_strFileName;
            int cause = first->m_cause;
            LONG osError = first->m_lOsError;
            first->Delete();
            AfxThrowFileException(cause, osError, name);
        }
    } catch (CFileException* second) {
        EXPECT_EQ(second->m_cause, CFileException::sharingViolation);
        EXPECT_EQ(second->m_lOsError, 32);
        EXPECT_EQ(second->m_strFileName, L"C:\\lock.db");
        second->Delete();
    }
}

} // namespace
