// A statement on a SQLite connection and the cursor over its rows.
#pragma once

#include "SqliteBackend.h"

namespace hdb::sqlite {

class SqliteStatement final : public backend::Statement {
public:
    explicit SqliteStatement(SqliteConnection& connection) : m_connection(connection) {}
    ~SqliteStatement() override;

    bool Prepare(const std::wstring& text, backend::Diagnostics& diag) override;
    bool DescribeParameters(std::vector<backend::ParameterInfo>& params,
                            backend::Diagnostics& diag) override;
    bool DescribeColumns(std::vector<backend::ColumnInfo>& columns,
                         backend::Diagnostics& diag) override;
    bool BindParameters(const backend::RowBuffer* sets, size_t setCount,
                        backend::Diagnostics& diag) override;
    bool Execute(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag) override;
    bool DescribeResult(std::vector<backend::ColumnInfo>& columns,
                        backend::Diagnostics& diag) override;
    backend::FetchResult Fetch(backend::RowBuffer* const rows[], size_t count, size_t& fetched,
                               backend::Diagnostics& diag) override;
    // The core stops fetching at maxRows itself; a time-out is not kept
    // (SQLite runs in the process, and Cancel ends a statement at once).
    bool SetOptions(LONG timeoutSeconds, DBCOUNTITEM, backend::Diagnostics&) override {
        m_timeoutSeconds = timeoutSeconds;
        return true;
    }
    bool ReadLong(size_t row, size_t column, size_t offset, void* buffer, size_t cb, size_t& read,
                  backend::Diagnostics& diag) override;
    void CloseCursor() override;
    bool Cancel() override;
    void ResetCancel() override;
    bool OnlyReads() const override;

private:
    // A value given in pieces, read whole (SQLite binds whole values).
    static bool Gather(backend::ParameterSource& source, std::vector<BYTE>& bytes,
                       backend::Diagnostics& diag);
    // The deadline of a call that begins now, from the statement's time-out.
    void StartClock();
    // Makes the interruptions of diag[first..] time-outs when the deadline
    // ended them.
    void TellTimeOut(backend::Diagnostics& diag, size_t first) const;
    backend::FetchResult FetchRows(backend::RowBuffer* const rows[], size_t count, size_t& fetched,
                                   backend::Diagnostics& diag);
    bool Run(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag);
    // One sqlite3_step of the statement, ended early by Cancel.
    int Step();
    // Whether Cancel was asked for since the last ResetCancel; if so, says
    // so in diag.
    bool Canceled(backend::Diagnostics& diag) const;
    // Steps the statement once per parameter set; on failure the
    // diagnostics name the set and the statement is reset.
    bool RunSets(backend::Diagnostics& diag);
    // Several parameter sets run inside a savepoint, which (unlike BEGIN)
    // also nests in the caller's transaction and so can undo exactly the
    // sets. EndSets releases it when keep, else undoes the sets; a release
    // that fails undoes them too and answers false.
    bool BeginSets(backend::Diagnostics& diag);
    bool EndSets(bool keep, backend::Diagnostics& diag);
    bool Bind(const backend::RowBuffer& set, backend::Diagnostics& diag);
    void ReadRow(backend::RowBuffer& row);
    void Describe(std::vector<backend::ColumnInfo>& columns, bool fromValues);

    SqliteConnection& m_connection;
    sqlite3_stmt* m_stmt = nullptr;
    std::string m_rest; // statements after the first, run after it
    std::vector<ColumnType> m_types;
    const backend::RowBuffer* m_sets = nullptr;
    size_t m_setCount = 0;
    bool m_pending = false; // a stepped row not yet handed out
    bool m_done = true;
    Interruption m_interruption;       // Cancel's flag and the time-out's deadline
    LONG m_timeoutSeconds = 0;         // of each Execute and Fetch; 0: none
    bool m_attaches = false;           // the prepared statement attaches or detaches
    bool m_setsOpen = false;           // the parameter sets' savepoint is open
    bool m_setsOwnTransaction = false; // and began the transaction itself
};

} // namespace hdb::sqlite
