// CCommandClass: the path of every SQL text to the database.
//
// A command borrows one pooled session (CommandLiveChecker) for its life and
// creates a fresh OLE DB command object from it for every execution: text
// and rowset properties are set, the statement runs, and the command object
// is released right after. A statement chosen as a deadlock victim is tried
// again, up to four tries in all; a statement cancelled on request
// (DB_E_CANCELED) ends quietly, without a retry or a report. A select hands
// back a CRowSet that the command owns until its next execution or Release.
//
// Commands live behind std::shared_ptr. The constructor that takes a data
// source re-connects it when it is not connected, so a command made after a
// lost connection works without the caller's help.
//
// A caller expecting a long statement attaches a CancelLongRunningQuery:
// executions then run beside a watcher thread that asks the caller's
// callback whether to give up and, when it answers yes, cancels the running
// statement. The watcher is joined before the execution returns.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/CommandLiveChecker.h"
#include "haldendb/DataSource.h"
#include "haldendb/QueryOptimizer.h"
#include "haldendb/RowSet.h"

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

class CTransactionClass;

class HALDENDB_API CCommandClass : public CBaseOLEDBClass,
                                   public std::enable_shared_from_this<CCommandClass> {
public:
    // The kind of an execution; it decides the rowset properties asked for.
    enum enumCommandClass : std::uint8_t {
        eSelect = 0,  // a readable rowset
        eChange = 1,  // a rowset that can write rows back
        eExecute = 2, // no rowset expected: no properties at all
    };

    // Shared between the caller and the command: the caller's word on whether
    // a running statement is to be cancelled, and what became of the last
    // cancel attempted.
    class HALDENDB_API CancelLongRunningQuery {
    public:
        // Asked on the watcher thread, over and over while the statement
        // runs; true cancels it. The callback sets the pace: it is expected
        // to wait for its own polling interval before it answers.
        using Callback = std::function<bool(CancelLongRunningQuery&)>;

        enum enumOutcome : std::uint8_t {
            eNotAttempted = 0,
            eCanceled = 1,     // ICommand::Cancel succeeded
            eCancelFailed = 2, // ICommand::Cancel failed; see GetCancelResult
        };

        // Without a callback: the watcher never cancels.
        CancelLongRunningQuery() = default;
        explicit CancelLongRunningQuery(Callback callback);
        CancelLongRunningQuery(const CancelLongRunningQuery&) = delete;
        CancelLongRunningQuery& operator=(const CancelLongRunningQuery&) = delete;

        bool HasCallback() const noexcept { return m_pCallback != nullptr; }
        // The callback's answer; false without one. An empty std::function
        // given to the constructor is a programming error and terminates the
        // process when it is called.
        bool AskToCancel();

        // Kept over executions: nothing resets it. Written by the watcher
        // thread; safe to read from any thread at any time, but the outcome
        // and the cancel result agree with each other only once the
        // execution has returned.
        std::uint8_t GetOutcome() const noexcept { return m_nOutcome.load(); }
        HRESULT GetCancelResult() const noexcept { return m_hrCancelResult.load(); }
        void SetOutcome(std::uint8_t outcome, HRESULT cancelResult) noexcept {
            m_hrCancelResult.store(cancelResult);
            m_nOutcome.store(outcome);
        }

    private:
        std::atomic<std::uint8_t> m_nOutcome{eNotAttempted};
        std::atomic<HRESULT> m_hrCancelResult{S_OK};
        std::unique_ptr<Callback> m_pCallback;
    };

    // Rows asked for per fetch; also the default of the optimizer's FAST hint.
    static constexpr ULONGLONG DefaultFetchRowCount = 20;
    static constexpr ULONGLONG NoRowLimit = std::numeric_limits<ULONGLONG>::max();
    static constexpr ULONG DefaultStreamSize = 65000;
    // Tries of one execution while the failure is a deadlock.
    static constexpr int MaxExecuteTries = 4;

    // A command on `dataSource` through `checker`. Raises the data source's
    // running-execution count. When the data source is not connected,
    // reports so, connects it and reports the success: `reconnected` is then
    // 1 (connected) or -1 (still not connected), else 0; the checker is then
    // replaced by a fresh one from the data source. An empty checker is
    // replaced by one from the data source's pool. When the constructor
    // throws (a severe error, a throwing callback), the checker it held is
    // marked free again. Commands on an eSQLServer database get optimizer
    // hints.
    CCommandClass(const std::shared_ptr<CDataSource>& dataSource,
                  const boost::shared_ptr<CommandLiveChecker>& checker, int& reconnected);
    // A command in the transaction's session (connecting its data source
    // first when needed). Reports 15513 and stays without a session when the
    // session offers no command factory.
    explicit CCommandClass(const CTransactionClass& transaction);
    CCommandClass(const CCommandClass&) = delete;
    CCommandClass& operator=(const CCommandClass&) = delete;
    // Lowers the data source's running-execution count, frees rowset and
    // command object and gives the session back to the pool.
    ~CCommandClass() override;

    // Drops the rowset and the command object; always true.
    bool Release() override;
    // A further owner of this command; empty when no shared_ptr owns it.
    virtual std::shared_ptr<CCommandClass> getCommandPtr();

    // ---------------------------------------------------------- text

    void SetCommand(const CBasicStringView<wchar_t>& text) { m_strCommand = text; }
    void SetCommand(CBasicString<wchar_t>&& text) { m_strCommand = std::move(text); }
    const CBasicString<wchar_t>& GetCommand() const { return m_strCommand; }

    // ---------------------------------------------------------- executing

    // Runs a statement that returns no rows (a rowset it returns anyway is
    // dropped). False at once for empty text, which leaves the stored text
    // alone. `rowsAffected`, if given, receives the changed rows (0 on
    // failure).
    bool Execute(const CBasicStringView<wchar_t>& sql, LONGLONG* rowsAffected);
    // Runs the stored text as `kind`; the rowset, if any, goes to *rowset.
    bool Execute(IRowset** rowset, enumCommandClass kind, LONGLONG* rowsAffected);

    // Run a query and build its rowset (GetRowSet), long columns as streams.
    // The text forms are false at once for empty text.
    bool SelectExecute(const CBasicStringView<wchar_t>& sql);
    bool SelectExecute(CBasicString<wchar_t>&& sql);
    // A literal would fit both forms above.
    bool SelectExecute(const wchar_t* sql) { return SelectExecute(CBasicStringView<wchar_t>(sql)); }
    bool SelectExecute();
    // The same with long columns copied into the row.
    bool SelectExecuteNoStreams(const CBasicStringView<wchar_t>& sql);
    bool SelectExecuteNoStreams();

    // Wraps a rowset obtained elsewhere, as a select would; `streams` as for
    // SelectExecute. The reference passes to the new rowset; a null rowset,
    // or one that cannot be built (reported), answers false. The previous
    // rowset is dropped either way.
    bool CreateRowSet(IRowset* rowset, bool streams);

    // ---------------------------------------------------------- settings

    // The stream size only grows: a smaller value than the present one is
    // ignored, so whoever needs the most buffer wins.
    void SetStreamSize(ULONG size);
    // At least the file's length + 1 (cut to 32 bits).
    void SetStreamSize(const CFile& file);
    // The same for the file at `path`; false when it cannot be opened.
    bool SetStreamSize(const CBasicStringView<wchar_t>& path);
    ULONG GetStreamSize() const { return m_nStreamSize; }

    // The most rows the rowset of a select delivers; NoRowLimit (the
    // default) sets none, 0 delivers none. Read when the rowset is made.
    ULONGLONG GetMaxRowCount() const { return m_nMaxRowCount; }
    void SetMaxRowCount(ULONGLONG count) { m_nMaxRowCount = count; }
    static ULONGLONG GetFetchRowCount() { return DefaultFetchRowCount; }
    // -1: not prepared; otherwise the expected executions, handed to
    // ICommandPrepare::Prepare before each execution.
    LONG GetNumberOfCalls() const { return m_nNumberOfCalls; }
    void SetNumberOfCalls(LONG count) { m_nNumberOfCalls = count; }
    void SetOptimized(bool optimized) { m_bOptimized = optimized; }
    bool HasToBeOptimized() const { return m_bOptimized; }
    bool HasQueryOptimizer() const { return m_pQueryOptimizer != nullptr; }

    // The rowset of the last select; owned by the command.
    CRowSet* GetRowSet() const { return m_pRowSet.get(); }
    const std::shared_ptr<CDataSource>& GetDataSource() const { return m_spDataSource; }
    const boost::shared_ptr<CommandLiveChecker>& GetLiveChecker() const { return m_spLiveChecker; }
    // The live command object: only between creation and the end of an
    // execution; null otherwise.
    operator ICommandText*() const { return m_pICommandText; }

    // ---------------------------------------------------------- optimizer

    // The optimizer's hints; empty unless the command is optimized and has
    // an optimizer.
    CBasicString<wchar_t> GetOptimizeCommandBeforeFieldStatement() const;
    CBasicString<wchar_t> GetOptimizeCommandAfterFieldStatement() const;
    CBasicString<wchar_t> GetOptimizeCommandAfterSelectStatement() const;

    // ---------------------------------------------------------- cancelling

    // The pointer belongs to the thread that executes; while an execution
    // runs, only the callback (on the watcher thread) may change it. The
    // watcher holds a copy of the object while it asks or cancels, so the
    // callback may also drop the command's pointer to itself.
    void SetPtrCancelLongRunningQuery(const std::shared_ptr<CancelLongRunningQuery>& cancel) {
        m_spCancelLongRunningQuery = cancel;
    }
    const std::shared_ptr<CancelLongRunningQuery>& GetPtrCancelLongRunningQuery() const {
        return m_spCancelLongRunningQuery;
    }
    bool IsLongRunningQuery() const { return m_spCancelLongRunningQuery != nullptr; }

    // ---------------------------------------------------------- literals

    // `text` as one SQL expression of this command's dialect whose value is
    // `text`. No apostrophe is ever written inside a literal: each becomes a
    // call of the dialect's character function with 39, joined to the
    // literals around it. N = 1 gives SQL Server's national literals for the
    // leading pieces. Empty for a dialect the library knows no form for.
    // Instantiated for N = 1 and N = 0 over wide views and N = 0 over
    // char8_t views; 8-bit text is widened byte by byte (Latin-1).
    template <int N, class View> CBasicString<wchar_t> MakeSQLCompliant(const View& text) const;

protected:
    // A private copy for the derived classes: shares `other`'s data source,
    // takes `checker`, not optimized, no optimizer, no connection check and
    // the running-execution count untouched.
    CCommandClass(const CCommandClass& other, const boost::shared_ptr<CommandLiveChecker>& checker);

    // Creates the command object and gives it the text (and, unless `kind`
    // is eExecute, the rowset properties) under the command lock.
    bool InitCommandText(enumCommandClass kind);
    // Asks for the rowset properties of `kind`; failures are reported and
    // execution goes on.
    void InitProperties(ICommand* command, enumCommandClass kind);
    // Gives an eSQLServer command its optimizer (replacing any other).
    void SetupQueryOptimizer(const std::shared_ptr<CDataSource>& dataSource);

    // Runs the live command object with the deadlock retry; releases it
    // afterwards, and `prepare` with it. `params` is not passed on the
    // long-running path.
    virtual bool DoExecute(IRowset** rowset, ICommandPrepare* prepare, LONGLONG* rowsAffected,
                           DBPARAMS* params);

    // ICommand::Execute beside the watcher thread; S_OK without doing
    // anything when there is no command object or no cancel object.
    HRESULT ExecuteLongRunningQuery(IRowset** rowset, DBROWCOUNT& rowsAffected) const;

    // Select forms: execute as `kind` and wrap the result.
    bool ExecuteIntoRowSet(enumCommandClass kind, bool streams);
    // Hands the command's reporting setup and row limit to a new rowset and
    // builds it; a rowset that cannot be built is dropped and reported
    // (15519), and the answer is false.
    bool SetupRowSet(bool streams);

    // Guards creating and releasing the command object.
    CCriticalSection m_csCommand{0};
    std::shared_ptr<CDataSource> m_spDataSource;
    boost::shared_ptr<CommandLiveChecker> m_spLiveChecker;
    const GUID* m_pCommandDialect = &DBGUID_DEFAULT;
    const IID* m_pRowsetInterfaceId = &IID_IRowset;
    ICommandText* m_pICommandText = nullptr;
    std::unique_ptr<CRowSet> m_pRowSet;
    std::unique_ptr<CQueryOptimizer> m_pQueryOptimizer;
    CBasicString<wchar_t> m_strCommand;
    ULONGLONG m_nMaxRowCount = NoRowLimit;
    ULONG m_nStreamSize = DefaultStreamSize;
    LONG m_nNumberOfCalls = -1;
    bool m_bOptimized = true;
    std::shared_ptr<CancelLongRunningQuery> m_spCancelLongRunningQuery;

private:
    // Releases the command object under the command lock.
    void ReleaseCommandInterface();
};
