#include "haldendb/CommandClass.h"
#include "haldendb/MessageNumbers.h"

#include "haldendb/TransactionClass.h"

#include <boost/make_shared.hpp>

#include <atomic>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#ifdef _WIN32
#include <process.h>
#else
#include <thread>
#endif

namespace {

using namespace hdbmsg;

constexpr wchar_t NotConnectedText[] = L"Data source is not connected. Will (re-)connect now.";
constexpr wchar_t ReconnectedText[] = L"Data source is reconnected. Can proceed further";

// DBPROPVAL_UP_CHANGE | DBPROPVAL_UP_DELETE | DBPROPVAL_UP_INSERT
constexpr ULONG FullUpdatability = 7;

// Interface `iid` of `object`, or null. A failed query is reported by
// `reporter` under `messageId`, reading the error records `object` left
// (as an `objectIid`); a missing object counts as lacking the interface.
template <class Interface>
Interface* QueryReported(CBaseOLEDBClass& reporter, IUnknown* object, REFIID iid,
                         unsigned int messageId, REFIID objectIid, const LoggingSourcePos& position,
                         const CBasicStringView<wchar_t>& detail) {
    Interface* result = nullptr;
    const HRESULT hr =
        object ? object->QueryInterface(iid, reinterpret_cast<void**>(&result)) : E_NOINTERFACE;
    if (reporter.CheckError(hr, messageId, object, objectIid, position, detail) || FAILED(hr) ||
        result == nullptr) {
        if (result)
            result->Release();
        return nullptr;
    }
    return result;
}

// The error object of the current thread, put back where it was: judging a
// result for a retry reads (and so clears) it, and the report that may
// follow needs the same records.
class ErrorInfoKeeper {
public:
    ErrorInfoKeeper() {
        if (FAILED(GetErrorInfo(0, &m_pErrorInfo)))
            m_pErrorInfo = nullptr;
        Restore();
    }
    ErrorInfoKeeper(const ErrorInfoKeeper&) = delete;
    ErrorInfoKeeper& operator=(const ErrorInfoKeeper&) = delete;
    ~ErrorInfoKeeper() {
        if (m_pErrorInfo)
            m_pErrorInfo->Release();
    }
    void Restore() const { SetErrorInfo(0, m_pErrorInfo); }

private:
    IErrorInfo* m_pErrorInfo = nullptr;
};

// What the watcher of one long-running execution works with; the block is
// the watcher's and freed by it.
struct WatcherArguments {
    std::atomic<bool>* done;
    const CCommandClass* command;
    std::atomic<HRESULT>* result;
};

// Asks the caller's callback until it says cancel or the statement is done;
// then cancels the running command and records what became of it.
void WatchLongRunningQuery(WatcherArguments* arguments) {
    std::unique_ptr<WatcherArguments> owned(arguments);
    if (owned->done->load())
        return;
    // The cancel object is copied at every turn: the callback may replace or
    // drop the command's own pointer, and the object it runs in must live
    // until it has answered.
    std::shared_ptr<CCommandClass::CancelLongRunningQuery> cancel;
    for (;;) {
        cancel = owned->command->GetPtrCancelLongRunningQuery();
        if (cancel && cancel->HasCallback()) {
            if (cancel->AskToCancel())
                break;
        } else {
            // Nobody to ask: wait for the end of the statement without
            // starving the thread that runs it.
#ifndef _WIN32
            std::this_thread::yield();
#else
            SwitchToThread();
#endif
        }
        if (owned->done->load())
            return;
    }
    // The command object stays alive until this thread was joined.
    ICommandText* command = *owned->command;
    if (command == nullptr)
        return;
    const HRESULT hr = command->Cancel();
    if (FAILED(hr)) {
        cancel->SetOutcome(CCommandClass::CancelLongRunningQuery::eCancelFailed, hr);
    } else {
        cancel->SetOutcome(CCommandClass::CancelLongRunningQuery::eCanceled, S_OK);
        owned->result->store(DB_E_CANCELED);
    }
}

#ifdef _WIN32
unsigned __stdcall WatcherEntry(void* arguments) {
    WatchLongRunningQuery(static_cast<WatcherArguments*>(arguments));
    return 0;
}
#endif

// A joinable watcher thread: started by the constructor, joined by Join.
class WatcherThread {
public:
    explicit WatcherThread(WatcherArguments* arguments) {
#ifdef _WIN32
        m_handle = reinterpret_cast<HANDLE>(
            _beginthreadex(nullptr, 0, &WatcherEntry, arguments, 0, nullptr));
        if (m_handle == nullptr) {
            delete arguments;
            throw std::system_error(
                std::make_error_code(std::errc::resource_unavailable_try_again));
        }
#else
        try {
            m_thread = std::thread(&WatchLongRunningQuery, arguments);
        } catch (const std::system_error&) {
            delete arguments;
            throw std::system_error(
                std::make_error_code(std::errc::resource_unavailable_try_again));
        }
#endif
    }
    WatcherThread(const WatcherThread&) = delete;
    WatcherThread& operator=(const WatcherThread&) = delete;
    ~WatcherThread() {
        // Only reached without Join when something threw in between: the
        // thread must not outlive the execution it watches.
        try {
            Join();
        } catch (...) {
        }
    }

