// The ODBC bridge's backend: the provider core's connections and statements
// over the ODBC layer (the Odbc* classes of this folder), which is the only
// code that calls unixODBC. These units include the platform's headers and
// the layer's plain-type headers, never the unixODBC ones.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "OdbcConnection.h"
#include "OdbcParameterArrays.h"
#include "OdbcRowBlock.h"
#include "OdbcStatement.h"
#include "core/Backend.h"

namespace hdb::bridge {

// ------------------------------------------------------------ types and values

// The backend's failure kind of a layer diagnostic.
backend::Failure FailureOf(odbc::OdbcFailure failure);
// Appends every record of the layer to the core's diagnostics.
void AppendDiagnostics(const odbc::OdbcDiagnostics& from, backend::Diagnostics& to);

// How a result column is offered, and how the layer fetches it.
struct ColumnPlan {
    backend::ColumnInfo info;
    odbc::OdbcValueType fetchAs = odbc::OdbcValueType::wideText;
    size_t elementBytes = 0; // room of one fetched value (variable types)
    bool isLong = false;     // left unbound, read in pieces
};
ColumnPlan PlanColumn(const odbc::OdbcColumn& column);

// Stores a value the driver left in the caller's arrays (a fetched column,
// an output parameter) in row's cell; precision and scale are those of an
// exact number.
void StoreValue(const odbc::OdbcValue& value, BYTE precision, BYTE scale, backend::RowBuffer& row,
                size_t column);

// Adds a parameter for info to arrays (handing a value back when output is
// given), and puts the value of cell in set. False when the value cannot be
// sent (diag says why).
size_t AddParameter(odbc::OdbcParameterArrays& arrays, const backend::ParameterInfo& info,
                    const backend::OutputParameter* output = nullptr);
bool PutParameter(odbc::OdbcParameterArrays& arrays, size_t parameter, size_t set,
                  const backend::RowBuffer& values, size_t column, backend::Diagnostics& diag);

// ------------------------------------------------------------ statements

class BridgeStatement final : public backend::Statement {
public:
    // statement is null when the driver made none; whyNone says why, and
    // every call fails with it.
    // connection is the one statement belongs to (it outlives the statement).
    BridgeStatement(std::unique_ptr<odbc::OdbcStatement> statement,
                    odbc::OdbcConnection* connection, odbc::OdbcDiagnostics whyNone = {});

    bool Prepare(const std::wstring& text, backend::Diagnostics& diag) override;
    bool DescribeParameters(std::vector<backend::ParameterInfo>& params,
                            backend::Diagnostics& diag) override;
    bool SetOptions(LONG timeoutSeconds, DBCOUNTITEM maxRows, backend::Diagnostics& diag) override;
    bool BindOutputs(const std::vector<backend::OutputParameter>& outputs,
                     backend::Diagnostics& diag) override;
    bool ReadOutputs(size_t set, backend::RowBuffer& values, backend::Diagnostics& diag) override;
    bool DescribeColumns(std::vector<backend::ColumnInfo>& columns,
                         backend::Diagnostics& diag) override;
    bool BindParameters(const backend::RowBuffer* sets, size_t setCount,
                        backend::Diagnostics& diag) override;
    bool Execute(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag) override;
    bool DescribeResult(std::vector<backend::ColumnInfo>& columns,
                        backend::Diagnostics& diag) override;
    backend::FetchResult Fetch(backend::RowBuffer* const rows[], size_t count, size_t& fetched,
                               backend::Diagnostics& diag) override;
    bool ReadLong(size_t row, size_t column, size_t offset, void* buffer, size_t cb, size_t& read,
                  backend::Diagnostics& diag) override;
    void CloseCursor() override;
    bool OnlyReads() const override;
    bool Cancel() override;
    void ResetCancel() override { m_canceled = false; }

private:
    bool Ready(backend::Diagnostics& diag) const;
    // Adds the record of a cancel that came before this call; whether one did.
    bool StoppedByCancel(backend::Diagnostics& diag) const;
    void FollowTransactionEnd();
    bool ReachOutputs(odbc::OdbcExecution& execution, backend::Diagnostics& diag);
    bool Describe(backend::Diagnostics& diag);
    // Several parameter sets take effect together or not at all. Drivers run
    // an array set by set and keep what the sets before a failing one did
    // (psqlODBC does), so the array runs in a transaction of its own, or
    // under a savepoint inside the caller's transaction.
    bool BeginSets(backend::Diagnostics& diag);
    bool EndSets(bool succeeded, backend::Diagnostics& diag);
    bool RunOnConnection(const wchar_t* sql, backend::Diagnostics& diag);
    // A deadlock victim's transaction is over on every server: MariaDB rolls
    // it back itself, PostgreSQL keeps it aborted (with its locks) until the
    // client rolls back. The bridge rolls back and returns to autocommit, so
    // that the session sees the transaction end and a retry starts afresh.
    void EndTransactionOfDeadlock(backend::Diagnostics& diag);
    // Reads a long value of the block, from its start, until its end or
    // until limit bytes are held; complete says which.
    bool LoadLong(size_t blockRow, size_t column, size_t limit, std::vector<BYTE>& bytes,
                  bool& isNull, bool& complete, backend::Diagnostics& diag);
    // The next piece of a long value, as the core's bytes (wide text or binary).
    odbc::OdbcRead NextPiece(size_t blockRow, size_t column, size_t cb, std::vector<BYTE>& piece,
                             backend::Diagnostics& diag);

