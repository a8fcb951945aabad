// One ODBC statement: prepare or run SQL text, describe columns and
// parameters, send parameter arrays (long values in pieces at execution),
// fetch results in column-wise blocks, read long values in pieces, cancel.
//
// Threads: one thread at a time calls a statement, except Cancel, which any
// thread may call while another is inside Execute, ExecuteDirect,
// MoreResults, Fetch or a long read.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "OdbcTypes.h"

namespace hdb::odbc {

class OdbcParameterArrays;
class OdbcRowBlock;

class OdbcStatement {
public:
    // Made by OdbcConnection::NewStatement, which hands over the SQLHSTMT.
    OdbcStatement(void* handle, void* connection, const OdbcCapabilities& capabilities);
    ~OdbcStatement();
    OdbcStatement(const OdbcStatement&) = delete;
    OdbcStatement& operator=(const OdbcStatement&) = delete;

    // For the executions from now on: the seconds after which a statement
    // ends with OdbcFailure::timeout (0: never), and the most rows a result
    // delivers (0: all). Where the driver ignores either (MariaDB's ignores
    // the time-out, psqlODBC's the row limit of a block cursor) the
    // statement enforces it itself: it cancels the statement when the time
    // is up, and stops the result after the last row allowed.
    bool SetQueryTimeout(std::uint32_t seconds, OdbcDiagnostics& diag);
    bool SetMaxRows(std::uint64_t rows, OdbcDiagnostics& diag);

    // Compiles text (an open cursor is closed first).
    bool Prepare(std::wstring_view text, OdbcDiagnostics& diag);
    // One description per marker of the prepared statement; a marker the
    // driver cannot describe (or a driver without SQLDescribeParam) leaves
    // its description's described false.
    bool DescribeParameters(std::vector<OdbcParameterDescription>& parameters,
                            OdbcDiagnostics& diag);

    // The parameter sets the executions from now on send; null for none.
    // The arrays must stay until the last of those executions has returned;
    // their outcome (status per set) is filled by each.
    void BindParameters(OdbcParameterArrays* arrays) { m_parameters = arrays; }

    // Runs the prepared statement, or text, once per bound parameter set
    // in one call (once without parameters; not at all for zero sets, which
    // succeeds with rowCount 0). Values set at execution are sent in pieces
    // from the arrays' chunk source; sets holding such values run one call
    // each, because drivers do not say reliably which set's value they ask
    // for (psqlODBC names the first set's), and the first failing set ends
    // the execution. After Cancel the failure is OdbcFailure::canceled.
    bool Execute(OdbcExecution& execution, OdbcDiagnostics& diag);
    bool ExecuteDirect(std::wstring_view text, OdbcExecution& execution, OdbcDiagnostics& diag);
    // Opens the driver's listing of the catalogs (SQLTables with
    // SQL_ALL_CATALOGS) as the result; the name is column 1.
    bool ListAllCatalogs(OdbcDiagnostics& diag);
    // Moves to the next result of the execution; another is false when
    // there is none.
    bool MoreResults(bool& another, OdbcExecution& execution, OdbcDiagnostics& diag);

    // The columns of the current result (or of the prepared statement).
    bool DescribeColumns(std::vector<OdbcColumn>& columns, OdbcDiagnostics& diag);

    // Fetches the current result into block from now on, once per
    // execution, before the first Fetch; the block stays until the cursor
    // is closed. Columns the block does not bind are read with the long
    // reads. A driver that cannot read those on any row of a block (see
    // OdbcCapabilities::positionedBlockReads) gets one row per fetch then.
    bool BindColumns(OdbcRowBlock& block, OdbcDiagnostics& diag);
    // Rows one fetch asks for: the block's capacity, or 1 as said above.
    std::size_t RowsPerFetch() const { return m_rowsPerFetch; }
    // The next block of rows: rows when the block holds at least one, end
    // when the result has none left.
    OdbcFetch Fetch(OdbcDiagnostics& diag);