    void Join() {
#ifdef _WIN32
        if (m_handle == nullptr)
            throw std::system_error(std::make_error_code(std::errc::invalid_argument));
        const DWORD waited = WaitForSingleObject(m_handle, INFINITE);
        CloseHandle(m_handle);
        m_handle = nullptr;
        if (waited != WAIT_OBJECT_0)
            throw std::system_error(std::make_error_code(std::errc::no_such_process));
#else
        // std::thread::join throws the system errors of a thread that is
        // not joinable, is the caller itself or cannot be joined.
        if (m_thread.joinable())
            m_thread.join();
#endif
    }

private:
#ifdef _WIN32
    HANDLE m_handle = nullptr;
#else
    std::thread m_thread;
#endif
};

// Each character of `text` as the wide character of the same value: wide
// text as it is, 8-bit text byte by byte.
template <class Char>
void AppendWidened(CBasicString<wchar_t>& out, std::basic_string_view<Char> text) {
    if constexpr (std::is_same_v<Char, wchar_t>) {
        out.append(text.data(), text.size());
    } else {
        for (const Char c : text)
            out.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    }
}

// Literals joined with " + ", each apostrophe as CHAR(39).
template <class Char>
CBasicString<wchar_t> PlusJoinedLiteral(std::basic_string_view<Char> text, const wchar_t* opener) {
    CBasicString<wchar_t> result;
    const std::wstring_view open(opener);
    size_t apostrophe = text.find(static_cast<Char>('\''));
    if (apostrophe == std::basic_string_view<Char>::npos) {
        result.reserve(open.size() + text.size() + 1);
        result += open;
        AppendWidened(result, text);
        result += L'\'';
        return result;
    }
    result.reserve(text.size() * 14 + 8);
    while (apostrophe != std::basic_string_view<Char>::npos) {
        if (!result.empty())
            result += L" + ";
        if (apostrophe > 0) {
            result += open;
            AppendWidened(result, text.substr(0, apostrophe));
            result += L"' + ";
        }
        result += L"CHAR(39)";
        text.remove_prefix(apostrophe + 1);
        if (text.empty())
            break;
        apostrophe = text.find(static_cast<Char>('\''));
    }
    if (!text.empty()) {
        // The tail never gets the national opener.
        result += L" + '";
        AppendWidened(result, text);
        result += L'\'';
    }
    return result;
}

// Nested two-argument CONCAT calls, each apostrophe as CHR(39).
template <class Char> CBasicString<wchar_t> ConcatLiteral(std::basic_string_view<Char> text) {
    CBasicString<wchar_t> result;
    size_t apostrophe = text.find(static_cast<Char>('\''));
    if (apostrophe == std::basic_string_view<Char>::npos) {
        result.reserve(text.size() + 2);
        result += L'\'';
        AppendWidened(result, text);
        result += L'\'';
        return result;
    }
    result.reserve(text.size() * 24 + 8);
    size_t open = 0;
    while (apostrophe != std::basic_string_view<Char>::npos) {
        if (open > 0)
            result += L',';
        result += L"CONCAT(";
        ++open;
        if (apostrophe > 0) {
            result += L"CONCAT('";
            ++open;
            AppendWidened(result, text.substr(0, apostrophe));
            result += L"',";
        }
        result += L"CHR(39)";
        if (apostrophe > 0) {
            result += L')';
            --open;
        }
        text.remove_prefix(apostrophe + 1);
        if (text.empty())
            break;
        apostrophe = text.find(static_cast<Char>('\''));
    }
    // Also after a trailing apostrophe: CONCAT takes two arguments.
    result += L",'";
    AppendWidened(result, text);
    result += L'\'';
    result.append(open, L')');
    return result;
}

} // namespace

