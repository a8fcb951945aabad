// CRowSet's long columns bound as streams: the stream a column holds in the
// current row, handing it out and giving it back, and reading it whole into
// the rowset's growing text buffers.
#include "haldendb/RowSet.h"
#include "haldendb/MessageNumbers.h"
#include "haldendb/RowSetInternal.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>

namespace {

using namespace hdbmsg;
using namespace hdbrowset;

// Stream reads after the first go in steps of this many characters.
constexpr size_t StreamReadStep = 64001;

size_t LengthUpTo(const char* text, size_t most) {
    return strnlen(text, most);
}
size_t LengthUpTo(const wchar_t* text, size_t most) {
    return wcsnlen(text, most);
}

// Reads the rest of a stream whose first read filled `buffer`: grows it by
// one step at a time, keeping the text read so far, until a read comes back
// short. Out of memory: the text read so far is the answer.
template <class Char>
void ReadStreamRemainder(ISequentialStream* stream, std::unique_ptr<Char[]>& buffer,
                         size_t& bufferCapacity) {
    constexpr ULONG StepBytes = static_cast<ULONG>(StreamReadStep * sizeof(Char));
    try {
        for (;;) {
            const size_t previous = bufferCapacity;
            const size_t capacity = previous + StreamReadStep;
            std::unique_ptr<Char[]> grown(new Char[capacity]);
            const size_t kept = LengthUpTo(buffer.get(), previous - 1);
            std::copy_n(buffer.get(), kept, grown.get());
            grown[kept] = Char();
            buffer = std::move(grown);
            bufferCapacity = capacity;
            Char* at = buffer.get() + capacity - (StreamReadStep + 1);
            ULONG read = 0;
            stream->Read(at, StepBytes, &read);
            at[read / sizeof(Char)] = Char();
            if (read < StepBytes)
                break;
        }
    } catch (...) {
    }
}

} // namespace

ISequentialStream* CRowSet::StreamInRow(const db_col_access_helper& helper) const {
    const int status = StatusByte(helper);
    if (m_pRowData == nullptr || helper.boundType != DBTYPE_IUNKNOWN ||
        status == DBSTATUS_S_ISNULL || status == DBSTATUS_E_CANTCREATE)
        return nullptr;
    return Load<ISequentialStream*>(m_pRowData + helper.dataPosition);
}

void CRowSet::GiveBackStream(ISequentialStream* stream, const db_col_access_helper& helper) {
    if (m_pRowData != nullptr && helper.boundType == DBTYPE_IUNKNOWN)
        Store<ISequentialStream*>(m_pRowData + helper.dataPosition, nullptr);
    stream->Release();
}

ISequentialStream* CRowSet::GetCurrColumnsSequentialStream(size_t ordinal,
                                                           const db_col_access_helper& helper) {
    if (StatusByte(helper) == DBSTATUS_S_ISNULL)
        return nullptr;
    if (!IsStreamInterface(ordinal) || helper.boundType != DBTYPE_IUNKNOWN)
        return nullptr;
    if (ISequentialStream* stream = StreamInRow(helper); stream != nullptr) {
        if (helper.bindingIndex < m_StreamsHandedOut.size())
            m_StreamsHandedOut[static_cast<size_t>(helper.bindingIndex)] = true;
        return stream;
    }
    CheckError(TypeMismatchResult, MsgCantGetBlobInterface, m_pIRowset, IID_IRowset,
               HDB_SOURCE_POS(L"struct ISequentialStream *__cdecl "
                              L"CRowSet::GetCurrColumnsSequentialStream" HDB_ROWSET_HELPER_ARGS),
               CBasicStringView<wchar_t>());
    return nullptr;
}

ISequentialStream* CRowSet::GetCurrColumnsSequentialStream(size_t ordinal) {
    return GetCurrColumnsSequentialStream(ordinal, HelperOf(ordinal));
}

bool CRowSet::FreeSequentialStreamAllocator(size_t ordinal) {
    const db_col_access_helper& helper = HelperOf(ordinal);
    ISequentialStream* stream = StreamInRow(helper);
    if (stream == nullptr)
        return false;
    GiveBackStream(stream, helper);
    return true;
}

template <class Char>
Char* CRowSet::ReadStreamText(size_t ordinal, const db_col_access_helper& helper,
                              std::unique_ptr<Char[]>& buffer, size_t& capacity, Char* empty,
                              const LoggingSourcePos& position) {
    if (!buffer)
        buffer.reset(new (std::nothrow) Char[capacity]);
    if (buffer)
        buffer[0] = Char();
    ISequentialStream* stream = GetCurrColumnsSequentialStream(ordinal, helper);
    if (!buffer || stream == nullptr) {
        if (stream != nullptr)
            GiveBackStream(stream, helper);
        ReportTypeMismatch(position);
        return empty;
    }

    const ULONG firstRequest = static_cast<ULONG>((capacity - 1) * sizeof(Char));
    ULONG read = 0;
    stream->Read(buffer.get(), firstRequest, &read);
    buffer[read / sizeof(Char)] = Char();
    // Only a full buffer leaves more to read; the buffer keeps the size an
    // earlier long value gave it.
    if (read >= firstRequest)
        ReadStreamRemainder(stream, buffer, capacity);
    GiveBackStream(stream, helper);
    return buffer.get();
}

char* CRowSet::ReadAnsiFromSequentialStream(size_t ordinal, const db_col_access_helper& helper) {
    return ReadStreamText(
        ordinal, helper, m_pAnsiReadBuffer, m_nAnsiReadCapacity, EmptyAnsi,
        HDB_SOURCE_POS(
            L"char *__cdecl CRowSet::ReadAnsiFromSequentialStream" HDB_ROWSET_HELPER_ARGS));
}

char* CRowSet::ReadAnsiFromSequentialStream(size_t ordinal) {
    return ReadAnsiFromSequentialStream(ordinal, HelperOf(ordinal));
}

wchar_t* CRowSet::ReadUnicodeFromSequentialStream(size_t ordinal,
                                                  const db_col_access_helper& helper) {
    return ReadStreamText(
        ordinal, helper, m_pUnicodeReadBuffer, m_nUnicodeReadCapacity, EmptyWide,
        HDB_SOURCE_POS(
            L"wchar_t *__cdecl CRowSet::ReadUnicodeFromSequentialStream" HDB_ROWSET_HELPER_ARGS));
}

wchar_t* CRowSet::ReadUnicodeFromSequentialStream(size_t ordinal) {
    return ReadUnicodeFromSequentialStream(ordinal, HelperOf(ordinal));
}
