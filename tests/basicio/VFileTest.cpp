#include "VFile.h"

#include "StringConversion.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr unsigned int kReadMode = 2052;   // what the library passes to read a file
constexpr unsigned int kCreateMode = 2065; // ... and to create one
constexpr unsigned int kShare = 2052;

class VFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "vfile-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(m_dir, fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(m_dir, ignored);
    }
    std::wstring PathOf(const std::string& utf8Name) const {
        return hdbtext::WideFromUtf8((m_dir / utf8Name).string());
    }
    static std::string ReadAll(CVFile& file) {
        std::string text;
        char chunk[7]; // odd size: the loop must stitch partial chunks together
        for (std::size_t n; (n = file.Read(chunk, sizeof chunk)) > 0;)
            text.append(chunk, n);
        return text;
    }
    // The kind thrown by opening path with mode, or -1 when it opens.
    static int KindOfOpen(const std::wstring& path, unsigned int mode) {
        try {
            CVFile file;
            file.Open(path, mode, kShare);
            return -1;
        } catch (const CBasicFileException& error) {
            return error.GetErrorKind();
        }
    }

    fs::path m_dir;
};

TEST_F(VFileTest, CreateWriteSeekReadAndReopenForReading) {
    const std::string content("binary\0\xff data\n", 14);
    std::wstring path = PathOf("data.bin");
    {
        CVFile file;
        file.Open(path, kCreateMode, kShare);
        ASSERT_TRUE(file.IsOpen());
        EXPECT_EQ(file.Write(content.data(), content.size()), content.size());
        EXPECT_EQ(file.GetLength(), content.size());
        EXPECT_EQ(file.Seek(7, CVFile::seekBegin), 7u);
        char byte = 0;
        // Create mode writes only: reading back needs a new open.
        EXPECT_THROW(file.Read(&byte, 1), CBasicFileException);
        EXPECT_EQ(file.Seek(-2, CVFile::seekEnd), content.size() - 2);
        file.Close();
        EXPECT_FALSE(file.IsOpen());
    }
    CVFile file;
    file.Open(path, kReadMode, kShare);
    EXPECT_EQ(file.GetLength(), content.size());
    EXPECT_EQ(ReadAll(file), content);
    char byte = 0;
    EXPECT_EQ(file.Read(&byte, 1), 0u) << "end of file reads nothing";
    file.Seek(6, CVFile::seekBegin);
    EXPECT_EQ(file.Read(&byte, 1), 1u);
    EXPECT_EQ(byte, '\0');
    EXPECT_EQ(file.Seek(1, CVFile::seekCurrent), 8u);
    EXPECT_EQ(file.GetPosition(), 8u);
    EXPECT_THROW(file.Write("x", 1), CBasicFileException) << "read mode must not write";
}

TEST_F(VFileTest, CreateModeEmptiesAnExistingFileUnlessTold) {
    std::wstring path = PathOf("existing.txt");
    std::ofstream(m_dir / "existing.txt") << "old content";
    {
        CVFile file;
        file.Open(path, kCreateMode | CVFile::modeNoTruncate, kShare);
        EXPECT_EQ(file.GetLength(), 11u);
        file.Seek(0, CVFile::seekEnd);
        file.Write("!", 1);
    }
    {
        CVFile file;
        file.Open(path, kReadMode, kShare);
        EXPECT_EQ(ReadAll(file), "old content!");
    }
    CVFile file;
    file.Open(path, kCreateMode, kShare);
    EXPECT_EQ(file.GetLength(), 0u);
}

TEST_F(VFileTest, LengthChangesAndGapsReadAsZeros) {
    CVFile file;
    file.Open(PathOf("sparse.bin"), CVFile::modeCreate | CVFile::modeReadWrite, kShare);
    file.Write("abc", 3);
    file.Seek(5, CVFile::seekEnd);
    file.Write("z", 1);
    EXPECT_EQ(file.GetLength(), 9u);
    file.Seek(0, CVFile::seekBegin);
    EXPECT_EQ(ReadAll(file), std::string("abc\0\0\0\0\0z", 9));
    file.SetLength(2);
    EXPECT_EQ(file.GetLength(), 2u);
    file.SetLength(4);
    file.Seek(0, CVFile::seekBegin);
    EXPECT_EQ(ReadAll(file), std::string("ab\0\0", 4));
    file.Flush();
}

TEST_F(VFileTest, MovedFileKeepsTheDescriptorAndTheSourceIsClosed) {
    CVFile first;
    first.Open(PathOf("moved.txt"), kCreateMode, kShare);
    CVFile second(std::move(first));
    EXPECT_FALSE(first.IsOpen());
    ASSERT_TRUE(second.IsOpen());
    second.Write("moved", 5);
    CVFile third;
    third.Open(PathOf("other.txt"), kCreateMode, kShare);
    third = std::move(second); // closes other.txt, takes moved.txt
    EXPECT_EQ(third.GetFilePath(), PathOf("moved.txt"));
    EXPECT_EQ(third.GetLength(), 5u);
}

