#include "ProviderTest.h"

#include <atomic>
#include <unistd.h>

namespace providertest {

std::vector<Record> TakeErrorRecords() {
    std::vector<Record> out;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || info == nullptr)
        return out;
    Ptr<IErrorRecords> records;
    info->QueryInterface(IID_IErrorRecords, records.OutVoid());
    info->Release();
    if (!records)
        return out;
    ULONG count = 0;
    records->GetRecordCount(&count);
    for (ULONG i = 0; i < count; ++i) {
        Record r;
        ERRORINFO basic{};
        records->GetBasicErrorInfo(i, &basic);
        r.hr = basic.hrError;
        Ptr<IErrorInfo> one;
        if (SUCCEEDED(records->GetErrorInfo(i, 0, one.Out())) && one) {
            BSTR text = nullptr;
            one->GetDescription(&text);
            r.description = text != nullptr ? text : L"";
            SysFreeString(text);
            text = nullptr;
            one->GetSource(&text);
            r.source = text != nullptr ? text : L"";
            SysFreeString(text);
        }
        Ptr<ISQLErrorInfo> sql;
        if (SUCCEEDED(records->GetCustomErrorObject(i, IID_ISQLErrorInfo, sql.OutUnknown())) &&
            sql) {
            BSTR state = nullptr;
            sql->GetSQLInfo(&state, &r.nativeError);
            r.sqlState = state != nullptr ? state : L"";
            SysFreeString(state);
        }
        out.push_back(std::move(r));
    }
    return out;
}

DBPROP Prop(DBPROPID id, const VARIANT& value, DBPROPOPTIONS options) {
    DBPROP p{};
    p.dwPropertyID = id;
    p.dwOptions = options;
    p.colid = DB_NULLID;
    p.vValue = value;
    return p;
}

VARIANT Text(const wchar_t* text) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(text);
    return v;
}

VARIANT Bool(bool value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BOOL;
    v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return v;
}

VARIANT Int(LONG value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_I4;
    v.lVal = value;
    return v;
}

Ptr<IDBInitialize> NewDataSource() {
    Ptr<IDBInitialize> dso;
    HRESULT hr = CoCreateInstance(CLSID_HDB_EMBEDDED, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_IDBInitialize, dso.OutVoid());
    EXPECT_EQ(hr, S_OK);
    return dso;
}

HRESULT Connect(IDBInitialize* dso, const std::wstring& dataSource, LONG timeout) {
    Ptr<IDBProperties> props;
    dso->QueryInterface(IID_IDBProperties, props.OutVoid());
    DBPROP p[2] = {Prop(DBPROP_INIT_DATASOURCE, Text(dataSource.c_str())),
                   Prop(DBPROP_INIT_TIMEOUT, Int(timeout))};
    DBPROPSET set{p, timeout > 0 ? 2u : 1u, DBPROPSET_DBINIT};
    HRESULT hr = props->SetProperties(1, &set);
    VariantClear(&p[0].vValue);
    if (FAILED(hr))
        return hr;
    return dso->Initialize();
}

Ptr<IDBCreateCommand> NewSession(IDBInitialize* dso) {
    Ptr<IDBCreateSession> factory;
    dso->QueryInterface(IID_IDBCreateSession, factory.OutVoid());
    Ptr<IDBCreateCommand> session;
    if (factory) {
        EXPECT_EQ(factory->CreateSession(nullptr, IID_IDBCreateCommand, session.OutUnknown()),
                  S_OK);
    }
    return session;
}

Ptr<ICommandText> NewCommand(IDBCreateCommand* session, const std::wstring& sql) {
    Ptr<ICommandText> command;
    EXPECT_EQ(session->CreateCommand(nullptr, IID_ICommandText, command.OutUnknown()), S_OK);
    if (command) {
        EXPECT_EQ(command->SetCommandText(DBGUID_DEFAULT, sql.c_str()), S_OK);
    }
    return command;
}

HRESULT Exec(IDBCreateCommand* session, const std::wstring& sql, DBROWCOUNT* affected) {
    auto command = NewCommand(session, sql);
    return command->Execute(nullptr, IID_NULL, nullptr, affected, nullptr);
}

