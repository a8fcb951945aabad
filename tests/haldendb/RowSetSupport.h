// What the rowset tests share: results of the real embedded provider, and a
// scripted rowset for what that provider never produces (a bookmark column,
// 8-bit text and the narrow integer types, an accessor rejecting chosen
// bindings) with a fixture that builds the library's rowset over it.
#pragma once

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace rowsettest {

using hdbtest::ComPtr;

// A fresh database file of the embedded provider, reached the way an
// application's data source reaches it: data initialisation service, data
// source, session, commands.
class EmbeddedDatabase {
public:
    EmbeddedDatabase() {
        const std::wstring file = m_folder.File("rows.db");

        ComPtr<IDataInitialize> init;
        EXPECT_EQ(CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IDataInitialize, init.OutVoid()),
                  S_OK);
        if (!init)
            return;
        EXPECT_EQ(init->CreateDBInstance(CLSID_HDB_EMBEDDED, nullptr, CLSCTX_INPROC_SERVER, nullptr,
                                         IID_IDBInitialize, m_source.OutUnknown()),
                  S_OK);
        if (!m_source)
            return;
        ComPtr<IDBProperties> properties;
        m_source->QueryInterface(IID_IDBProperties, properties.OutVoid());
        DBPROP property{};
        property.dwPropertyID = DBPROP_INIT_DATASOURCE;
        property.dwOptions = DBPROPOPTIONS_REQUIRED;
        property.colid = DB_NULLID;
        property.vValue.vt = VT_BSTR;
        property.vValue.bstrVal = SysAllocString(file.c_str());
        DBPROPSET set{&property, 1, DBPROPSET_DBINIT};
        EXPECT_EQ(properties->SetProperties(1, &set), S_OK);
        VariantClear(&property.vValue);
        EXPECT_EQ(m_source->Initialize(), S_OK);
        ComPtr<IDBCreateSession> sessions;
        m_source->QueryInterface(IID_IDBCreateSession, sessions.OutVoid());
        EXPECT_EQ(sessions->CreateSession(nullptr, IID_IDBCreateCommand, m_session.OutUnknown()),
                  S_OK);
    }
    ~EmbeddedDatabase() {
        m_session.Reset();
        if (m_source)
            m_source->Uninitialize();
        m_source.Reset();
    }

    void Exec(const std::wstring& sql) {
        ComPtr<ICommandText> command = Command(sql);
        ASSERT_TRUE(command);
        ASSERT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), S_OK) << sql;
    }

    // The rowset of a query; the caller owns the reference.
    IRowset* Query(const std::wstring& sql) {
        ComPtr<ICommandText> command = Command(sql);
        IUnknown* rowset = nullptr;
        EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, &rowset), S_OK) << sql;
        return static_cast<IRowset*>(rowset);
    }

private:
    ComPtr<ICommandText> Command(const std::wstring& sql) {
        ComPtr<ICommandText> command;
        EXPECT_EQ(m_session->CreateCommand(nullptr, IID_ICommandText, command.OutUnknown()), S_OK);
        if (command) {
            EXPECT_EQ(command->SetCommandText(DBGUID_DEFAULT, sql.c_str()), S_OK);
        }
        return command;
    }

    hdbtest::TempFolder m_folder; // goes last, after the connection
    ComPtr<IDBInitialize> m_source;
    ComPtr<IDBCreateCommand> m_session;
};

// The object rowsets are made from: reporting into collectors.
class RowSetFrame : public hdbtest::ReportingObject {};

// Rowsets of the library over queries of a fresh embedded database.
class EmbeddedRowSetTest : public ::testing::Test {
protected:
    std::unique_ptr<CRowSet> Open(const std::wstring& sql, bool streams = true) {
        auto rowset = std::make_unique<CRowSet>(db.Query(sql), frame);
        rowset->SetLongColumnsAsStreams(streams);
        EXPECT_TRUE(rowset->BuildRowSet(false, 65000));
        return rowset;
    }

