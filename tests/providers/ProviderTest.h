// What the provider tests share: a consumer's view of the embedded provider.
// Each fixture works on a fresh database file in a temporary directory and
// reads the file back with the sqlite3 C API to check what the provider did.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "haldendb/ProviderClassIds.h"
#include "hdbplatform/ComPtr.h"
#include "hdbplatform/OleDbApi.h"

namespace providertest {

// The platform's COM pointer, under the short name these tests use.
template <class T> using Ptr = hdbcom::ComPtr<T>;

// One error record as a consumer reads it.
struct Record {
    HRESULT hr = S_OK;
    std::wstring description;
    std::wstring source;
    std::wstring sqlState;
    LONG nativeError = 0;
};
// The records of the calling thread's error object (emptied afterwards).
std::vector<Record> TakeErrorRecords();

// A DBPROP of the given value.
DBPROP Prop(DBPROPID id, const VARIANT& value, DBPROPOPTIONS options = DBPROPOPTIONS_REQUIRED);
VARIANT Text(const wchar_t* text); // a VT_BSTR the caller clears
VARIANT Bool(bool value);
VARIANT Int(LONG value);

// An uninitialised data source of the embedded provider.
Ptr<IDBInitialize> NewDataSource();
// Sets DBPROP_INIT_DATASOURCE (and the time-out when given) and initialises.
HRESULT Connect(IDBInitialize* dso, const std::wstring& dataSource, LONG timeout = 0);
Ptr<IDBCreateCommand> NewSession(IDBInitialize* dso);

// A value of a fetched row, as text (NULL is nullopt), read through a WSTR
// binding of every column.
using Row = std::vector<std::optional<std::wstring>>;

// Runs sql (no parameters); rowsAffected when asked for.
HRESULT Exec(IDBCreateCommand* session, const std::wstring& sql, DBROWCOUNT* affected = nullptr);
// Runs a query and reads every row with batches of batch handles.
std::vector<Row> Query(IDBCreateCommand* session, const std::wstring& sql, size_t batch = 20);
// Reads every row of an open rowset as text.
std::vector<Row> ReadAll(IRowset* rowset, size_t batch = 20, size_t* batches = nullptr);

// Bindings laid out one after the other: status, length, then the value,
// each group 8-byte aligned; Size() is the row size.
class Layout {
public:
    DBBINDING& Add(DBORDINAL ordinal, DBTYPE type, DBLENGTH maxLen,
                   DBPART parts = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS);
    const std::vector<DBBINDING>& Bindings() const { return m_bindings; }
    DBLENGTH Size() const { return m_size; }
    template <class T> T& Value(BYTE* row, size_t i) const {
        return *reinterpret_cast<T*>(row + m_bindings[i].obValue);
    }
    DBSTATUS& Status(BYTE* row, size_t i) const {
        return *reinterpret_cast<DBSTATUS*>(row + m_bindings[i].obStatus);
    }
    DBLENGTH& Length(BYTE* row, size_t i) const {
        return *reinterpret_cast<DBLENGTH*>(row + m_bindings[i].obLength);
    }
    // An accessor of these bindings on object (a command or a rowset).
    HACCESSOR Create(IUnknown* object, DBACCESSORFLAGS flags, HRESULT expected = S_OK,
                     std::vector<DBBINDSTATUS>* status = nullptr) const;

private:
    std::vector<DBBINDING> m_bindings;
    DBLENGTH m_size = 0;
};

// A command with the text set.
Ptr<ICommandText> NewCommand(IDBCreateCommand* session, const std::wstring& sql);

// Every row of rowset, one GetData each through layout into a buffer first
// filled with fill: the result of GetData and the buffer, row by row.
std::vector<std::pair<HRESULT, std::vector<BYTE>>> ReadThrough(IRowset* rowset,
                                                               const Layout& layout, BYTE fill = 0);

// Fixture: a fresh database file per test, a connected data source and one
// session; Db() opens the same file with the sqlite3 C API.
class ProviderTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    sqlite3* Db();
    // The first column of the first row of a query through the C API.
    std::string Scalar(const char* sql);

    std::filesystem::path m_dir;
    std::wstring m_file;
    Ptr<IDBInitialize> m_dso;
    Ptr<IDBCreateCommand> m_session;

private:
    sqlite3* m_db = nullptr;
};

} // namespace providertest