// ---------------------------------------------------------------- cancel object

CCommandClass::CancelLongRunningQuery::CancelLongRunningQuery(Callback callback)
    : m_pCallback(std::make_unique<Callback>(std::move(callback))) {}

bool CCommandClass::CancelLongRunningQuery::AskToCancel() {
    if (!m_pCallback)
        return false;
    return (*m_pCallback)(*this);
}

// ---------------------------------------------------------------- construction

CCommandClass::CCommandClass(const std::shared_ptr<CDataSource>& dataSource,
                             const boost::shared_ptr<CommandLiveChecker>& checker, int& reconnected)
    : CBaseOLEDBClass(*dataSource, dataSource->GetUIEnabled()), m_spDataSource(dataSource),
      m_spLiveChecker(checker) {
    reconnected = 0;
    try {
        if (m_spDataSource->IsConnected()) {
            // Nothing handed in: a session from the pool.
            if (!m_spLiveChecker)
                m_spLiveChecker = m_spDataSource->GetCurrentDatabaseSessionCommand();
        } else {
            const LoggingSourcePos position =
                HDB_SOURCE_POS(L"__cdecl CCommandClass::CCommandClass(const class "
                               L"std::shared_ptr<class CDataSource> &,const class "
                               L"boost::shared_ptr<class CommandLiveChecker> &,int &)");
            OutputError(MsgError, HdbLiteralView(NotConnectedText), position);
            m_spDataSource->Connect();
            if (m_spDataSource->IsConnected()) {
                reconnected = 1;
                OutputSuccess(MsgSuccess, HdbLiteralView(ReconnectedText), position);
            } else {
                reconnected = -1;
            }
            // The checker handed in belonged to the lost connection's pool.
            if (m_spLiveChecker)
                m_spLiveChecker->SetInUse(false);
            m_spLiveChecker = m_spDataSource->GetCurrentDatabaseSessionCommand();
        }
        SetupQueryOptimizer(m_spDataSource);
    } catch (...) {
        // No destructor runs for a command whose construction failed (a
        // severe error, a throwing callback): the session goes back to the
        // pool here, or it would stay marked in use for good.
        if (m_spLiveChecker)
            m_spLiveChecker->SetInUse(false);
        throw;
    }
    // Counted only now: re-connecting releases the data source first, and
    // that waits for the running executions, this one included; and a
    // construction that threw must not leave the count raised.
    m_spDataSource->AddRunningExecution();
}

CCommandClass::CCommandClass(const CTransactionClass& transaction)
    : CBaseOLEDBClass(transaction, transaction.GetUIEnabled()) {
    transaction.EnsureConnected();
    ITransactionLocal* session = transaction;
    IDBCreateCommand* createCommand = QueryReported<IDBCreateCommand>(
        *this, session, IID_IDBCreateCommand, MsgCantQueryProperties, IID_ITransactionLocal,
        HDB_SOURCE_POS(L"__cdecl CCommandClass::CCommandClass(const class "
                       L"CTransactionClass &)"),
        CBasicStringView<wchar_t>());
    if (createCommand != nullptr) {
        m_spLiveChecker = boost::make_shared<CommandLiveChecker>(createCommand);
        // The checker took a reference of its own.
        createCommand->Release();
    }
    if (transaction.GetDataSource())
        SetupQueryOptimizer(transaction.GetDataSource());
}

