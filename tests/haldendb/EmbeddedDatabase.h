// Helpers for tests against the embedded SQLite provider: a database file in
// a temporary folder of its own, plain OLE DB calls (the library's command
// classes are not used, so these tests depend only on the connection) to run
// a statement and to count a table's rows, and SQLite's own client to check
// what reached the file.
#pragma once

#include "TestSupport.h"

#include "haldendb/DataSource.h"

#include <sqlite3.h>

#include <string>

namespace hdbtest {

// The data source with its protected members opened up.
class OpenDataSource : public CDataSource {
public:
    using CDataSource::CDataSource;
    using CDataSource::isPooledConnection;
    using CDataSource::SetMultipleConnectionProperty;
};

// A connection of SQLite's own client to a test's file.
class SqliteClient {
public:
    explicit SqliteClient(const std::wstring& path) {
        sqlite3_open(std::string(path.begin(), path.end()).c_str(), &m_db);
    }
    ~SqliteClient() { sqlite3_close(m_db); }
    SqliteClient(const SqliteClient&) = delete;
    SqliteClient& operator=(const SqliteClient&) = delete;

    bool Exec(const char* sql) { return sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) == 0; }
    // The first column of the first row as a number; -1 when the query fails.
    long long Number(const char* sql) {
        long long value = -1;
        Step(sql, [&](sqlite3_stmt* row) { value = sqlite3_column_int64(row, 0); });
        return value;
    }
    // The first column of the first row as text; "<unreadable>" when the
    // query fails.
    std::string Text(const char* sql) {
        std::string value = "<unreadable>";
        Step(sql, [&](sqlite3_stmt* row) {
            const auto* text = sqlite3_column_text(row, 0);
            value = text ? reinterpret_cast<const char*>(text) : "";
        });
        return value;
    }

private:
    template <class Read> void Step(const char* sql, Read read) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW)
            read(statement);
        sqlite3_finalize(statement);
    }
    sqlite3* m_db = nullptr;
};

// Runs `sql` through a command of `commands`; the result of Execute, and the
// rows it affected in *affected. A rowset, if any, is asked for as `rowset`.
inline HRESULT ExecuteOn(IDBCreateCommand* commands, const std::wstring& sql,
                         DBROWCOUNT* affected = nullptr, IRowset** rowset = nullptr) {
    if (commands == nullptr)
        return E_POINTER;
    ComPtr<ICommandText> command;
    HRESULT hr = commands->CreateCommand(nullptr, IID_ICommandText, command.OutUnknown());
    if (FAILED(hr))
        return hr;
    hr = command->SetCommandText(DBGUID_DEFAULT, sql.c_str());
    if (FAILED(hr))
        return hr;
    DBROWCOUNT rows = 0;
    hr = command->Execute(nullptr, rowset ? IID_IRowset : IID_NULL, nullptr, &rows,
                          reinterpret_cast<IUnknown**>(rowset));
    if (affected)
        *affected = rows;
    return hr;
}

// Runs `sql` on a pooled session of the data source.
inline HRESULT Execute(CDataSource& source, const std::wstring& sql,
                       DBROWCOUNT* affected = nullptr) {
    boost::shared_ptr<CommandLiveChecker> session = source.GetCurrentDatabaseSessionCommand();
    if (!session)
        return E_FAIL;
    const HRESULT hr = ExecuteOn(*session, sql, affected);
    session->SetInUse(false);
    return hr;
}

// The first column of the first row of `sql` read as a 32-bit integer; -1
// when the statement or the read fails.
inline LONG QueryNumber(CDataSource& source, const std::wstring& sql) {
    boost::shared_ptr<CommandLiveChecker> session = source.GetCurrentDatabaseSessionCommand();
    if (!session)
        return -1;
    LONG result = -1;
    {
        ComPtr<IRowset> rowset;
        if (SUCCEEDED(ExecuteOn(*session, sql, nullptr, rowset.Out())) && rowset) {
            ComPtr<IAccessor> accessor;
            if (SUCCEEDED(rowset->QueryInterface(IID_IAccessor, accessor.OutVoid()))) {
                struct Row {
                    DBSTATUS status;
                    DBLENGTH length;
                    LONG value;
                } row{};
                DBBINDING binding{};
                binding.iOrdinal = 1;
                binding.obStatus = offsetof(Row, status);
                binding.obLength = offsetof(Row, length);
                binding.obValue = offsetof(Row, value);
                binding.dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
                binding.dwMemOwner = DBMEMOWNER_CLIENTOWNED;
                binding.eParamIO = DBPARAMIO_NOTPARAM;
                binding.cbMaxLen = sizeof(LONG);
                binding.wType = DBTYPE_I4;
                HACCESSOR handle = 0;
                if (SUCCEEDED(accessor->CreateAccessor(DBACCESSOR_ROWDATA, 1, &binding, sizeof(Row),
                                                       &handle, nullptr))) {
                    DBCOUNTITEM obtained = 0;
                    HROW rowHandle = 0;
                    HROW* rows = &rowHandle;
                    if (rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows) == S_OK &&
                        obtained == 1) {
                        if (SUCCEEDED(rowset->GetData(rowHandle, handle, &row)) &&
                            row.status == DBSTATUS_S_OK)
                            result = row.value;
                        rowset->ReleaseRows(1, &rowHandle, nullptr, nullptr, nullptr);
                    }
                    accessor->ReleaseAccessor(handle, nullptr);
                }
            }
        }
    }
    session->SetInUse(false);
    return result;
}

} // namespace hdbtest