    std::unique_ptr<odbc::OdbcStatement> m_statement;
    odbc::OdbcConnection* m_connection;
    odbc::OdbcDiagnostics m_whyNone;
    bool m_ownTransaction = false; // BeginSets turned autocommit off
    std::wstring m_text;
    std::vector<ColumnPlan> m_plans;
    bool m_described = false;
    std::vector<backend::ParameterInfo> m_params;
    odbc::OdbcParameterArrays m_arrays;
    std::vector<backend::OutputParameter> m_outputs; // of the next Execute
    const backend::RowBuffer* m_sets = nullptr;      // the bound sets, until Execute returns
    bool m_hasParameters = false;

    std::unique_ptr<odbc::OdbcRowBlock> m_block;
    std::vector<size_t> m_slotOf; // block slot per column; npos for long columns
    bool m_cursorOpen = false;
    // Set by Cancel until the next execution: a driver's cancel reaches only
    // a call running at that moment, so the calls after it check this.
    std::atomic<bool> m_canceled{false};
    bool m_blockBound = false;
    size_t m_blockNext = 0; // next undelivered row of the block

    // The deferred values of the last Fetch: the block row of each of its
    // rows, the first bytes already read of each value, and how far the
    // value being read has come.
    std::vector<size_t> m_blockRowOf;
    std::vector<std::vector<std::vector<BYTE>>> m_prefix; // [row][column]
    size_t m_readRow = 0, m_readColumn = 0, m_readOffset = 0;
    std::vector<BYTE> m_pending; // bytes of the last piece not yet handed out
    // The value the layer read last (block row, column), and whether the
    // value being read continues it after the bytes read with the row.
    size_t m_layerRow = static_cast<size_t>(-1), m_layerColumn = static_cast<size_t>(-1);
    bool m_fromPrefix = false;
};

// ------------------------------------------------------------ connections

class BridgeConnection final : public backend::Connection {
public:
    // sqlServerDriver empty: the data source is a DSN or a connection
    // string; otherwise it is a SQL Server reached through that driver.
    explicit BridgeConnection(std::wstring sqlServerDriver = {})
        : m_sqlServerDriver(std::move(sqlServerDriver)) {}
    bool Open(const backend::ConnectOptions& options, backend::Diagnostics& diag) override;
    void Close() override;
    std::unique_ptr<backend::Connection> OpenAnother(backend::Diagnostics& diag) override;
    bool Begin(backend::Isolation level, backend::Diagnostics& diag) override;
    bool Commit(backend::Diagnostics& diag) override;
    bool Rollback(backend::Diagnostics& diag) override;
    bool InTransaction() const override { return !m_connection.Autocommit(); }
    std::wstring CurrentCatalog() const override { return m_catalog; }
    bool ListCatalogs(std::vector<backend::CatalogInfo>& catalogs,
                      backend::Diagnostics& diag) override;
    std::unique_ptr<backend::Statement> NewStatement() override;
    std::wstring QuoteIdentifier(const std::wstring& name) const override;
    std::wstring ProductName() const override;
    std::wstring ProductVersion() const override;

private:
    bool EndTransaction(bool commit, backend::Diagnostics& diag);

    odbc::OdbcConnection m_connection;
    std::wstring m_sqlServerDriver;
    backend::ConnectOptions m_options;
    std::wstring m_catalog;
    wchar_t m_quote = L'"';
};

} // namespace hdb::bridge
