#include "hdbplatform/MemFile.h"

#include "FileExceptionCause.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string ReadAll(CFile& file) {
    file.SeekToBegin();
    std::string text;
    char chunk[5];
    for (UINT n; (n = file.Read(chunk, sizeof chunk)) > 0;)
        text.append(chunk, n);
    return text;
}

TEST(MemFileTest, GrowsPastItsStepAndReadsBack) {
    CMemFile file(16);
    std::string expected;
    for (int i = 0; i < 50; ++i) {
        std::string piece = "piece " + std::to_string(i) + ";";
        file.Write(piece.data(), static_cast<UINT>(piece.size()));
        expected += piece;
    }
    EXPECT_EQ(file.GetLength(), expected.size());
    EXPECT_EQ(file.GetPosition(), expected.size());
    EXPECT_EQ(ReadAll(file), expected);
    CFileStatus status;
    ASSERT_TRUE(file.GetStatus(status));
    EXPECT_EQ(status.m_size, expected.size());
    char byte;
    EXPECT_EQ(file.Read(&byte, 1), 0u) << "nothing past the end";

    file.Seek(6, CFile::begin);
    file.Write("X", 1);
    EXPECT_EQ(file.GetLength(), expected.size()) << "overwriting does not grow";
    expected[6] = 'X';
    EXPECT_EQ(ReadAll(file), expected);
}

TEST(MemFileTest, GapsAndExtensionsReadAsZeros) {
    CMemFile file;
    file.Write("ab", 2);
    EXPECT_EQ(file.Seek(3, CFile::end), 5u);
    file.Write("c", 1);
    EXPECT_EQ(ReadAll(file), std::string("ab\0\0\0c", 6));

    file.SetLength(2);
    EXPECT_EQ(file.GetPosition(), 2u) << "a position past the new end moves to it";
    file.SetLength(4);
    EXPECT_EQ(ReadAll(file), std::string("ab\0\0", 4)) << "old bytes must not reappear";

    EXPECT_EQ(CauseThrownBy([&] { file.Seek(-5, CFile::end); }), CFileException::badSeek);
    EXPECT_EQ(file.GetPosition(), 4u);
}

TEST(MemFileTest, FixedAttachedBufferIsTheWholeFileAndCannotGrow) {
    BYTE buffer[8];
    std::memcpy(buffer, "abcdefgh", 8);
    CMemFile file(buffer, sizeof buffer);
    EXPECT_EQ(file.GetLength(), 8u);
    file.Seek(2, CFile::begin);
    file.Write("XY", 2);
    EXPECT_EQ(std::memcmp(buffer, "abXYefgh", 8), 0) << "writes go to the caller's buffer";
    file.SeekToEnd();
    EXPECT_EQ(CauseThrownBy([&] { file.Write("!", 1); }), CFileException::diskFull);
    EXPECT_EQ(file.Detach(), buffer);
    EXPECT_EQ(file.GetLength(), 0u);
    file.Write("own", 3); // memory of its own after Detach
    EXPECT_EQ(ReadAll(file), "own");
}

TEST(MemFileTest, GrowableAttachedBufferMovesOutAndDetachHandsOverTheCopy) {
    BYTE buffer[4] = {'w', 'x', 'y', 'z'};
    CMemFile file;
    file.Attach(buffer, sizeof buffer, 4);
    EXPECT_EQ(file.GetLength(), 0u) << "a growable attached buffer starts empty";
    file.Write("1234", 4);
    EXPECT_EQ(std::memcmp(buffer, "1234", 4), 0);
    file.Write("5678", 4);
    EXPECT_EQ(std::memcmp(buffer, "1234", 4), 0) << "the caller's buffer is left as it was";
    EXPECT_EQ(ReadAll(file), "12345678");

    BYTE* block = file.Detach();
    ASSERT_NE(block, buffer);
    EXPECT_EQ(std::memcmp(block, "12345678", 8), 0);
    std::free(block);
}

TEST(MemFileTest, CloseEmptiesAndAMemoryFileOpensNoPath) {
    CMemFile file;
    file.Write("data", 4);
    file.Close();
    EXPECT_EQ(file.GetLength(), 0u);
    EXPECT_TRUE(file.IsOpen());
    file.Write("more", 4);
    EXPECT_EQ(ReadAll(file), "more");

    CFileException error;
    error.m_bAutoDelete = FALSE;
    EXPECT_FALSE(file.Open(L"/tmp/x", CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::genericException);
}

} // namespace