    EmbeddedDatabase db;
    RowSetFrame frame;
};

// One scripted value: the status, and the bytes the provider would write.
struct Cell {
    DBSTATUS status = DBSTATUS_S_OK;
    std::vector<BYTE> bytes;

    template <class T> static Cell Of(const T& value) {
        Cell cell;
        cell.bytes.resize(sizeof(T));
        std::memcpy(cell.bytes.data(), &value, sizeof(T));
        return cell;
    }
    static Cell Text(const std::string& text) {
        Cell cell;
        cell.bytes.assign(text.begin(), text.end());
        cell.bytes.push_back(0);
        return cell;
    }
    static Cell Wide(const std::wstring& text) {
        Cell cell;
        cell.bytes.resize((text.size() + 1) * sizeof(wchar_t));
        std::memcpy(cell.bytes.data(), text.c_str(), cell.bytes.size());
        return cell;
    }
    static Cell Null() {
        Cell cell;
        cell.status = DBSTATUS_S_ISNULL;
        return cell;
    }
};

// A column description for the scripted rowset.
inline DBCOLUMNINFO Column(DBORDINAL ordinal, DBTYPE type, DBLENGTH size, DBCOLUMNFLAGS flags = 0,
                           BYTE precision = 0, BYTE scale = 0) {
    DBCOLUMNINFO column{};
    column.iOrdinal = ordinal;
    column.wType = type;
    column.ulColumnSize = size;
    column.dwFlags = flags;
    column.bPrecision = precision;
    column.bScale = scale;
    return column;
}

