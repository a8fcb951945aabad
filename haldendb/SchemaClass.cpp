#include "haldendb/SchemaClass.h"
#include "haldendb/MessageNumbers.h"

#include "haldendb/RowSet.h"

#include <memory>

namespace {

using namespace hdbmsg;

constexpr wchar_t FetchErrorText[] = L"Error fetch next entry from database";

// Catalog names are short; a batch of this many covers most servers.
constexpr DBCOUNTITEM CatalogFetchRowCount = 200;
constexpr ULONG CatalogLongColumnLength = 500000;

} // namespace

CSchemaClass::CSchemaClass(const CDataSource& dataSource)
    : CBaseOLEDBClass(dataSource, dataSource.GetUIEnabled()) {
    m_pIDBInitialize = dataSource;
    if (m_pIDBInitialize == nullptr)
        return;
    m_pIDBInitialize->AddRef();

    const LoggingSourcePos position =
        HDB_SOURCE_POS(L"__cdecl CSchemaClass::CSchemaClass(const class CDataSource &)");
    IDBCreateSession* sessions = nullptr;
    if (!QuerySessionFactory(m_pIDBInitialize, &sessions, position))
        return;
    const HRESULT hr = sessions->CreateSession(nullptr, IID_IDBSchemaRowset,
                                               reinterpret_cast<IUnknown**>(&m_pIDBSchemaRowset));
    if (CheckError(hr, MsgCantCreateSession, sessions, IID_IDBCreateSession, position,
                   CBasicStringView<wchar_t>()) ||
        FAILED(hr)) {
        if (m_pIDBSchemaRowset)
            m_pIDBSchemaRowset->Release();
        m_pIDBSchemaRowset = nullptr;
    }
    sessions->Release();
}

CSchemaClass::~CSchemaClass() {
    if (m_pIDBSchemaRowset)
        m_pIDBSchemaRowset->Release();
    m_pIDBSchemaRowset = nullptr;
    if (m_pIDBInitialize)
        m_pIDBInitialize->Release();
    m_pIDBInitialize = nullptr;
}

bool CSchemaClass::GetDatabases(CStringArray& databases) {
    databases.RemoveAll();
    if (m_pIDBSchemaRowset == nullptr)
        return false;

    ULONG schemaCount = 0;
    GUID* schemas = nullptr;
    ULONG* restrictions = nullptr;
    struct Arrays {
        GUID*& schemas;
        ULONG*& restrictions;
        ~Arrays() {
            CoTaskMemFree(schemas);
            CoTaskMemFree(restrictions);
        }
    } arrays{schemas, restrictions};

    if (FAILED(m_pIDBSchemaRowset->GetSchemas(&schemaCount, &schemas, &restrictions)))
        return false;
    bool hasCatalogs = false;
    for (ULONG i = 0; i < schemaCount && !hasCatalogs; ++i)
        hasCatalogs = schemas[i] == DBSCHEMA_CATALOGS;
    if (!hasCatalogs)
        return false;

    IUnknown* result = nullptr;
    if (FAILED(m_pIDBSchemaRowset->GetRowset(nullptr, DBSCHEMA_CATALOGS, 0, nullptr, IID_IRowset, 0,
                                             nullptr, &result)) ||
        result == nullptr)
        return false;

    const LoggingSourcePos position =
        HDB_SOURCE_POS(L"bool __cdecl CSchemaClass::GetDatabases(class CStringArray &)");
    CRowSet rowset(static_cast<IRowset*>(result), *this);
    // The listing tells its caller about failures only: the rowset keeps the
    // UI flag and the error callback it took from here, not the success one.
    rowset.SetCallBackForSuccessMessages(nullptr, nullptr);
    rowset.SetFetchRowCount(CatalogFetchRowCount);
    rowset.BuildRowSet(true, CatalogLongColumnLength);
    // The getters read through the column's cached position, which the
    // look-up by name fills; column 1 is the catalog's name.
    const size_t ordinal =
        rowset.GetColumnCount() > 0
            ? rowset.GetColumnsOrdinal(CBasicString<wchar_t>(rowset.GetColumnName(1)))
            : 0;
    // The end of the list and a failure look the same here; both are told.
    bool more = rowset.FetchNext();
    if (!more)
        OutputError(MsgError, HdbLiteralView(FetchErrorText), position);
    while (more && !rowset.IsEOS()) {
        const wchar_t* name = ordinal != 0 ? rowset.GetCurrColumnsWchar(ordinal) : nullptr;
        databases.Add(CString(name ? name : L""));
        more = rowset.FetchNext();
        if (!more)
            OutputError(MsgError, HdbLiteralView(FetchErrorText), position);
    }
    return true;
}