std::vector<Row> ReadAll(IRowset* rowset, size_t batch, size_t* batches) {
    std::vector<Row> rows;
    Ptr<IColumnsInfo> columns;
    rowset->QueryInterface(IID_IColumnsInfo, columns.OutVoid());
    DBORDINAL count = 0;
    DBCOLUMNINFO* ci = nullptr;
    OLECHAR* names = nullptr;
    EXPECT_EQ(columns->GetColumnInfo(&count, &ci, &names), S_OK);
    CoTaskMemFree(ci);
    CoTaskMemFree(names);
    // Every column as wide text of up to 1000 characters.
    constexpr DBLENGTH width = 1001 * sizeof(wchar_t);
    constexpr DBLENGTH stride = 16 + width;
    std::vector<DBBINDING> bindings(count);
    for (DBORDINAL i = 0; i < count; ++i) {
        DBBINDING& b = bindings[i];
        b = DBBINDING{};
        b.iOrdinal = i + 1;
        b.obStatus = i * stride;
        b.obLength = i * stride + 8;
        b.obValue = i * stride + 16;
        b.dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
        b.cbMaxLen = width;
        b.wType = DBTYPE_WSTR;
        b.eParamIO = DBPARAMIO_NOTPARAM;
    }
    Ptr<IAccessor> accessor;
    rowset->QueryInterface(IID_IAccessor, accessor.OutVoid());
    HACCESSOR h = DB_NULL_HACCESSOR;
    std::vector<DBBINDSTATUS> status(count);
    EXPECT_EQ(
        accessor->CreateAccessor(DBACCESSOR_ROWDATA, count, bindings.data(), 0, &h, status.data()),
        S_OK);
    std::vector<BYTE> buffer(count * stride);
    if (batches != nullptr)
        *batches = 0;
    for (;;) {
        DBCOUNTITEM obtained = 0;
        HROW* handles = nullptr;
        HRESULT hr = rowset->GetNextRows(DB_NULL_HCHAPTER, 0, static_cast<DBROWCOUNT>(batch),
                                         &obtained, &handles);
        EXPECT_TRUE(hr == S_OK || hr == DB_S_ENDOFROWSET) << std::hex << hr;
        if (obtained != 0 && batches != nullptr)
            ++*batches;
        for (DBCOUNTITEM r = 0; r < obtained; ++r) {
            EXPECT_EQ(rowset->GetData(handles[r], h, buffer.data()), S_OK);
            Row row;
            for (DBORDINAL i = 0; i < count; ++i) {
                DBSTATUS st;
                std::memcpy(&st, buffer.data() + bindings[i].obStatus, sizeof st);
                if (st == DBSTATUS_S_ISNULL)
                    row.emplace_back(std::nullopt);
                else
                    row.emplace_back(
                        reinterpret_cast<const wchar_t*>(buffer.data() + bindings[i].obValue));
            }
            rows.push_back(std::move(row));
        }
        if (obtained != 0) {
            EXPECT_EQ(rowset->ReleaseRows(obtained, handles, nullptr, nullptr, nullptr), S_OK);
        }
        CoTaskMemFree(handles);
        if (hr != S_OK || obtained == 0)
            break;
    }
    accessor->ReleaseAccessor(h, nullptr);
    return rows;
}

std::vector<Row> Query(IDBCreateCommand* session, const std::wstring& sql, size_t batch) {
    auto command = NewCommand(session, sql);
    Ptr<IRowset> rowset;
    HRESULT hr = command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown());
    EXPECT_EQ(hr, S_OK) << std::hex << hr;
    if (!rowset)
        return {};
    return ReadAll(rowset.Get(), batch);
}

DBBINDING& Layout::Add(DBORDINAL ordinal, DBTYPE type, DBLENGTH maxLen, DBPART parts) {
    DBBINDING b{};
    b.iOrdinal = ordinal;
    b.obStatus = m_size;
    b.obLength = m_size + 8;
    b.obValue = m_size + 16;
    b.dwPart = parts;
    b.cbMaxLen = maxLen;
    b.wType = type;
    b.eParamIO = DBPARAMIO_INPUT;
    m_size += 16 + ((maxLen + 7) & ~DBLENGTH{7});
    m_bindings.push_back(b);
    return m_bindings.back();
}

HACCESSOR Layout::Create(IUnknown* object, DBACCESSORFLAGS flags, HRESULT expected,
                         std::vector<DBBINDSTATUS>* status) const {
    Ptr<IAccessor> accessor;
    object->QueryInterface(IID_IAccessor, accessor.OutVoid());
    HACCESSOR h = DB_NULL_HACCESSOR;
    std::vector<DBBINDSTATUS> local(m_bindings.size());
    auto& st = status != nullptr ? *status : local;
    st.resize(m_bindings.size());
    EXPECT_EQ(accessor->CreateAccessor(flags, m_bindings.size(), m_bindings.data(), m_size, &h,
                                       st.data()),
              expected);
    return h;
}

void ProviderTest::SetUp() {
    static std::atomic<int> counter{0};
    m_dir = std::filesystem::temp_directory_path() /
            ("hdbprov-" + std::to_string(getpid()) + "-" + std::to_string(++counter));
    std::filesystem::create_directories(m_dir);
    m_file = (m_dir / "test.db").wstring();
    m_dso = NewDataSource();
    ASSERT_TRUE(m_dso);
    ASSERT_EQ(Connect(m_dso.Get(), m_file), S_OK);
    m_session = NewSession(m_dso.Get());
    ASSERT_TRUE(m_session);
}

void ProviderTest::TearDown() {
    m_session.Reset();
    if (m_dso)
        m_dso->Uninitialize();
    m_dso.Reset();
    if (m_db != nullptr)
        sqlite3_close(m_db);
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
}

sqlite3* ProviderTest::Db() {
    if (m_db == nullptr) {
        std::string path = (m_dir / "test.db").string();
        EXPECT_EQ(sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
        sqlite3_busy_timeout(m_db, 2000);
    }
    return m_db;
}

std::string ProviderTest::Scalar(const char* sql) {
    sqlite3_stmt* stmt = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(Db(), sql, -1, &stmt, nullptr), SQLITE_OK) << sqlite3_errmsg(Db());
    std::string value = "<no row>";
    if (stmt != nullptr && sqlite3_step(stmt) == SQLITE_ROW) {
        auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
        value = text != nullptr ? text : "<null>";
    }
    sqlite3_finalize(stmt);
    return value;
}

std::vector<std::pair<HRESULT, std::vector<BYTE>>> ReadThrough(IRowset* rowset,
                                                               const Layout& layout, BYTE fill) {
    std::vector<std::pair<HRESULT, std::vector<BYTE>>> rows;
    HACCESSOR h = layout.Create(rowset, DBACCESSOR_ROWDATA);
    for (;;) {
        DBCOUNTITEM obtained = 0;
        HROW handle[1];
        HROW* handles = handle;
        rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &handles);
        if (obtained == 0)
            break;
        std::vector<BYTE> buffer(layout.Size(), fill);
        HRESULT hr = rowset->GetData(handle[0], h, buffer.data());
        rowset->ReleaseRows(1, handle, nullptr, nullptr, nullptr);
        rows.emplace_back(hr, std::move(buffer));
    }
    return rows;
}

} // namespace providertest