CCommandClass::CCommandClass(const CCommandClass& other,
                             const boost::shared_ptr<CommandLiveChecker>& checker)
    : CBaseOLEDBClass(other, other.GetUIEnabled()), std::enable_shared_from_this<CCommandClass>(),
      m_spDataSource(other.m_spDataSource), m_spLiveChecker(checker), m_bOptimized(false) {}

CCommandClass::~CCommandClass() {
    // Also for the private copy, which never raised the count.
    if (m_spDataSource)
        m_spDataSource->RemoveRunningExecution();
    try {
        CCommandClass::Release();
    } catch (...) {
        // A destructor must not throw; the report has been delivered already.
    }
    if (m_spLiveChecker)
        m_spLiveChecker->SetInUse(false);
    try {
        CBaseOLEDBClass::Release();
    } catch (...) {
    }
    m_pQueryOptimizer.reset();
}

bool CCommandClass::Release() {
    m_pRowSet.reset();
    ReleaseCommandInterface();
    return true;
}

std::shared_ptr<CCommandClass> CCommandClass::getCommandPtr() {
    return weak_from_this().lock();
}

void CCommandClass::ReleaseCommandInterface() {
    CSingleLock lock(&m_csCommand, TRUE);
    if (m_pICommandText) {
        m_pICommandText->Release();
        m_pICommandText = nullptr;
    }
}

void CCommandClass::SetupQueryOptimizer(const std::shared_ptr<CDataSource>& dataSource) {
    // Only the plain SQL Server type: the hints were made for it, and the
    // other SQL Server types are left without them on purpose.
    if (dataSource && dataSource->GetSQLDatabaseType() == eSQLServer)
        m_pQueryOptimizer = std::make_unique<CSQLServerQueryOptimizer>(this);
}

// ---------------------------------------------------------------- settings

void CCommandClass::SetStreamSize(ULONG size) {
    if (size > m_nStreamSize)
        m_nStreamSize = size;
}

void CCommandClass::SetStreamSize(const CFile& file) {
    SetStreamSize(static_cast<ULONG>(file.GetLength() + 1));
}

bool CCommandClass::SetStreamSize(const CBasicStringView<wchar_t>& path) {
    const CBasicString<wchar_t> name(path);
    try {
        CFile file(name.c_str(), CFile::modeRead | CFile::shareDenyWrite);
        SetStreamSize(file);
    } catch (CFileException* error) {
        error->Delete();
        return false;
    }
    return true;
}

// ---------------------------------------------------------------- optimizer

CBasicString<wchar_t> CCommandClass::GetOptimizeCommandBeforeFieldStatement() const {
    if (!m_bOptimized || !m_pQueryOptimizer)
        return {};
    return m_pQueryOptimizer->GetBeforeFieldStatement();
}

CBasicString<wchar_t> CCommandClass::GetOptimizeCommandAfterFieldStatement() const {
    if (!m_bOptimized || !m_pQueryOptimizer)
        return {};
    return m_pQueryOptimizer->GetAfterFieldStatement();
}

CBasicString<wchar_t> CCommandClass::GetOptimizeCommandAfterSelectStatement() const {
    if (!m_bOptimized || !m_pQueryOptimizer)
        return {};
    return m_pQueryOptimizer->GetAfterSelectStatement();
}

// ---------------------------------------------------------------- executing