// A rowset that answers from a script: the columns it describes, the rows it
// serves (each row one Cell per ordinal from 1) and the verdict on an
// accessor's bindings. Reference counts are checked by the tests; the
// object belongs to the test.
class ScriptedRowset
    : public hdbtest::TestObject<ScriptedRowset, IRowset, IColumnsInfo, IAccessor> {
public:
    bool Answers(REFIID iid, IRowset*) const { return iid == IID_IRowset; }
    bool Answers(REFIID iid, IColumnsInfo*) const { return iid == IID_IColumnsInfo; }
    bool Answers(REFIID iid, IAccessor*) const { return iid == IID_IAccessor; }

    // Columns and their names (names[i] for columns[i]; empty for none).
    std::vector<DBCOLUMNINFO> columns;
    std::vector<std::wstring> names;
    std::vector<std::vector<Cell>> rows;
    // When not empty, CreateAccessor fails and hands out these statuses.
    std::vector<DBBINDSTATUS> rejected;
    // What GetData answers instead of delivering the row, when it fails.
    HRESULT dataResult = S_OK;

    std::vector<DBBINDING> bindings; // of the last accessor created
    int accessorsCreated = 0;
    int accessorsReleased = 0;

    // IColumnsInfo
    HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info,
                                            OLECHAR** strings) override {
        size_t characters = 0;
        for (const auto& name : names)
            characters += name.size() + 1;
        *count = columns.size();
        *info = static_cast<DBCOLUMNINFO*>(CoTaskMemAlloc(columns.size() * sizeof(DBCOLUMNINFO)));
        *strings = static_cast<OLECHAR*>(CoTaskMemAlloc((characters + 1) * sizeof(OLECHAR)));
        OLECHAR* next = *strings;
        for (size_t i = 0; i < columns.size(); ++i) {
            (*info)[i] = columns[i];
            (*info)[i].pwszName = nullptr;
            if (i < names.size() && !names[i].empty()) {
                std::wmemcpy(next, names[i].c_str(), names[i].size() + 1);
                (*info)[i].pwszName = next;
                next += names[i].size() + 1;
            }
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL, const DBID[], DBORDINAL[]) override {
        return E_NOTIMPL;
    }

    // IAccessor
    HRESULT STDMETHODCALLTYPE AddRefAccessor(HACCESSOR, DBREFCOUNT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateAccessor(DBACCESSORFLAGS, DBCOUNTITEM count,
                                             const DBBINDING given[], DBLENGTH, HACCESSOR* handle,
                                             DBBINDSTATUS status[]) override {
        *handle = 0;
        if (!rejected.empty()) {
            for (DBCOUNTITEM i = 0; i < count && status != nullptr; ++i)
                status[i] =
                    i < rejected.size() ? rejected[i] : static_cast<DBBINDSTATUS>(DBBINDSTATUS_OK);
            return DB_E_ERRORSOCCURRED;
        }
        bindings.assign(given, given + count);
        *handle = static_cast<HACCESSOR>(++accessorsCreated);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetBindings(HACCESSOR, DBACCESSORFLAGS*, DBCOUNTITEM*,
                                          DBBINDING**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ReleaseAccessor(HACCESSOR, DBREFCOUNT*) override {
        ++accessorsReleased;
        return S_OK;
    }

    // IRowset: rows are handed out in order; handle h is row h - 1.
    HRESULT STDMETHODCALLTYPE AddRefRows(DBCOUNTITEM, const HROW[], DBREFCOUNT[],
                                         DBROWSTATUS[]) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetData(HROW row, HACCESSOR, void* data) override {
        if (FAILED(dataResult))
            return dataResult;
        if (row == 0 || row > rows.size())
            return DB_E_BADROWHANDLE;
        auto* buffer = static_cast<BYTE*>(data);
        for (const DBBINDING& binding : bindings) {
            const Cell& cell = rows[row - 1][binding.iOrdinal - 1];
            const DBLENGTH length = cell.bytes.size();
            std::memcpy(buffer + binding.obStatus, &cell.status, sizeof(DBSTATUS));
            std::memcpy(buffer + binding.obLength, &length, sizeof(DBLENGTH));
            if (cell.status == DBSTATUS_S_OK)
                std::memcpy(buffer + binding.obValue, cell.bytes.data(),
                            std::min<size_t>(cell.bytes.size(), binding.cbMaxLen));
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetNextRows(HCHAPTER, DBROWOFFSET, DBROWCOUNT count,
                                          DBCOUNTITEM* obtained, HROW** handles) override {
        *obtained = 0;
        while (*obtained < static_cast<DBCOUNTITEM>(count) && m_next < rows.size())
            (*handles)[(*obtained)++] = ++m_next;
        return *obtained < static_cast<DBCOUNTITEM>(count) ? DB_S_ENDOFROWSET : S_OK;
    }
    HRESULT STDMETHODCALLTYPE ReleaseRows(DBCOUNTITEM, const HROW[], DBROWOPTIONS[], DBREFCOUNT[],
                                          DBROWSTATUS[]) override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RestartPosition(HCHAPTER) override { return E_NOTIMPL; }

private:
    size_t m_next = 0;
};

// The library's rowset over a scripted provider; by the end of the test the
// library has given back every reference it took.
class ScriptedRowSetTest : public ::testing::Test {
protected:
    void TearDown() override {
        rowset.reset();
        EXPECT_EQ(provider.references.load(), 0u);
    }
    // A rowset over the provider, not built yet.
    CRowSet& Open() {
        provider.AddRef(); // handed to the rowset
        rowset = std::make_unique<CRowSet>(static_cast<IRowset*>(&provider), frame);
        return *rowset;
    }
    CRowSet& Build(bool withBookmark = false, bool asStreams = true, ULONG longLength = 65000) {
        CRowSet& set = Open();
        set.SetLongColumnsAsStreams(asStreams);
        EXPECT_TRUE(set.BuildRowSet(withBookmark, longLength));
        return set;
    }

    RowSetFrame frame;
    ScriptedRowset provider;
    std::unique_ptr<CRowSet> rowset;
};

} // namespace rowsettest
