// The memory stream of CreateStreamOnHGlobal.
#include "hdbplatform/WinApi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

LARGE_INTEGER Offset(LONGLONG value) {
    LARGE_INTEGER offset;
    offset.QuadPart = value;
    return offset;
}

ULARGE_INTEGER Size(ULONGLONG value) {
    ULARGE_INTEGER size;
    size.QuadPart = value;
    return size;
}

struct MemoryStream : ::testing::Test {
    void SetUp() override { ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK); }
    void TearDown() override {
        if (stream != nullptr)
            stream->Release();
    }

    ULONGLONG SeekTo(LONGLONG offset, DWORD origin = STREAM_SEEK_SET) {
        ULARGE_INTEGER position{};
        EXPECT_EQ(stream->Seek(Offset(offset), origin, &position), S_OK);
        return position.QuadPart;
    }
    std::string ReadAll(IStream* from, ULONG max = 1000) {
        std::string text(max, '\0');
        ULONG read = 0;
        EXPECT_EQ(from->Read(text.data(), max, &read), S_OK);
        text.resize(read);
        return text;
    }
    ULONGLONG SizeOf(IStream* of) {
        STATSTG stat{};
        EXPECT_EQ(of->Stat(&stat, STATFLAG_NONAME), S_OK);
        return stat.cbSize.QuadPart;
    }

    IStream* stream = nullptr;
};

TEST_F(MemoryStream, WriteSeekAndReadBack) {
    ULONG written = 0;
    ASSERT_EQ(stream->Write("hello world", 11, &written), S_OK);
    EXPECT_EQ(written, 11u);
    EXPECT_EQ(SeekTo(6), 6u);
    EXPECT_EQ(ReadAll(stream), "world");
    EXPECT_EQ(SeekTo(-5, STREAM_SEEK_END), 6u);
    ASSERT_EQ(stream->Write("there", 5, nullptr), S_OK);
    EXPECT_EQ(SeekTo(-11, STREAM_SEEK_CUR), 0u);
    EXPECT_EQ(ReadAll(stream), "hello there");
}

TEST_F(MemoryStream, ReadingPastTheEndSucceedsWithFewerBytes) {
    stream->Write("abc", 3, nullptr);
    SeekTo(1);
    char buffer[10];
    ULONG read = 99;
    EXPECT_EQ(stream->Read(buffer, sizeof buffer, &read), S_OK);
    EXPECT_EQ(read, 2u);
    EXPECT_EQ(stream->Read(buffer, sizeof buffer, &read), S_OK);
    EXPECT_EQ(read, 0u);
    SeekTo(50);
    EXPECT_EQ(stream->Read(buffer, sizeof buffer, &read), S_OK);
    EXPECT_EQ(read, 0u);
}

TEST_F(MemoryStream, GrowsAcrossLargeWritesAndZeroFillsGaps) {
    std::vector<char> block(300000, 'x');
    ASSERT_EQ(stream->Write(block.data(), static_cast<ULONG>(block.size()), nullptr), S_OK);
    SeekTo(10, STREAM_SEEK_END);
    stream->Write("!", 1, nullptr);
    EXPECT_EQ(SizeOf(stream), 300011u);
    SeekTo(299999);
    EXPECT_EQ(ReadAll(stream), std::string("x") + std::string(10, '\0') + "!");
}

TEST_F(MemoryStream, SetSizeTruncatesAndExtendsWithoutMovingThePosition) {
    stream->Write("0123456789", 10, nullptr);
    ASSERT_EQ(stream->SetSize(Size(4)), S_OK);
    EXPECT_EQ(SizeOf(stream), 4u);
    EXPECT_EQ(SeekTo(0, STREAM_SEEK_CUR), 10u);
    EXPECT_EQ(ReadAll(stream), "");
    ASSERT_EQ(stream->SetSize(Size(6)), S_OK);
    SeekTo(0);
    EXPECT_EQ(ReadAll(stream), std::string("0123") + std::string(2, '\0'));
}

TEST_F(MemoryStream, SeekBeforeTheStartFailsAndKeepsThePosition) {
    stream->Write("abc", 3, nullptr);
    ULARGE_INTEGER position{};
    EXPECT_EQ(stream->Seek(Offset(-4), STREAM_SEEK_END, &position), STG_E_SEEKERROR);
    EXPECT_EQ(stream->Seek(Offset(-1), STREAM_SEEK_SET, nullptr), STG_E_SEEKERROR);
    EXPECT_EQ(SeekTo(0, STREAM_SEEK_CUR), 3u);
    EXPECT_EQ(stream->Seek(Offset(0), 7, nullptr), STG_E_INVALIDFUNCTION);
}

TEST_F(MemoryStream, ClonesShareBytesButNotPositions) {
    stream->Write("shared", 6, nullptr);
    SeekTo(2);
    IStream* clone = nullptr;
    ASSERT_EQ(stream->Clone(&clone), S_OK);
    EXPECT_EQ(ReadAll(clone), "ared");
    clone->Write("!", 1, nullptr);
    EXPECT_EQ(ReadAll(stream), "ared!");
    stream->Release();
    stream = nullptr; // the clone keeps the bytes alive
    EXPECT_EQ(SizeOf(clone), 7u);
    clone->Release();
}

TEST_F(MemoryStream, CopyToMovesBothPositions) {
    stream->Write("copy these bytes", 16, nullptr);
    SeekTo(5);
    IStream* target = nullptr;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &target), S_OK);
    ULARGE_INTEGER read{}, written{};
    ASSERT_EQ(stream->CopyTo(target, Size(5), &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 5u);
    EXPECT_EQ(written.QuadPart, 5u);
    EXPECT_EQ(ReadAll(stream), " bytes");
    // Asking for more than is left copies what there is.
    SeekTo(10);
    ASSERT_EQ(stream->CopyTo(target, Size(1000), &read, nullptr), S_OK);
    EXPECT_EQ(read.QuadPart, 6u);
    LARGE_INTEGER start = Offset(0);
    target->Seek(start, STREAM_SEEK_SET, nullptr);
    EXPECT_EQ(ReadAll(target), "these bytes");
    target->Release();
    EXPECT_EQ(stream->CopyTo(nullptr, Size(1), nullptr, nullptr), STG_E_INVALIDPOINTER);
}

TEST_F(MemoryStream, CopyToAClonedSelfSeesConsistentBytes) {
    stream->Write("abcdef", 6, nullptr);
    IStream* clone = nullptr;
    ASSERT_EQ(stream->Clone(&clone), S_OK); // positioned at the end
    SeekTo(0);
    ASSERT_EQ(stream->CopyTo(clone, Size(6), nullptr, nullptr), S_OK);
    SeekTo(0);
    EXPECT_EQ(ReadAll(stream), "abcdefabcdef");
    clone->Release();
}

} // namespace