bool CCommandClass::InitCommandText(enumCommandClass kind) {
    if (!Release() || !m_spLiveChecker || m_spLiveChecker->GetCreateCommand() == nullptr)
        return false;
    CSingleLock lock(&m_csCommand, TRUE);
    HRESULT hr = m_spLiveChecker->GetCreateCommand()->CreateCommand(
        nullptr, IID_ICommandText, reinterpret_cast<IUnknown**>(&m_pICommandText));
    if (CheckError(hr, MsgCantCreateCommand, m_spLiveChecker->GetCreateCommand(),
                   IID_IDBCreateCommand,
                   HDB_SOURCE_POS(L"bool __cdecl CCommandClass::InitCommandText(enum "
                                  L"CCommandClass::enumCommandClass)"),
                   CBasicStringView<wchar_t>()) ||
        FAILED(hr) || m_pICommandText == nullptr) {
        if (m_pICommandText) {
            m_pICommandText->Release();
            m_pICommandText = nullptr;
        }
        return false;
    }
    if (kind != eExecute)
        InitProperties(m_pICommandText, kind);
    hr = m_pICommandText->SetCommandText(*m_pCommandDialect, m_strCommand.c_str());
    if (CheckError(hr, MsgCantSetCommandText, m_pICommandText, IID_ICommandText,
                   HDB_SOURCE_POS(L"bool __cdecl CCommandClass::InitCommandText(enum "
                                  L"CCommandClass::enumCommandClass)"),
                   m_strCommand)) {
        m_pICommandText->Release();
        m_pICommandText = nullptr;
        return false;
    }
    return true;
}

void CCommandClass::InitProperties(ICommand* command, enumCommandClass kind) {
    if (command == nullptr)
        return;
    ICommandProperties* properties = QueryReported<ICommandProperties>(
        *this, command, IID_ICommandProperties, MsgCantQueryProperties, IID_ICommand,
        HDB_SOURCE_POS(L"void __cdecl CCommandClass::InitProperties(struct ICommand "
                       L"*,enum CCommandClass::enumCommandClass)"),
        CBasicStringView<wchar_t>());
    if (properties == nullptr)
        return;

    ULONG setCount = 0;
    DBPROPSET* sets = nullptr;
    struct Cleanup {
        ICommandProperties* properties;
        ULONG& setCount;
        DBPROPSET*& sets;
        ~Cleanup() {
            if (sets)
                FreeProperties(setCount, sets);
            properties->Release();
        }
    } cleanup{properties, setCount, sets};

    const DBID column{};
    const VARIANT_BOOL on = VARIANT_TRUE;
    // The MySQL provider refuses these; it serves plain forward rowsets.
    const bool mySql = m_eSQLDatabaseType == eMySQL;
    if (!mySql)
        SetProperty(DBPROP_IRowsetLocate, DBPROPSET_ROWSET, &setCount, &sets, VT_BOOL, &on,
                    DBPROPOPTIONS_REQUIRED, column);
    if (kind == eChange)
        SetProperty(DBPROP_IRowsetChange, DBPROPSET_ROWSET, &setCount, &sets, VT_BOOL, &on,
                    DBPROPOPTIONS_REQUIRED, column);
    if (!mySql) {
        SetProperty(DBPROP_UPDATABILITY, DBPROPSET_ROWSET, &setCount, &sets, VT_I4,
                    FullUpdatability, DBPROPOPTIONS_REQUIRED, column);
        SetProperty(DBPROP_ISequentialStream, DBPROPSET_ROWSET, &setCount, &sets, VT_BOOL, &on,
                    DBPROPOPTIONS_REQUIRED, column);
    }
    if (setCount == 0)
        return;
    const HRESULT set = properties->SetProperties(setCount, sets);
    // A partial success is reported too: the rowset may lack what the
    // caller relies on. The execution goes on and will tell.
    if (set != S_OK)
        DumpErrorHResult(set, L"Error setting commandproperties", nullptr);
}

bool CCommandClass::Execute(const CBasicStringView<wchar_t>& sql, LONGLONG* rowsAffected) {
    if (sql.empty())
        return false;
    m_strCommand = sql;
    IRowset* rowset = nullptr;
    const bool executed = Execute(&rowset, eExecute, rowsAffected);
    if (rowset)
        rowset->Release();
    return executed;
}

