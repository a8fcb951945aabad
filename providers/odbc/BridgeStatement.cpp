// A statement of the ODBC bridge: text prepared by the driver, parameter sets
// sent as parameter arrays in one call, results fetched in column-wise blocks,
// long values read in pieces.
//
// Long values: the core reads a deferred value of any row of its last fetch,
// which the layer can do only while that row is in the driver's current
// block. Rows of a fetch that the block cannot hold to the fetch's end (a
// driver fetching one row at a time, a block that runs out midway) get their
// long values whole; the rows of the block the fetch ends in keep theirs with
// the cursor. Every long value's first bytes are read at the fetch, so that a
// NULL is a NULL and a short value arrives whole.
#include <algorithm>
#include <cstring>
#include <cwctype>

#include "OdbcBackend.h"
#include "StringConversion.h"

namespace hdb::bridge {

namespace {

constexpr size_t None = static_cast<size_t>(-1);
// The bytes of a long value read with its row; a longer one stays deferred.
constexpr size_t FirstBytes = 16 * 1024;
// UTF-16 units one text piece asks the layer for.
constexpr size_t PieceUnits = 8 * 1024;

// The upper-case words of text outside literals, quoted names and comments.
std::vector<std::wstring> WordsOf(const std::wstring& text) {
    std::vector<std::wstring> words;
    std::wstring word;
    auto endWord = [&] {
        if (!word.empty())
            words.push_back(std::exchange(word, {}));
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (std::iswalnum(c) || c == L'_') {
            word += static_cast<wchar_t>(std::towupper(c));
            continue;
        }
        endWord();
        if (c == L'\'' || c == L'"' || c == L'`') {
            const size_t end = text.find(c, i + 1);
            i = end == std::wstring::npos ? text.size() : end;
        } else if (c == L'-' && i + 1 < text.size() && text[i + 1] == L'-') {
            const size_t end = text.find(L'\n', i);
            i = end == std::wstring::npos ? text.size() : end;
        } else if (c == L'/' && i + 1 < text.size() && text[i + 1] == L'*') {
            const size_t end = text.find(L"*/", i + 2);
            i = end == std::wstring::npos ? text.size() : end + 1;
        }
    }
    endWord();
    return words;
}

} // namespace

BridgeStatement::BridgeStatement(std::unique_ptr<odbc::OdbcStatement> statement,
                                 odbc::OdbcConnection* connection, odbc::OdbcDiagnostics whyNone)
    : m_statement(std::move(statement)), m_connection(connection), m_whyNone(std::move(whyNone)) {}

bool BridgeStatement::Ready(backend::Diagnostics& diag) const {
    if (m_statement)
        return true;
    AppendDiagnostics(m_whyNone, diag);
    if (diag.empty())
        diag.push_back({L"The driver made no statement.", L"HY000", 0, backend::Failure::general});
    return false;
}

bool BridgeStatement::Prepare(const std::wstring& text, backend::Diagnostics& diag) {
    if (!Ready(diag))
        return false;
    CloseCursor();
    m_text = text;
    m_described = false;
    odbc::OdbcDiagnostics layer;
    const bool ok = m_statement->Prepare(text, layer);
    AppendDiagnostics(layer, diag);
    return ok;
}

bool BridgeStatement::DescribeParameters(std::vector<backend::ParameterInfo>& params,
                                         backend::Diagnostics& diag) {
    params.clear();
    if (!Ready(diag))
        return false;
    std::vector<odbc::OdbcParameterDescription> described;
    odbc::OdbcDiagnostics layer;
    if (!m_statement->DescribeParameters(described, layer)) {
        AppendDiagnostics(layer, diag);
        return false;
    }
    // What drivers say of markers is unreliable (one answers VARCHAR for
    // every marker, another cannot describe any): the markers are offered
    // as text, and the values are sent in the types they are given in.
    params.resize(described.size());
    return true;
}

bool BridgeStatement::SetOptions(LONG timeoutSeconds, DBCOUNTITEM maxRows,
                                 backend::Diagnostics& diag) {
    if (!Ready(diag))
        return false;
    odbc::OdbcDiagnostics layer;
    const bool ok = m_statement->SetQueryTimeout(
                        static_cast<std::uint32_t>(std::max<LONG>(timeoutSeconds, 0)), layer) &&
                    m_statement->SetMaxRows(maxRows, layer);
    AppendDiagnostics(layer, diag);
    return ok;
}

bool BridgeStatement::Describe(backend::Diagnostics& diag) {
    if (!Ready(diag))
        return false;
    std::vector<odbc::OdbcColumn> columns;
    odbc::OdbcDiagnostics layer;
    if (!m_statement->DescribeColumns(columns, layer)) {
        AppendDiagnostics(layer, diag);
        return false;
    }
    m_plans.clear();
    for (const auto& column : columns)
        m_plans.push_back(PlanColumn(column));
    m_described = true;
    return true;
}

bool BridgeStatement::DescribeColumns(std::vector<backend::ColumnInfo>& columns,
                                      backend::Diagnostics& diag) {
    columns.clear();
    if (!m_described && !Describe(diag))
        return false;
    for (const auto& plan : m_plans)
        columns.push_back(plan.info);
    return true;
}

bool BridgeStatement::BindParameters(const backend::RowBuffer* sets, size_t setCount,
                                     backend::Diagnostics& diag) {
    const size_t count = setCount == 0 ? 0 : sets[0].Count();
    m_arrays.Reset(setCount);
    m_hasParameters = count != 0;
    if (!Ready(diag))
        return false;
    if (!m_hasParameters) {
        m_statement->BindParameters(nullptr);
        return true;
    }
    m_sets = sets;
    // Values given in pieces go to the driver at execution, as it asks.
    m_arrays.SetChunkSource([this](std::size_t parameter, std::size_t set,
                                   std::span<std::byte> buffer, std::size_t& filled,
                                   odbc::OdbcDiagnostics& layer) {
        backend::Diagnostics told;
        const backend::Cell& cell = m_sets[set][parameter];
        if (cell.v.source->Read(buffer.data(), buffer.size(), filled, told))
            return true;
        for (const backend::Diagnostic& d : told) {
            odbc::OdbcDiagnostic piece;
            piece.message = d.message;
            piece.sqlState = d.sqlState;
            piece.failure = odbc::OdbcFailure::general;
            layer.push_back(std::move(piece));
        }
        return false;
    });
    for (size_t p = 0; p < count; ++p) {
        // The parameter's type is that of its first value that is not NULL.
        backend::ParameterInfo info;
        for (size_t s = 0; s < setCount; ++s) {
            const backend::Cell& cell = sets[s][p];
            if (cell.deferred)
                info.size = ~DBLENGTH(0); // a long value
            if (cell.type != DBTYPE_NULL) {
                info.type = cell.type;
                if (cell.type == DBTYPE_NUMERIC) {
                    info.precision = cell.v.numeric.precision;
                    info.scale = cell.v.numeric.scale;
                }
                break;
            }
        }
        const auto output = std::find_if(m_outputs.begin(), m_outputs.end(),
                                         [p](const auto& o) { return o.parameter == p; });
        // A value only handed back comes in the form the consumer bound.
        if (output != m_outputs.end() && !output->alsoInput)
            info.type = output->type;
        AddParameter(m_arrays, info, output != m_outputs.end() ? &*output : nullptr);
    }
    for (size_t s = 0; s < setCount; ++s)
        for (size_t p = 0; p < count; ++p)
            if (!PutParameter(m_arrays, p, s, sets[s], p, diag))
                return false;
    m_statement->BindParameters(&m_arrays);
    return true;
}

bool BridgeStatement::BindOutputs(const std::vector<backend::OutputParameter>& outputs,
                                  backend::Diagnostics&) {
    m_outputs = outputs;
    return true;
}

bool BridgeStatement::ReadOutputs(size_t set, backend::RowBuffer& values,
                                  backend::Diagnostics& diag) {
    if (!Ready(diag))
        return false;
    values.Reset(m_arrays.ParameterCount());
    for (const backend::OutputParameter& output : m_outputs) {
        if (output.parameter >= m_arrays.ParameterCount() || set >= m_arrays.SetCount())
            continue;
        const odbc::OdbcValue value = m_arrays.Output(output.parameter, set);
        StoreValue(value, 0, 0, values, output.parameter);
        // The room was the consumer's own, so the value would not have fit
        // there either: said, never cut silently.
        if (value.Truncated())
            diag.push_back({L"An output parameter's value was longer than the room bound for it "
                            L"and was cut.",
                            L"01004", 0, backend::Failure::general});
    }
    return true;
}

bool BridgeStatement::Execute(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag) {
    if (!Ready(diag) || StoppedByCancel(diag))
        return false;
    CloseCursor();
    const bool several = m_hasParameters && m_arrays.SetCount() > 1;
    if (several && !BeginSets(diag))
        return false;
    odbc::OdbcExecution execution;
    odbc::OdbcDiagnostics layer;
    bool ok = m_statement->Execute(execution, layer);
    AppendDiagnostics(layer, diag);
    if (several)
        ok = EndSets(ok, diag) && ok;
    if (!ok) {
        EndTransactionOfDeadlock(diag);
        return false;
    }
    FollowTransactionEnd();
    if (!m_outputs.empty() && !ReachOutputs(execution, diag))
        return false;
    hasRows = execution.hasResult;
    rowsAffected = hasRows || execution.rowCount < 0 ? DB_COUNTUNAVAILABLE
                                                     : static_cast<DBROWCOUNT>(execution.rowCount);
    m_cursorOpen = hasRows;
    if (hasRows && !Describe(diag)) {
        CloseCursor();
        return false;
    }
    return true;
}

// ODBC hands output parameters over only after the last result of the
// execution (a procedure's result sets, or the result some drivers send the
// values in): the results are passed over to reach them, so a call that
// binds output parameters yields no rows.
bool BridgeStatement::ReachOutputs(odbc::OdbcExecution& execution, backend::Diagnostics& diag) {
    for (bool another = execution.hasResult; another;) {
        odbc::OdbcDiagnostics layer;
        const bool ok = m_statement->MoreResults(another, execution, layer);
        AppendDiagnostics(layer, diag);
        if (!ok)
            return false;
    }
    execution.hasResult = false;
    return true;
}

// A COMMIT or ROLLBACK of the caller's own SQL ends the transaction without
// the driver knowing: the connection goes back to statements that commit by
// themselves, as it would after the session's own commit. A rollback to a
// savepoint keeps the transaction.
void BridgeStatement::FollowTransactionEnd() {
    if (m_connection->Autocommit())
        return;
    const std::vector<std::wstring> words = WordsOf(m_text);
    if (words.empty())
        return;
    const bool ends =
        words[0] == L"COMMIT" || words[0] == L"END" ||
        (words[0] == L"ROLLBACK" && std::find(words.begin(), words.end(), L"TO") == words.end());
    odbc::OdbcDiagnostics ignored;
    if (ends)
        m_connection->SetAutocommit(true, ignored);
}

void BridgeStatement::EndTransactionOfDeadlock(backend::Diagnostics& diag) {
    const bool deadlock = std::any_of(diag.begin(), diag.end(), [](const backend::Diagnostic& d) {
        return d.failure == backend::Failure::deadlock;
    });
    if (!deadlock || m_connection->Autocommit())
        return;
    odbc::OdbcDiagnostics layer;
    m_connection->Rollback(layer);
    m_connection->SetAutocommit(true, layer);
    AppendDiagnostics(layer, diag);
}

bool BridgeStatement::RunOnConnection(const wchar_t* sql, backend::Diagnostics& diag) {
    odbc::OdbcDiagnostics layer;
    auto statement = m_connection->NewStatement(layer);
    odbc::OdbcExecution execution;
    const bool ok = statement && statement->ExecuteDirect(sql, execution, layer);
    AppendDiagnostics(layer, diag);
    return ok;
}

bool BridgeStatement::BeginSets(backend::Diagnostics& diag) {
    m_ownTransaction = m_connection->Autocommit();
    if (!m_ownTransaction)
        return RunOnConnection(L"SAVEPOINT hdb_parameter_sets", diag);
    odbc::OdbcDiagnostics layer;
    const bool ok = m_connection->SetAutocommit(false, layer);
    AppendDiagnostics(layer, diag);
    return ok;
}

bool BridgeStatement::EndSets(bool succeeded, backend::Diagnostics& diag) {
    // Ending the sets must not hide the failure of the execution: their own
    // diagnostics follow it.
    if (!m_ownTransaction)
        return RunOnConnection(succeeded ? L"RELEASE SAVEPOINT hdb_parameter_sets"
                                         : L"ROLLBACK TO SAVEPOINT hdb_parameter_sets",
                               diag);
    odbc::OdbcDiagnostics layer;
    const bool ended = succeeded ? m_connection->Commit(layer) : m_connection->Rollback(layer);
    const bool restored = m_connection->SetAutocommit(true, layer);
    AppendDiagnostics(layer, diag);
    return ended && restored;
}

bool BridgeStatement::DescribeResult(std::vector<backend::ColumnInfo>& columns,
                                     backend::Diagnostics& diag) {
    return DescribeColumns(columns, diag);
}

backend::FetchResult BridgeStatement::Fetch(backend::RowBuffer* const rows[], size_t count,
                                            size_t& fetched, backend::Diagnostics& diag) {
    fetched = 0;
    m_blockRowOf.clear();
    m_prefix.clear();
    m_pending.clear();
    m_readRow = m_readColumn = m_readOffset = 0;
    m_layerRow = m_layerColumn = None;
    if (!m_cursorOpen || count == 0)
        return backend::FetchResult::end;
    if (StoppedByCancel(diag))
        return backend::FetchResult::error;
    odbc::OdbcDiagnostics layer;
    if (!m_blockBound) {
        m_block = std::make_unique<odbc::OdbcRowBlock>(std::max<size_t>(count, 1));
        m_slotOf.assign(m_plans.size(), None);
        for (size_t c = 0; c < m_plans.size(); ++c) {
            if (!m_plans[c].isLong)
                m_slotOf[c] = m_block->Bind(static_cast<std::uint16_t>(c + 1), m_plans[c].fetchAs,
                                            m_plans[c].elementBytes);
        }
        if (!m_statement->BindColumns(*m_block, layer)) {
            AppendDiagnostics(layer, diag);
            return backend::FetchResult::error;
        }
        m_blockBound = true;
        m_blockNext = 0;
        m_block->ForgetRows();
    }
    m_prefix.resize(count);
    while (fetched < count) {
        if (m_blockNext >= m_block->Rows()) {
            const odbc::OdbcFetch result = m_statement->Fetch(layer);
            AppendDiagnostics(layer, diag);
            layer.clear();
            if (result == odbc::OdbcFetch::error)
                return backend::FetchResult::error;
            m_blockNext = 0;
            if (result == odbc::OdbcFetch::end) {
                m_cursorOpen = false;
                m_block->ForgetRows();
                break;
            }
        }
        // Whether the rest of this fetch fits in the current block: only then
        // do its long values stay with the cursor.
        const bool blockHoldsTheRest = m_block->Rows() - m_blockNext >= count - fetched;
        const size_t blockRow = m_blockNext++;
        backend::RowBuffer& row = *rows[fetched];
        row.Prepare(m_plans.size());
        for (size_t c = 0; c < m_plans.size(); ++c) {
            if (m_slotOf[c] != None) {
                StoreValue(m_block->Value(m_slotOf[c], blockRow), m_plans[c].info.precision,
                           m_plans[c].info.scale, row, c);
                continue;
            }
            std::vector<BYTE> bytes;
            bool isNull = false, complete = false;
            if (!LoadLong(blockRow, c, blockHoldsTheRest ? FirstBytes : None, bytes, isNull,
                          complete, diag))
                return backend::FetchResult::error;
            if (isNull)
                row.SetNull(c);
            else if (complete && m_plans[c].info.type == DBTYPE_WSTR)
                row.SetWide(c, reinterpret_cast<const wchar_t*>(bytes.data()),
                            bytes.size() / sizeof(wchar_t));
            else if (complete)
                row.SetBytes(c, bytes.data(), bytes.size());
            else {
                row.SetDeferred(c, m_plans[c].info.type);
                m_prefix[fetched].resize(m_plans.size());
                m_prefix[fetched][c] = std::move(bytes);
            }
        }
        m_blockRowOf.push_back(blockRow);
        ++fetched;
    }
    return fetched != 0 ? backend::FetchResult::rows : backend::FetchResult::end;
}

odbc::OdbcRead BridgeStatement::NextPiece(size_t blockRow, size_t column, size_t cb,
                                          std::vector<BYTE>& piece, backend::Diagnostics& diag) {
    piece.clear();
    m_layerRow = blockRow;
    m_layerColumn = column;
    odbc::OdbcDiagnostics layer;
    odbc::OdbcRead result;
    const auto ordinal = static_cast<std::uint16_t>(column + 1);
    if (m_plans[column].info.type == DBTYPE_WSTR) {
        std::wstring text;
        const size_t units = std::clamp<size_t>(cb / sizeof(wchar_t), 2, PieceUnits);
        result = m_statement->ReadLongText(blockRow, ordinal, units, text, layer);
        piece.resize(text.size() * sizeof(wchar_t));
        if (!text.empty())
            std::memcpy(piece.data(), text.data(), piece.size());
    } else {
        piece.resize(std::clamp<size_t>(cb, 1, PieceUnits * sizeof(wchar_t)));
        size_t read = 0;
        result = m_statement->ReadLongBinary(
            blockRow, ordinal, std::span(reinterpret_cast<std::byte*>(piece.data()), piece.size()),
            read, layer);
        piece.resize(result == odbc::OdbcRead::data ? read : 0);
    }
    AppendDiagnostics(layer, diag);
    return result;
}

bool BridgeStatement::LoadLong(size_t blockRow, size_t column, size_t limit,
                               std::vector<BYTE>& bytes, bool& isNull, bool& complete,
                               backend::Diagnostics& diag) {
    isNull = complete = false;
    std::vector<BYTE> piece;
    while (bytes.size() < limit) {
        switch (NextPiece(blockRow, column, FirstBytes, piece, diag)) {
        case odbc::OdbcRead::null:
            isNull = true;
            return true;
        case odbc::OdbcRead::end:
            complete = true;
            return true;
        case odbc::OdbcRead::error:
            return false;
        case odbc::OdbcRead::data:
            bytes.insert(bytes.end(), piece.begin(), piece.end());
            break;
        }
    }
    return true;
}

bool BridgeStatement::ReadLong(size_t row, size_t column, size_t offset, void* buffer, size_t cb,
                               size_t& read, backend::Diagnostics& diag) {
    read = 0;
    if (row >= m_blockRowOf.size() || row >= m_prefix.size() || column >= m_prefix[row].size() ||
        m_prefix[row][column].empty()) {
        diag.push_back({L"No deferred long value at that row and column of the last fetch.",
                        L"07009", 0, backend::Failure::general});
        return false;
    }
    const bool sameValue = row == m_readRow && column == m_readColumn;
    const bool later = row > m_readRow || (row == m_readRow && column > m_readColumn) ||
                       (m_readOffset == 0 && sameValue);
    if (!(sameValue && offset == m_readOffset) && !(later && offset == 0)) {
        diag.push_back({L"Long values are read forward only: by row, then by column, each "
                        L"from its start.",
                        L"HY109", 0, backend::Failure::general});
        return false;
    }
    if (!sameValue || offset == 0) {
        m_readRow = row;
        m_readColumn = column;
        m_readOffset = 0;
        m_pending.clear();
        // The driver goes on with the value the fetch read last; one it
        // comes back to after others starts over.
        m_fromPrefix = m_layerRow == m_blockRowOf[row] && m_layerColumn == column;
    }
    BYTE* out = static_cast<BYTE*>(buffer);
    const std::vector<BYTE>& prefix = m_prefix[row][column];
    // The first bytes, read with the row.
    if (m_fromPrefix && m_readOffset < prefix.size()) {
        read = std::min(cb, prefix.size() - m_readOffset);
        std::memcpy(out, prefix.data() + m_readOffset, read);
    }
    while (read < cb) {
        if (m_pending.empty()) {
            std::vector<BYTE> piece;
            const odbc::OdbcRead result =
                NextPiece(m_blockRowOf[row], column, cb - read, piece, diag);
            if (result == odbc::OdbcRead::error)
                return false;
            if (result != odbc::OdbcRead::data)
                break;
            m_pending = std::move(piece);
            if (m_pending.empty())
                break;
        }
        const size_t take = std::min(cb - read, m_pending.size());
        std::memcpy(out + read, m_pending.data(), take);
        m_pending.erase(m_pending.begin(), m_pending.begin() + static_cast<std::ptrdiff_t>(take));
        read += take;
    }
    m_readOffset += read;
    return true;
}

void BridgeStatement::CloseCursor() {
    if (m_statement && (m_cursorOpen || m_blockBound))
        m_statement->CloseCursor();
    m_cursorOpen = false;
    m_blockBound = false;
    m_block.reset();
    m_layerRow = m_layerColumn = None;
    m_blockRowOf.clear();
    m_prefix.clear();
    m_pending.clear();
}

// Only a plain SELECT may run again when a rowset goes back to rows it
// passed: SELECT ... INTO stores its result, and any other statement (a WITH
// may hold a DELETE) may change data. Functions with side effects inside a
// SELECT are the caller's to avoid in a rowset that moves back.
bool BridgeStatement::OnlyReads() const {
    const std::vector<std::wstring> words = WordsOf(m_text);
    return !words.empty() && words.front() == L"SELECT" &&
           std::find(words.begin(), words.end(), L"INTO") == words.end();
}

bool BridgeStatement::StoppedByCancel(backend::Diagnostics& diag) const {
    if (!m_canceled)
        return false;
    diag.push_back({L"Operation canceled.", L"HY008", 0, backend::Failure::canceled});
    return true;
}

bool BridgeStatement::Cancel() {
    m_canceled = true;
    odbc::OdbcDiagnostics layer;
    return m_statement && m_statement->Cancel(layer);
}

} // namespace hdb::bridge
