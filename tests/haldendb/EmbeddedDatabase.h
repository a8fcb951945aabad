// Helpers for tests against the embedded SQLite provider: a database file in
// a temporary folder of its own, and plain OLE DB calls (the library's
// command classes are not used, so these tests depend only on the
// connection) to run a statement and to count a table's rows.
#pragma once

#include "TestSupport.h"

#include "haldendb/DataSource.h"

#include <string>

namespace hdbtest {

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