bool CCommandClass::Execute(IRowset** rowset, enumCommandClass kind, LONGLONG* rowsAffected) {
    if (!InitCommandText(kind)) {
        if (rowsAffected)
            *rowsAffected = 0;
        return false;
    }
    ICommandPrepare* prepare = nullptr;
    if (m_nNumberOfCalls != -1 && m_pICommandText != nullptr) {
        prepare = QueryReported<ICommandPrepare>(
            *this, m_pICommandText, IID_ICommandPrepare, MsgCantFindPrepare, IID_ICommandText,
            HDB_SOURCE_POS(L"bool __cdecl CCommandClass::Execute(struct IRowset **,enum "
                           L"CCommandClass::enumCommandClass,__int64 *)"),
            CBasicStringView<wchar_t>());
        // A failed prepare shows in the execution that follows.
        if (prepare)
            prepare->Prepare(static_cast<ULONG>(m_nNumberOfCalls));
    }
    return DoExecute(rowset, prepare, rowsAffected, nullptr);
}

bool CCommandClass::DoExecute(IRowset** rowset, ICommandPrepare* prepare, LONGLONG* rowsAffected,
                              DBPARAMS* params) {
    if (m_pICommandText == nullptr) {
        if (prepare)
            prepare->Release();
        if (rowsAffected)
            *rowsAffected = 0;
        return false;
    }
    // Whatever happens, also when a severe error throws out of the report:
    // the next execution starts from a fresh command object.
    struct AfterExecution {
        CCommandClass& command;
        ICommandPrepare* prepare;
        ~AfterExecution() {
            command.ReleaseCommandInterface();
            if (prepare)
                prepare->Release();
        }
    } afterExecution{*this, prepare};

    DBROWCOUNT affected = 0;
    bool executed = false;
    for (int tries = 1;; ++tries) {
        HRESULT hr;
        if (!m_spCancelLongRunningQuery)
            hr = m_pICommandText->Execute(nullptr, *m_pRowsetInterfaceId, params, &affected,
                                          reinterpret_cast<IUnknown**>(rowset));
        else
            hr = ExecuteLongRunningQuery(rowset, affected);
        // Cancelled on request: the caller knows, nothing to retry or report.
        if (hr == DB_E_CANCELED)
            break;
        if (tries < MaxExecuteTries && IsErrorResult(hr)) {
            const ErrorInfoKeeper errorInfo;
            if (CheckNeedRetry(hr, m_pICommandText, IID_ICommandText))
                continue;
            errorInfo.Restore();
        }
        executed = !CheckError(hr, MsgCantExecute, m_pICommandText, IID_ICommandText,
                               HDB_SOURCE_POS(L"bool __cdecl CCommandClass::DoExecute(struct "
                                              L"IRowset **,struct ICommandPrepare *,__int64 "
                                              L"*,struct tagDBPARAMS *)"),
                               m_strCommand);
        break;
    }
    // A statement that finished just as the watcher cancelled it may have
    // delivered a rowset that nobody will read.
    if (!executed && rowset != nullptr && *rowset != nullptr) {
        (*rowset)->Release();
        *rowset = nullptr;
    }
    if (rowsAffected)
        *rowsAffected = executed ? affected : 0;
    return executed;
}

HRESULT CCommandClass::ExecuteLongRunningQuery(IRowset** rowset, DBROWCOUNT& rowsAffected) const {
    if (m_pICommandText == nullptr || !m_spCancelLongRunningQuery)
        return S_OK;
    std::atomic<bool> done{false};
    std::atomic<HRESULT> result{S_OK};
    WatcherThread watcher(new WatcherArguments{&done, this, &result});
    {
        // Ends the watcher's questions also should Execute throw.
        struct Done {
            std::atomic<bool>& done;
            ~Done() { done.store(true); }
        } finished{done};
        result.store(m_pICommandText->Execute(nullptr, *m_pRowsetInterfaceId, nullptr,
                                              &rowsAffected, reinterpret_cast<IUnknown**>(rowset)));
    }
    watcher.Join();
    return result.load();
}

// ---------------------------------------------------------------- rowsets

bool CCommandClass::SelectExecute(const CBasicStringView<wchar_t>& sql) {
    if (sql.empty())
        return false;
    m_strCommand = sql;
    return SelectExecute();
}