TEST_F(VFileTest, NonAsciiNameReachesTheFileSystemAsUtf8) {
    std::wstring path = PathOf("Prüfung-äöü.bin");
    CVFile file;
    file.Open(path, kCreateMode, kShare);
    file.Write("ok", 2);
    file.Close();
    EXPECT_TRUE(fs::exists(m_dir / "Pr\xC3\xBC"
                                   "fung-\xC3\xA4\xC3\xB6\xC3\xBC.bin"));
    file.Open(path, kReadMode, kShare);
    EXPECT_EQ(ReadAll(file), "ok");
}

TEST_F(VFileTest, MissingFileGivesKindOneWithItsText) {
    std::wstring path = PathOf("missing.txt");
    try {
        CVFile file;
        file.Open(path, kReadMode, kShare);
        FAIL() << "opening a missing file must throw";
    } catch (const CBasicFileException& error) {
        EXPECT_EQ(error.GetErrorKind(), CBasicFileException::eFileNotFound);
        EXPECT_EQ(error.GetOsError(), ENOENT);
        EXPECT_EQ(error.GetFileName(), path);
        std::string expected = "File exception for: " + (m_dir / "missing.txt").string() +
                               " error was: the file does not exist.";
        EXPECT_EQ(std::string(error.what()), expected);
    }
}

TEST_F(VFileTest, MissingDirectoryIsAPathNotAFileError) {
    EXPECT_EQ(KindOfOpen(PathOf("no-such-dir/file.txt"), kReadMode),
              CBasicFileException::ePathNotFound);
    EXPECT_EQ(KindOfOpen(PathOf("no-such-dir/file.txt"), kCreateMode),
              CBasicFileException::ePathNotFound);
    std::ofstream(m_dir / "plain") << "x";
    EXPECT_EQ(KindOfOpen(PathOf("plain/file.txt"), kReadMode), CBasicFileException::ePathNotFound)
        << "a file used as a directory";
}

TEST_F(VFileTest, BadNamesAreInvalidParameters) {
    EXPECT_EQ(KindOfOpen(L"", kReadMode), CBasicFileException::eInvalidParameter);
    std::wstring withTerminator = PathOf("a");
    withTerminator += L'\0';
    withTerminator += L"b";
    EXPECT_EQ(KindOfOpen(withTerminator, kCreateMode), CBasicFileException::eInvalidParameter);
    EXPECT_FALSE(fs::exists(m_dir / "a")) << "the name must not be cut at the terminator";
}

TEST_F(VFileTest, ReadOnlyTargetsDenyAccess) {
    EXPECT_EQ(KindOfOpen(hdbtext::WideFromUtf8(m_dir.string()), kCreateMode),
              CBasicFileException::eAccessDenied)
        << "a directory cannot be written as a file";

    std::ofstream(m_dir / "readonly.txt") << "keep";
    fs::permissions(m_dir / "readonly.txt",
                    fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    fs::permissions(m_dir, fs::perms::all);
    std::wstring path = PathOf("readonly.txt");
    if (geteuid() != 0) {
        EXPECT_EQ(KindOfOpen(path, kCreateMode), CBasicFileException::eAccessDenied);
        return;
    }
    // The superuser may write anything: try as an ordinary user in a child.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0)
            _exit(99);
        _exit(KindOfOpen(path, kCreateMode) & 0xff);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), CBasicFileException::eAccessDenied);
}

TEST_F(VFileTest, OperationsOnAClosedFileReportAnInvalidHandle) {
    CVFile file;
    char byte = 0;
    auto kindOf = [](auto operation) {
        try {
            operation();
            return -1;
        } catch (const CBasicFileException& error) {
            EXPECT_STREQ(error.what(), "File exception for:  error was: the handle is invalid.");
            return static_cast<int>(error.GetErrorKind());
        }
    };
    EXPECT_EQ(kindOf([&] { file.Read(&byte, 1); }), CBasicFileException::eInvalidHandle);
    EXPECT_EQ(kindOf([&] { file.Write(&byte, 1); }), CBasicFileException::eInvalidHandle);
    EXPECT_EQ(kindOf([&] { file.Seek(0, CVFile::seekBegin); }),
              CBasicFileException::eInvalidHandle);
    EXPECT_EQ(kindOf([&] { file.GetLength(); }), CBasicFileException::eInvalidHandle);
    EXPECT_NO_THROW(file.Close()) << "closing twice is harmless";
}

TEST_F(VFileTest, SeekBeforeTheStartIsAnInvalidParameter) {
    CVFile file;
    file.Open(PathOf("seek.bin"), kCreateMode, kShare);
    file.Write("abc", 3);
    try {
        file.Seek(-4, CVFile::seekCurrent);
        FAIL() << "seeking before the start must throw";
    } catch (const CBasicFileException& error) {
        EXPECT_EQ(error.GetErrorKind(), CBasicFileException::eInvalidParameter);
    }
    EXPECT_EQ(file.GetPosition(), 3u) << "a failed seek leaves the position";
}

} // namespace
