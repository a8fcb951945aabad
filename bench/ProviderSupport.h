// What the benchmarks that talk to a provider directly share: a session of a
// provider on a data source, a binding of one column of a row structure, and
// the consumer's read of the benchmark table.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "FetchTotals.h"
#include "hdbplatform/OleDbApi.h"

namespace benchsupport {

inline void CheckResult(HRESULT hr, const char* what) {
    if (FAILED(hr)) {
        std::fprintf(stderr, "benchmark: %s failed (0x%08x)\n", what, static_cast<unsigned>(hr));
        std::exit(1);
    }
}

// A data source of the provider initialised on dataSource, and one session.
struct ProviderSession {
    IDBInitialize* dso = nullptr;
    IDBCreateCommand* session = nullptr;

    ProviderSession(const CLSID& provider, const std::wstring& dataSource) {
        CheckResult(CoCreateInstance(provider, nullptr, CLSCTX_INPROC_SERVER, IID_IDBInitialize,
                                     reinterpret_cast<void**>(&dso)),
                    "creating the data source");
        IDBProperties* properties = nullptr;
        CheckResult(dso->QueryInterface(IID_IDBProperties, reinterpret_cast<void**>(&properties)),
                    "IDBProperties");
        DBPROP prop{};
        prop.dwPropertyID = DBPROP_INIT_DATASOURCE;
        prop.dwOptions = DBPROPOPTIONS_REQUIRED;
        prop.colid = DB_NULLID;
        prop.vValue.vt = VT_BSTR;
        prop.vValue.bstrVal = SysAllocString(dataSource.c_str());
        DBPROPSET set{&prop, 1, DBPROPSET_DBINIT};
        CheckResult(properties->SetProperties(1, &set), "setting the data source");
        VariantClear(&prop.vValue);
        properties->Release();
        CheckResult(dso->Initialize(), "connecting");
        IDBCreateSession* factory = nullptr;
        CheckResult(dso->QueryInterface(IID_IDBCreateSession, reinterpret_cast<void**>(&factory)),
                    "IDBCreateSession");
        CheckResult(factory->CreateSession(nullptr, IID_IDBCreateCommand,
                                           reinterpret_cast<IUnknown**>(&session)),
                    "creating a session");
        factory->Release();
    }
    ~ProviderSession() {
        session->Release();
        dso->Uninitialize();
        dso->Release();
    }
    ProviderSession(const ProviderSession&) = delete;
    ProviderSession& operator=(const ProviderSession&) = delete;

    // The rowset of sql.
    IRowset* Execute(const std::wstring& sql) {
        ICommandText* command = nullptr;
        CheckResult(session->CreateCommand(nullptr, IID_ICommandText,
                                           reinterpret_cast<IUnknown**>(&command)),
                    "creating a command");
        CheckResult(command->SetCommandText(DBGUID_DEFAULT, sql.c_str()), "setting the text");
        IRowset* rowset = nullptr;
        CheckResult(command->Execute(nullptr, IID_IRowset, nullptr, nullptr,
                                     reinterpret_cast<IUnknown**>(&rowset)),
                    "executing");
        command->Release();
        return rowset;
    }
};

// A binding of the column at ordinal to value (and length, when not 0) of a
// row structure whose statuses lie at statuses, one per column.
inline DBBINDING Binding(DBORDINAL ordinal, DBTYPE type, size_t value, DBLENGTH maxLen,
                         size_t statuses, size_t length = 0) {
    DBBINDING b{};
    b.iOrdinal = ordinal;
    b.obValue = value;
    b.obLength = length;
    b.obStatus = statuses + (ordinal - 1) * sizeof(DBSTATUS);
    b.dwPart = DBPART_VALUE | DBPART_STATUS | (length != 0 ? DBPART_LENGTH : 0);
    b.dwMemOwner = DBMEMOWNER_CLIENTOWNED;
    b.eParamIO = DBPARAMIO_NOTPARAM;
    b.cbMaxLen = maxLen;
    b.wType = type;
    return b;
}

// The values of a fetched row that has id, amount, name with nameLength
// (bytes) and stamp, as the totals take them.
template <class Row> Values ValuesOf(const Row& row) {
    const DBTIMESTAMP& s = row.stamp;
    return {static_cast<long>(row.id),
            row.amount,
            row.name,
            row.nameLength / sizeof(wchar_t),
            s.year,
            s.month,
            s.day,
            s.hour,
            s.minute,
            s.second,
            s.fraction};
}

// Runs sql and reads every row of its rowset as a consumer does: an accessor
// of bindings into a Row, GetNextRows in batches of batch handles, GetData per
// row; add(row) sees each row.
template <class Row, size_t N, class Add>
void ReadEveryRow(ProviderSession& provider, const std::wstring& sql,
                  const DBBINDING (&bindings)[N], DBCOUNTITEM batch, Add add) {
    IRowset* rowset = provider.Execute(sql);
    IAccessor* accessors = nullptr;
    CheckResult(rowset->QueryInterface(IID_IAccessor, reinterpret_cast<void**>(&accessors)),
                "IAccessor");
    HACCESSOR accessor = 0;
    CheckResult(
        accessors->CreateAccessor(DBACCESSOR_ROWDATA, N, bindings, sizeof(Row), &accessor, nullptr),
        "creating the accessor");
    Row row{};
    std::vector<HROW> handles(batch);
    HROW* rows = handles.data();
    for (;;) {
        DBCOUNTITEM obtained = 0;
        const HRESULT hr = rowset->GetNextRows(DB_NULL_HCHAPTER, 0, batch, &obtained, &rows);
        CheckResult(hr, "GetNextRows");
        for (DBCOUNTITEM i = 0; i < obtained; ++i) {
            CheckResult(rowset->GetData(rows[i], accessor, &row), "GetData");
            add(row);
        }
        if (obtained != 0)
            rowset->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);
        if (hr == DB_S_ENDOFROWSET || obtained == 0)
            break;
    }
    accessors->ReleaseAccessor(accessor, nullptr);
    accessors->Release();
    rowset->Release();
}

// One fetched row of the benchmark table in the consumer's native forms, the
// id as Id.
template <class Id> struct FetchedRow {
    static constexpr size_t NameChars = 20;
    Id id;
    double amount;
    DBTIMESTAMP stamp;
    DBLENGTH nameLength; // bytes
    wchar_t name[NameChars + 1];
    DBSTATUS status[4];
};

// The totals of every row of sql (id, amount, name, stamp) read as a consumer
// does: the id bound as idType into an Id, the others as R8, WSTR and
// DBTIMESTAMP, in batches of batch rows.
template <class Id>
Totals ReadFetchedTotals(ProviderSession& provider, const std::wstring& sql, DBTYPE idType,
                         DBCOUNTITEM batch) {
    using Row = FetchedRow<Id>;
    const DBBINDING bindings[] = {
        Binding(1, idType, offsetof(Row, id), sizeof(Id), offsetof(Row, status)),
        Binding(2, DBTYPE_R8, offsetof(Row, amount), sizeof(double), offsetof(Row, status)),
        Binding(3, DBTYPE_WSTR, offsetof(Row, name), sizeof(Row::name), offsetof(Row, status),
                offsetof(Row, nameLength)),
        Binding(4, DBTYPE_DBTIMESTAMP, offsetof(Row, stamp), sizeof(DBTIMESTAMP),
                offsetof(Row, status)),
    };
    Totals totals;
    ReadEveryRow<Row>(provider, sql, bindings, batch,
                      [&](const Row& row) { totals.Add(ValuesOf(row)); });
    return totals;
}

} // namespace benchsupport
