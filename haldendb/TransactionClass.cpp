#include "haldendb/TransactionClass.h"
#include "haldendb/MessageNumbers.h"

namespace {

using namespace hdbmsg;

constexpr wchar_t NotConnectedText[] = L"Data source is not connected. Will (re-)connect now.";
constexpr wchar_t ReconnectedText[] = L"Data source is reconnected. Can proceed further";

} // namespace

CTransactionClass::CTransactionClass(const std::shared_ptr<CDataSource>& dataSource)
    : CBaseOLEDBClass(*dataSource, dataSource->GetUIEnabled()), m_spDataSource(dataSource) {
    EnsureConnected();
    // A reference of its own: a Release or reconnect of the data source on
    // another thread may let go of the object while it is asked here.
    IDBInitialize* dataSourceObject = m_spDataSource->GetDataSourceObjectReference();
    if (dataSourceObject == nullptr)
        return;
    struct Held {
        IDBInitialize* object;
        ~Held() { object->Release(); }
    } held{dataSourceObject};

    if (!QuerySessionFactory(dataSourceObject, &m_pIDBCreateSession,
                             HDB_SOURCE_POS(L"__cdecl CTransactionClass::CTransactionClass(const "
                                            L"class std::shared_ptr<class CDataSource> &)")))
        return;
    IUnknown* session = nullptr;
    const HRESULT hr = m_pIDBCreateSession->CreateSession(nullptr, IID_ITransactionLocal, &session);
    if (CheckError(hr, MsgCantCreateSession, m_pIDBCreateSession, IID_IDBCreateSession,
                   HDB_SOURCE_POS(L"__cdecl CTransactionClass::CTransactionClass(const class "
                                  L"std::shared_ptr<class CDataSource> &)"),
                   CBasicStringView<wchar_t>()) ||
        FAILED(hr)) {
        if (session)
            session->Release();
        return;
    }
    // Asked for as ITransactionLocal, the session is that interface.
    m_pITransactionLocal = static_cast<ITransactionLocal*>(session);
}

CTransactionClass::~CTransactionClass() {
    try {
        if (m_pITransactionLocal)
            m_pITransactionLocal->Release();
    } catch (...) {
    }
    m_pITransactionLocal = nullptr;
    try {
        if (m_pIDBCreateSession)
            m_pIDBCreateSession->Release();
    } catch (...) {
    }
    m_pIDBCreateSession = nullptr;
}

void CTransactionClass::EnsureConnected() const {
    if (m_spDataSource->IsConnected())
        return;
    OutputError(MsgError, HdbLiteralView(NotConnectedText),
                HDB_SOURCE_POS(L"void __cdecl CTransactionClass::EnsureConnected(void) const"));
    m_spDataSource->Connect();
    if (m_spDataSource->IsConnected())
        OutputSuccess(
            MsgSuccess, HdbLiteralView(ReconnectedText),
            HDB_SOURCE_POS(L"void __cdecl CTransactionClass::EnsureConnected(void) const"));
}

bool CTransactionClass::StartTransaction(ISOLEVEL isolationLevel, ULONG isolationFlags,
                                         ITransactionOptions* options,
                                         ULONG* transactionLevel) const {
    if (m_pITransactionLocal == nullptr)
        return false;
    return m_pITransactionLocal->StartTransaction(isolationLevel, isolationFlags, options,
                                                  transactionLevel) == S_OK;
}

bool CTransactionClass::CommitTransaction(bool retaining, DWORD commitFlags,
                                          DWORD resourceManagerFlags) const {
    if (m_pITransactionLocal == nullptr)
        return false;
    return m_pITransactionLocal->Commit(retaining ? TRUE : FALSE, commitFlags,
                                        resourceManagerFlags) == S_OK;
}

bool CTransactionClass::RollbackTransaction(BOID* reason, bool retaining, bool asynchronous) const {
    if (m_pITransactionLocal == nullptr)
        return false;
    return m_pITransactionLocal->Abort(reason, retaining ? TRUE : FALSE,
                                       asynchronous ? TRUE : FALSE) == S_OK;
}