bool CCommandClass::SelectExecute(CBasicString<wchar_t>&& sql) {
    if (sql.empty())
        return false;
    m_strCommand = std::move(sql);
    return SelectExecute();
}

bool CCommandClass::SelectExecute() {
    return ExecuteIntoRowSet(eSelect, true);
}

bool CCommandClass::SelectExecuteNoStreams(const CBasicStringView<wchar_t>& sql) {
    if (sql.empty())
        return false;
    m_strCommand = sql;
    return SelectExecuteNoStreams();
}

bool CCommandClass::SelectExecuteNoStreams() {
    return ExecuteIntoRowSet(eSelect, false);
}

bool CCommandClass::ExecuteIntoRowSet(enumCommandClass kind, bool streams) {
    IRowset* rowset = nullptr;
    if (!Execute(&rowset, kind, nullptr))
        return false;
    Release();
    if (rowset == nullptr)
        return false;
    m_pRowSet = std::make_unique<CRowSet>(rowset, *this);
    return SetupRowSet(streams);
}

bool CCommandClass::CreateRowSet(IRowset* rowset, bool streams) {
    Release();
    if (rowset == nullptr)
        return false;
    m_pRowSet = std::make_unique<CRowSet>(rowset, *this);
    return SetupRowSet(streams);
}

bool CCommandClass::SetupRowSet(bool streams) {
    m_pRowSet->SetLongColumnsAsStreams(streams);
    m_pRowSet->SetUIEnabled(m_bUIEnabled);
    m_pRowSet->SetCallBackForErrorMessages(m_pErrorCallback, m_pErrorUserObject);
    m_pRowSet->SetCallBackForSuccessMessages(m_pSuccessCallback, m_pSuccessUserObject);
    // The rowset itself stops at the limit and never fetches beyond it.
    if (m_nMaxRowCount < NoRowLimit)
        m_pRowSet->SetMaxRowCount(m_nMaxRowCount);
    if (m_pRowSet->BuildRowSet(true, m_nStreamSize))
        return true;
    // A rowset that cannot be read would answer no rows, which a caller
    // cannot tell from an empty result: the execution fails instead, with a
    // report of its own (the build reports only some of its failures).
    m_pRowSet.reset();
    DumpError(0, MsgCantOpenRowset, CBasicStringView<wchar_t>(), CBasicStringView<wchar_t>(),
              CBasicStringView<wchar_t>(),
              HDB_SOURCE_POS(L"bool __cdecl CCommandClass::SetupRowSet(bool)"), m_strCommand);
    return false;
}

// ---------------------------------------------------------------- literals

template <int N, class View>
CBasicString<wchar_t> CCommandClass::MakeSQLCompliant(const View& text) const {
    using Char = typename View::value_type;
    const std::basic_string_view<Char> piece(text.data(), text.size());
    switch (m_eSQLDatabaseType) {
    case eSQLServer:
    case eSQLServerNativeClient:
    case eSQLServerNativeClient10:
    case eSQLServerNativeClient11:
    case eSQLServerOLEDBDriver:
        return PlusJoinedLiteral(piece, N == 1 ? L"N'" : L"'");
    case eMySQL:
        return PlusJoinedLiteral(piece, L"'");
    case eGenericDatabase:
        return ConcatLiteral(piece);
    default:
        // No literal form is known for this dialect.
        return {};
    }
}

template HALDENDB_API CBasicString<wchar_t>
CCommandClass::MakeSQLCompliant<1, CBasicStringView<wchar_t>>(
    const CBasicStringView<wchar_t>&) const;
template HALDENDB_API CBasicString<wchar_t>
CCommandClass::MakeSQLCompliant<0, CBasicStringView<wchar_t>>(
    const CBasicStringView<wchar_t>&) const;
template HALDENDB_API CBasicString<wchar_t>
CCommandClass::MakeSQLCompliant<0, CBasicStringView<char8_t>>(
    const CBasicStringView<char8_t>&) const;
