// A long value given as a stream parameter reaches the database whole and
// exact on every backend; the providers read the stream while the statement
// executes (ODBC's data at execution on the servers).
#include <cstdio>

#include "conformance/Conformance.h"

namespace conformance {
namespace {

// The byte at a position of the values the test streams.
BYTE PatternAt(size_t position) {
    return static_cast<BYTE>(position * 7 % 251);
}

// A stream of size pattern bytes, positioned at its start (the platform's
// memory stream).
Ptr<IStream> PatternStream(size_t size) {
    std::vector<BYTE> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = PatternAt(i);
    Ptr<IStream> stream;
    EXPECT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, stream.Out()), S_OK);
    ULONG written = 0;
    if (size != 0) {
        EXPECT_EQ(stream->Write(bytes.data(), static_cast<ULONG>(size), &written), S_OK);
    }
    EXPECT_EQ(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), S_OK);
    return stream;
}

std::wstring Hex(size_t from, size_t count) {
    std::wstring out;
    wchar_t digits[3];
    for (size_t i = 0; i < count; ++i) {
        std::swprintf(digits, 3, L"%02X", PatternAt(from + i));
        out += digits;
    }
    return out;
}

TEST_P(Conformance, AStreamParameterArrivesWholeAndExact) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER, b " + m_context->LongBinaryType() + L")");
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), L"INSERT INTO " + m_table + L" VALUES (?, ?)");
    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG));
    layout.Add(2, DBTYPE_IUNKNOWN, sizeof(IUnknown*)).pObject = &object;
    const HACCESSOR accessor = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    // Larger than any piece a provider reads at once; an empty one too.
    const size_t sizes[] = {3 * 1024 * 1024 + 17, 0};
    for (size_t i = 0; i < std::size(sizes); ++i) {
        std::vector<BYTE> data(layout.Size(), 0);
        layout.Status(data.data(), 0) = layout.Status(data.data(), 1) = DBSTATUS_S_OK;
        layout.Value<LONG>(data.data(), 0) = static_cast<LONG>(i + 1);
        Ptr<IStream> stream = PatternStream(sizes[i]);
        layout.Value<IUnknown*>(data.data(), 1) = stream.Get();
        DBPARAMS params{data.data(), 1, accessor};
        EXPECT_EQ(command->Execute(nullptr, IID_NULL, &params, nullptr, nullptr), S_OK)
            << Describe(TakeErrorRecords());
    }
    command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
    const size_t size = sizes[0], middle = 1024 * 1024 - 2;
    const Context& c = *m_context;
    EXPECT_EQ(
        m_context->CheckerQuery(L"SELECT length(b), " + c.HexSlice(L"b", 1, 4) + L", " +
                                c.HexSlice(L"b", middle + 1, 8) + L", " +
                                c.HexSlice(L"b", size - 3, 4) + L" FROM " + m_table +
                                L" WHERE id = 1"),
        (std::vector<Row>{{std::to_wstring(size), Hex(0, 4), Hex(middle, 8), Hex(size - 4, 4)}}));
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT length(b) FROM " + m_table + L" WHERE id = 2"),
              (std::vector<Row>{{L"0"}}));
}

} // namespace
} // namespace conformance
