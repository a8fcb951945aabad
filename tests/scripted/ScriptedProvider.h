// A scripted OLE DB provider for tests: the provider core's objects over a
// backend whose answers the test chooses, for faults a real database cannot
// produce on demand (a deadlock victim, a severe error, a cancel that fails,
// a commit answering an unusual success code, a reference count left over).
//
// A ScriptedProvider registers its class object in the process for its own
// life under a class id (its own by default, or one of the library's
// provider class ids, so that the library's tests reach it exactly as they
// would reach that provider). Everything a data source, session, command or
// rowset made by it does is answered from the script and recorded for the
// test to read back. The script may be changed at any time, also while
// objects are in use; every method is thread-safe.
//
// What is not scripted behaves as a plain, empty database: connects succeed,
// statements succeed changing no rows and returning none, transactions
// start, commit and abort with S_OK.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "hdbplatform/OleDbApi.h"

namespace hdbscripted {

// The provider's own class id, {F4426602-3677-4478-BA8E-CCC8851AD416}.
inline constexpr CLSID CLSID_ScriptedProvider = {
    0xF4426602, 0x3677, 0x4478, {0xBA, 0x8E, 0xCC, 0xC8, 0x85, 0x1A, 0xD4, 0x16}};

// What kind of failure a fault is; the OLE DB result code of the failing call
// follows from it as it does for a real backend: syntax gives
// DB_E_ERRORSINCOMMAND, noTable DB_E_NOTABLE, constraint
// DB_E_INTEGRITYVIOLATION, canceled DB_E_CANCELED, readOnly
// DB_SEC_E_PERMISSIONDENIED, conversion DB_E_CANTCONVERTVALUE, timeout
// DB_E_ABORTLIMITREACHED, the others E_FAIL.
enum class FaultKind {
    general,
    cannotConnect,
    syntax,
    noTable,
    constraint,
    busy,
    canceled,
    readOnly,
    conversion,
    connectionLost,
    timeout,
    deadlock
};

// One error record as the database would leave it.
struct Fault {
    std::wstring message;
    std::wstring sqlState;
    LONG nativeError = 0;
    FaultKind kind = FaultKind::general;
};

// A deadlock victim: native error 1205, SQL state 40001.
Fault DeadlockVictim();
// An error after which the server cannot be trusted (native error 824 by
// default, a severity the library maps as severe).
Fault SevereError(LONG nativeError = 824);

// The value of one column of a scripted row: NULL, an integer, a real or text.
using Value = std::variant<std::monostate, LONGLONG, double, std::wstring>;

// A column of a scripted result. type is the DBTYPE it is described as
// (DBTYPE_I8, DBTYPE_I4, DBTYPE_R8, DBTYPE_WSTR ...); the values are
// converted to the consumer's bindings by the provider core. A long text
// column's values are left with the cursor and read in chunks, forward
// only (by row of the fetch, then by column, each value from its start),
// as a server's driver delivers them; reading out of that order fails.
struct Column {
    std::wstring name;
    DBTYPE type = DBTYPE_WSTR;
    DBLENGTH size = 0; // characters of a text column; 0 for the fixed-size types
    bool isLong = false;
};

// The property sets a consumer handed to IDBProperties::SetProperties of a
// data source, as received, with the status the provider answered.
struct ReceivedProperty {
    DBPROPID id = 0;
    DBPROPOPTIONS options = 0;
    DBPROPSTATUS status = DBPROPSTATUS_OK;
    bool nullColumn = true; // colid was DB_NULLID
    VARTYPE type = VT_EMPTY;
    std::wstring text; // VT_BSTR
    LONG number = 0;   // VT_I2, VT_I4 (and VT_BOOL as 0 or 1)
};
struct ReceivedSet {
    GUID set = GUID_NULL;
    std::vector<ReceivedProperty> properties;
    const ReceivedProperty* Find(DBPROPID id) const;
};
using PropertyCall = std::vector<ReceivedSet>;

// The object kinds whose references the provider can be told to hold.
enum class ObjectKind { dataSource, session, command, rowset };

namespace detail {
struct State;
struct Rule;
} // namespace detail

// What statements whose text contains a given piece answer. Rules are asked
// in the order they were made; the first whose piece occurs in the text
// answers (an empty piece matches every statement). A StatementRule is a
// handle: copies refer to the same rule.
class StatementRule {
public:
    // The first count executions fail with fault; later ones succeed.
    StatementRule& FailFirst(int count, const Fault& fault);
    // Every execution fails with fault.
    StatementRule& FailAlways(const Fault& fault);
    // Successful executions report this many changed rows.
    StatementRule& RowsAffected(DBROWCOUNT count);
    // Successful executions return these rows.
    StatementRule& Returns(std::vector<Column> columns, std::vector<std::vector<Value>> rows);
    // The fetch that would deliver a row past the first `rows` fails with
    // fault (and delivers nothing).
    StatementRule& FailFetchAfter(size_t rows, const Fault& fault);
    // Successful executions also leave this warning (a diagnostic of a
    // call that succeeded).
    StatementRule& Warns(const Fault& warning);
    // An execution blocks until a successful ICommand::Cancel (it then fails
    // with DB_E_CANCELED) or for at most `longest` (it then succeeds).
    StatementRule& Blocks(std::chrono::milliseconds longest);

