#include "hdbplatform/OleStreamFile.h"

#include "FileExceptionCause.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(OleStreamFileTest, MemoryStreamWriteSeekRead) {
    COleStreamFile file;
    EXPECT_FALSE(file.IsOpen());
    ASSERT_TRUE(file.CreateMemoryStream());
    ASSERT_TRUE(file.IsOpen());
    file.Write("Hello, stream", 13);
    EXPECT_EQ(file.GetLength(), 13u);
    EXPECT_EQ(file.GetPosition(), 13u);
    EXPECT_EQ(file.Seek(-6, CFile::end), 7u);
    char text[16] = {};
    EXPECT_EQ(file.Read(text, sizeof text), 6u);
    EXPECT_STREQ(text, "stream");
    file.SetLength(5);
    EXPECT_EQ(file.GetLength(), 5u);
    CFileStatus status;
    ASSERT_TRUE(file.GetStatus(status));
    EXPECT_EQ(status.m_size, 5u);
    file.SeekToBegin();
    EXPECT_EQ(file.Read(text, sizeof text), 5u);
    EXPECT_EQ(std::string(text, 5), "Hello");
    EXPECT_EQ(CauseThrownBy([&] { file.Seek(-1, CFile::begin); }), CFileException::badSeek);
}

TEST(OleStreamFileTest, StreamServesAsSequentialStream) {
    COleStreamFile file;
    ASSERT_TRUE(file.CreateMemoryStream());
    file.Write("0123456789", 10);
    file.SeekToBegin();

    ISequentialStream* sequential = file.GetStream();
    ASSERT_NE(sequential, nullptr);
    char buffer[4] = {};
    ULONG done = 0;
    EXPECT_EQ(sequential->Read(buffer, 4, &done), S_OK);
    EXPECT_EQ(done, 4u);
    EXPECT_EQ(std::string(buffer, 4), "0123");
    EXPECT_EQ(file.GetPosition(), 4u) << "file and stream share one position";

    file.SeekToEnd();
    EXPECT_EQ(sequential->Write("AB", 2, &done), S_OK);
    EXPECT_EQ(file.GetLength(), 12u);

    void* asSequential = nullptr;
    ASSERT_EQ(file.GetStream()->QueryInterface(IID_ISequentialStream, &asSequential), S_OK);
    static_cast<IUnknown*>(asSequential)->Release();
}

TEST(OleStreamFileTest, AttachAndDetachPassOwnershipWithoutCounting) {
    COleStreamFile file;
    ASSERT_TRUE(file.CreateMemoryStream());
    IStream* stream = file.Detach();
    ASSERT_NE(stream, nullptr);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(stream->AddRef(), 2u) << "Detach handed over exactly the one reference";
    stream->Release();

    COleStreamFile other(stream); // owns the reference now; freed by its destructor
    EXPECT_EQ(other.GetStream(), stream);
    other.Write("x", 1);
    EXPECT_EQ(other.GetLength(), 1u);
}

TEST(OleStreamFileTest, WithoutAStreamOperationsThrowInvalidFile) {
    COleStreamFile file;
    char byte;
    EXPECT_EQ(CauseThrownBy([&] { file.Read(&byte, 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseThrownBy([&] { file.Write("x", 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseThrownBy([&] { file.GetLength(); }), CFileException::invalidFile);
    ASSERT_TRUE(file.CreateMemoryStream());
    file.Close();
    EXPECT_EQ(file.GetStream(), nullptr);
    EXPECT_EQ(CauseThrownBy([&] { file.Seek(0, CFile::begin); }), CFileException::invalidFile);
}

} // namespace