    // The next piece of the value of unbound column `column` (from 1) on row
    // `row` (from 0) of the fetched block: text of at most maxUnits UTF-16
    // units (at least 2), converted to wide text (a surrogate pair split by
    // a piece's end is held back for the next, so a piece never ends inside
    // a character), or bytes. Read the columns of a row, and the rows, in
    // any order the driver allows (both servers' drivers allow any); a value
    // read to its end answers end again.
    OdbcRead ReadLongText(std::size_t row, std::uint16_t column, std::size_t maxUnits,
                          std::wstring& piece, OdbcDiagnostics& diag);
    OdbcRead ReadLongBinary(std::size_t row, std::uint16_t column, std::span<std::byte> buffer,
                            std::size_t& read, OdbcDiagnostics& diag);

    // Closes the current result; the prepared statement stays.
    void CloseCursor();

    // Asks the running call to stop soon with OdbcFailure::canceled; no
    // effect when nothing runs. False when the driver refuses.
    bool Cancel(OdbcDiagnostics& diag);

private:
    class Call;
    class TimeoutWatch;

    static constexpr std::size_t kAllSets = static_cast<std::size_t>(-1);

    bool Run(const std::wstring_view* text, OdbcExecution& execution, OdbcDiagnostics& diag);
    bool RunOnce(const std::u16string* text, OdbcExecution& execution, OdbcDiagnostics& diag);
    bool RunEachSet(OdbcExecution& execution, OdbcDiagnostics& diag);
    // Binds every set of the parameter arrays, or only the given one.
    bool BindParameterArrays(std::size_t onlySet, OdbcDiagnostics& diag);
    // Runs the data at execution exchange after SQL_NEED_DATA; false when
    // the layer abandoned it (diag says why), else rc is the driver's last
    // answer.
    bool SendAtExecution(std::int16_t& rc, OdbcDiagnostics& diag);
    bool Finish(std::int16_t rc, std::size_t firstDiagnostic, OdbcExecution& execution,
                OdbcDiagnostics& diag);
    // After Cancel, the failure records of the call since first become
    // cancellations (PostgreSQL reports a cancel as 57014 like a time-out),
    // or time-outs when the statement's own time-out canceled it.
    void MarkCanceled(OdbcDiagnostics& diag, std::size_t first) const;
    // Makes the general failures of diag[first..] lost connections when the
    // driver says the connection is dead.
    void MarkLostConnection(OdbcDiagnostics& diag, std::size_t first) const;
    // api::Check on this statement, with the lost connection found out.
    bool Check(short rc, OdbcDiagnostics& diag) const;
    void ForgetResult();
    void ForgetLongValue();
    // Puts the cursor on row of the block for reading column.
    bool PositionFor(std::size_t row, std::uint16_t column, OdbcDiagnostics& diag);
    // One SQLGetData of the positioned long value as cType into buffer:
    // data with the driver's length (bytes left, or SQL_NO_TOTAL), or end,
    // null (both finish the value) or error.
    OdbcRead GetLongPiece(std::uint16_t column, std::int16_t cType, void* buffer, std::size_t bytes,
                          std::int64_t& length, OdbcDiagnostics& diag);

    void* m_handle;
    void* m_connection; // the connection handle the statement belongs to
    const OdbcCapabilities m_capabilities;
    OdbcParameterArrays* m_parameters = nullptr;
    bool m_parameterArraysBound = false;
    std::size_t m_boundSets = 1;
    std::uint64_t m_setProcessed = 0; // SQLULEN of a set run alone
    OdbcRowBlock* m_block = nullptr;
    std::size_t m_rowsPerFetch = 1;
    std::uint64_t m_maxRows = 0;
    std::uint64_t m_delivered = 0;  // rows of the current result so far
    std::uint32_t m_ownTimeout = 0; // seconds, where the driver has none

    // The long value being read: its row and column, whether it ended, and
    // the high surrogate a text piece held back.
    std::size_t m_position = 0;
    std::uint16_t m_longColumn = 0;
    bool m_longDone = false;
    bool m_hasPending = false;
    std::vector<char16_t> m_textChunk;

    std::mutex m_cancelLock; // guards m_running against Cancel
    bool m_running = false;
    std::atomic<bool> m_cancelRequested{false};
    std::atomic<bool> m_timedOut{false};
};

} // namespace hdb::odbc