    // Executions that reached this rule, failed ones included.
    int Executions() const;
    // Waits until an execution of this rule is blocked; false on time-out.
    bool WaitUntilBlocked(std::chrono::milliseconds timeout) const;

private:
    friend class ScriptedProvider;
    StatementRule(std::shared_ptr<detail::State> state, std::shared_ptr<detail::Rule> rule)
        : m_state(std::move(state)), m_rule(std::move(rule)) {}
    std::shared_ptr<detail::State> m_state;
    std::shared_ptr<detail::Rule> m_rule;
};

class ScriptedProvider {
public:
    // Registers the provider's class object under classId (CoRegisterClassObject).
    explicit ScriptedProvider(const CLSID& classId = CLSID_ScriptedProvider);
    // Revokes the registration and drops every reference the script held.
    ~ScriptedProvider();
    ScriptedProvider(const ScriptedProvider&) = delete;
    ScriptedProvider& operator=(const ScriptedProvider&) = delete;

    bool Registered() const { return m_registered; }
    const CLSID& ClassId() const { return m_classId; }
    // A new, uninitialised data source of this provider.
    HRESULT NewDataSource(REFIID riid, void** object) const;

    // ---- connecting
    // IDBInitialize::Initialize fails with fault (nothing: it succeeds again).
    void FailConnect(std::optional<Fault> fault);
    // Initialize calls, failed ones included.
    int Connects() const;
    // hook runs at the start of every Initialize, before the connect is
    // tried, on the connecting thread (so a test can hold a connect midway);
    // an empty function removes it.
    void BeforeConnect(std::function<void()> hook);
    // SetProperties refuses every property of the set (status
    // DBPROPSTATUS_NOTSUPPORTED); the refusal is recorded as received.
    void RefuseProperties(const GUID& set);
    // Every SetProperties call received by a data source of this provider,
    // oldest first. Properties of sets the provider core does not know
    // (a server's own initialisation set, say) are accepted and recorded.
    std::vector<PropertyCall> PropertyCalls() const;
    // The value a property was last set to, over all calls and data sources.
    std::optional<ReceivedProperty> LastSet(const GUID& set, DBPROPID id) const;
    // IDBProperties::GetProperties of a data source answers this number for
    // the property (nothing: VT_EMPTY) in place of the provider core's value,
    // for values a consumer must cope with that the core never holds. The
    // number goes out as `type`, which must be one that holds no reference
    // (VT_BOOL for a wrongly typed answer, say).
    void AnswerProperty(const GUID& set, DBPROPID id, std::optional<LONG> value,
                        VARTYPE type = VT_I4);

    // ---- statements
    StatementRule OnStatement(const std::wstring& piece);
    // Statement texts in the order they were executed.
    std::vector<std::wstring> Executed() const;
    // The time-out (seconds) and row limit the last execution was given.
    std::pair<LONG, DBCOUNTITEM> LastStatementOptions() const;

    // ---- cancel
    // ICommand::Cancel answers result (and leaves an error record) instead
    // of cancelling; S_OK restores cancelling.
    void CancelAnswers(HRESULT result);
    int Cancels() const;

    // ---- transactions
    // StartTransaction, Commit and Abort answer result: a success code other
    // than S_OK is answered after the operation was done; a failure code is
    // answered (with a record of fault) without doing it. S_OK restores the
    // plain behaviour.
    void StartAnswers(HRESULT result, const Fault& fault = {});
    void CommitAnswers(HRESULT result, const Fault& fault = {});
    void AbortAnswers(HRESULT result, const Fault& fault = {});
    int Starts() const;
    int Commits() const;
    int Aborts() const;
    ISOLEVEL LastIsolation() const;

    // ---- references
    // Every object of the kind made from now on gets `extra` references that
    // the provider holds, so that its consumer's last Release answers extra.
    void HoldReferences(ObjectKind kind, ULONG extra);
    // Drops the references held so far; answers how many there were.
    size_t DropHeldReferences();
    // Data sources, sessions or commands of this provider not yet destroyed
    // (rowsets are the provider core's own and are not counted: always 0).
    // A consumer that let go of everything leaves 0 of each.
    int Alive(ObjectKind kind) const;

private:
    std::shared_ptr<detail::State> m_state;
    CLSID m_classId;
    DWORD m_cookie = 0;
    bool m_registered = false;
};

} // namespace hdbscripted
