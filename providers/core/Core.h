// The OLE DB objects of the provider core: data source, session, command,
// rowset and the stream over a long value. They know no database; all they
// ask of one goes through the backend contract (Backend.h).
//
// Lifetimes: a session holds its data source, a command its session, a
// rowset its session and (for GetSpecification) the command that made it.
// Backend objects are owned the same way round: a session owns its
// connection, and a statement is shared by the command and the rowset that
// reads its cursor, so that releasing the command right after Execute (what
// consumers usually do) leaves the rowset working.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "Backend.h"
#include "ComBase.h"
#include "Errors.h"
#include "Properties.h"

namespace hdb::core {

class Session;
class Command;
class Rowset;

// ------------------------------------------------------------ accessors

struct Accessor {
    DBACCESSORFLAGS flags = 0;
    std::vector<DBBINDING> bindings;
    std::vector<DBOBJECT> objects; // copies of the bindings' pObject records
    DBLENGTH rowSize = 0;
};

// The accessors of one command or rowset. A handle is the address of the
// shared Accessor; a rowset made by a command inherits the command's
// accessors under the same handles.
class AccessorTable {
public:
    // columns: the columns bindings refer to (a rowset), or null (a command,
    // where row bindings are checked when a rowset uses them).
    HRESULT Create(DBACCESSORFLAGS flags, DBCOUNTITEM count, const DBBINDING bindings[],
                   DBLENGTH rowSize, HACCESSOR* handle, DBBINDSTATUS status[],
                   const std::vector<backend::ColumnInfo>* columns, bool forRowset,
                   bool bookmarks = false);
    HRESULT GetBindings(HACCESSOR handle, DBACCESSORFLAGS* flags, DBCOUNTITEM* count,
                        DBBINDING** bindings) const;
    HRESULT AddRef(HACCESSOR handle, DBREFCOUNT* refs);
    HRESULT Release(HACCESSOR handle, DBREFCOUNT* refs);
    const Accessor* Find(HACCESSOR handle) const;
    void InheritFrom(const AccessorTable& other);

private:
    struct Entry {
        std::shared_ptr<Accessor> accessor;
        DBREFCOUNT refs;
    };
    std::vector<Entry> m_entries;
    mutable const Entry* m_last = nullptr;
};

// Column descriptions as IColumnsInfo hands them out.
// With bookmarks, a bookmark column (ordinal 0) comes first.
HRESULT ColumnInfoOut(const std::vector<backend::ColumnInfo>& columns, DBORDINAL* count,
                      DBCOLUMNINFO** info, OLECHAR** strings, bool bookmarks = false);
HRESULT MapColumns(const std::vector<backend::ColumnInfo>& columns, DBORDINAL count,
                   const DBID ids[], DBORDINAL ordinals[]);

// ------------------------------------------------------------ data source

class DataSource : public RefCounted,
                   public IDBInitialize,
                   public IDBProperties,
                   public IDBCreateSession,
                   public ISupportErrorInfo {
public:
    explicit DataSource(std::shared_ptr<backend::Backend> backend);
    HDB_CORE_IUNKNOWN

    HRESULT STDMETHODCALLTYPE Initialize() override;
    HRESULT STDMETHODCALLTYPE Uninitialize() override;
    HRESULT STDMETHODCALLTYPE GetProperties(ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                            DBPROPSET** out) override;
    HRESULT STDMETHODCALLTYPE GetPropertyInfo(ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                              DBPROPINFOSET** out, OLECHAR** desc) override;
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG cSets, DBPROPSET sets[]) override;
    HRESULT STDMETHODCALLTYPE CreateSession(IUnknown* outer, REFIID riid,
                                            IUnknown** session) override;
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override;

    const ErrorSource& Source() const { return m_source; }
    backend::Backend& GetBackend() { return *m_backend; }
    // Opens a connection for a new session.
    std::unique_ptr<backend::Connection> OpenSessionConnection(backend::Diagnostics& diag);
    void SessionEnded();
    // A session lost its connection to the server: the data source's status
    // says so from now on (DBPROPVAL_CS_COMMUNICATIONFAILURE), so that the
    // consumer knows to connect again.
    void ConnectionLost();

protected:
    ~DataSource() override;
    // Makes the session CreateSession hands out, over its own connection
    // (null when out of memory). A provider whose sessions behave
    // differently makes its own kind here.
    virtual Session* NewSession(std::unique_ptr<backend::Connection> connection);

private:
    HRESULT Query(REFIID riid, void** ppv);
    DBPROPFLAGS Visible() const;

    std::shared_ptr<backend::Backend> m_backend;
    ErrorSource m_source;
    std::mutex m_mutex;
    std::vector<PropertyDef> m_defs; // the table m_props holds values of
    PropertyStore m_props;
    std::unique_ptr<backend::Connection> m_connection; // set while initialised
    size_t m_sessions = 0;
};

// ------------------------------------------------------------ session

class Session : public RefCounted,
                public IGetDataSource,
                public IOpenRowset,
                public ISessionProperties,
                public IDBCreateCommand,
                public IDBSchemaRowset,
                public ITransactionLocal,
                public ISupportErrorInfo {
public:
    Session(DataSource* dataSource, std::unique_ptr<backend::Connection> connection);
    HDB_CORE_IUNKNOWN

    HRESULT STDMETHODCALLTYPE GetDataSource(REFIID riid, IUnknown** ppDataSource) override;
    HRESULT STDMETHODCALLTYPE OpenRowset(IUnknown* outer, DBID* table, DBID* index, REFIID riid,
                                         ULONG cSets, DBPROPSET sets[], IUnknown** rowset) override;
    HRESULT STDMETHODCALLTYPE GetProperties(ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                            DBPROPSET** out) override;
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG cSets, DBPROPSET sets[]) override;
    HRESULT STDMETHODCALLTYPE CreateCommand(IUnknown* outer, REFIID riid,
                                            IUnknown** command) override;
    HRESULT STDMETHODCALLTYPE GetRowset(IUnknown* outer, REFGUID schema, ULONG cRestrictions,
                                        const VARIANT restrictions[], REFIID riid, ULONG cSets,
                                        DBPROPSET sets[], IUnknown** rowset) override;
    HRESULT STDMETHODCALLTYPE GetSchemas(ULONG* count, GUID** schemas,
                                         ULONG** restrictionSupport) override;
    HRESULT STDMETHODCALLTYPE Commit(BOOL retaining, DWORD grfTC, DWORD grfRM) override;
    HRESULT STDMETHODCALLTYPE Abort(BOID* reason, BOOL retaining, BOOL async) override;
    HRESULT STDMETHODCALLTYPE GetTransactionInfo(XACTTRANSINFO* info) override;
    HRESULT STDMETHODCALLTYPE GetOptionsObject(ITransactionOptions** options) override;
    HRESULT STDMETHODCALLTYPE StartTransaction(ISOLEVEL level, ULONG flags,
                                               ITransactionOptions* options,
                                               ULONG* transactionLevel) override;
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override;

    DataSource& Owner() { return *m_dataSource.Get(); }
    const ErrorSource& Source() const { return m_dataSource->Source(); }
    backend::Connection& Connection() { return *m_connection; }
    // Reports a failure of a statement run on this session's connection, a
    // record per diagnostic; when the database ended the session's
    // transaction with it, a last record says so.
    HRESULT Fail(HRESULT hr, REFIID iid, const backend::Diagnostics& diag);

protected:
    ~Session() override;
    // Makes the command CreateCommand hands out (null when out of memory).
    // A provider whose commands behave differently makes its own kind here.
    virtual Command* NewCommand();

private:
    HRESULT Query(REFIID riid, void** ppv);
    // Follows the database when it has ended the transaction started here;
    // true when that is found now. The caller holds m_transactionMutex.
    bool TransactionEndedByDatabase();
    HRESULT NoTransaction(REFIID iid) const;
    HRESULT BeginRetained(backend::Diagnostics& diag);

    ComPtr<DataSource> m_dataSource;
    std::unique_ptr<backend::Connection> m_connection;
    PropertyStore m_props;
    std::mutex m_transactionMutex;   // guards the two flags below
    bool m_inTransaction = false;    // started here and, at the last look, still open
    bool m_transactionEnded = false; // the database ended the one started here
    ISOLEVEL m_isolation = ISOLATIONLEVEL_SERIALIZABLE;
};

// ------------------------------------------------------------ bound values

// Reads the value a parameter binding points at in the consumer's parameter
// set (base) into cell col of set; DBSTATUS_S_OK, or why the value cannot be
// used.
DBSTATUS ReadBoundValue(const DBBINDING& b, const BYTE* base, backend::RowBuffer& set, size_t col);

// Writes the cell a binding names (b.iOrdinal, from 1) of buffer into the
// consumer's buffer at data, with its length and status parts; returns the
// status. Deferred long values and stream bindings are the rowset's.
DBSTATUS WriteBoundValue(const DBBINDING& b, const backend::RowBuffer& buffer, BYTE* data);

// ------------------------------------------------------------ command

// A consumer's stream given as a parameter value, read by the backend in
// pieces while the statement executes.
class StreamSource final : public backend::ParameterSource {
public:
    explicit StreamSource(ComPtr<ISequentialStream> stream);
    bool Read(void* buffer, size_t cb, size_t& read, backend::Diagnostics& diag) override;

private:
    ComPtr<ISequentialStream> m_stream;
    bool m_ended = false;
};

class Command : public RefCounted,
                public ICommandText,
                public ICommandProperties,
                public ICommandPrepare,
                public ICommandWithParameters,
                public IAccessor,
                public IColumnsInfo,
                public IConvertType,
                public ISupportErrorInfo {
public:
    explicit Command(Session* session);
    HDB_CORE_IUNKNOWN

    HRESULT STDMETHODCALLTYPE Cancel() override;
    HRESULT STDMETHODCALLTYPE Execute(IUnknown* outer, REFIID riid, DBPARAMS* params,
                                      DBROWCOUNT* rowsAffected, IUnknown** rowset) override;
    HRESULT STDMETHODCALLTYPE GetDBSession(REFIID riid, IUnknown** session) override;
    HRESULT STDMETHODCALLTYPE GetCommandText(GUID* dialect, LPOLESTR* text) override;
    HRESULT STDMETHODCALLTYPE SetCommandText(REFGUID dialect, LPCOLESTR text) override;
    HRESULT STDMETHODCALLTYPE GetProperties(const ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                            DBPROPSET** out) override;
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG cSets, DBPROPSET sets[]) override;
    HRESULT STDMETHODCALLTYPE Prepare(ULONG expectedRuns) override;
    HRESULT STDMETHODCALLTYPE Unprepare() override;
    HRESULT STDMETHODCALLTYPE GetParameterInfo(DB_UPARAMS* count, DBPARAMINFO** info,
                                               OLECHAR** names) override;
    HRESULT STDMETHODCALLTYPE MapParameterNames(DB_UPARAMS count, const OLECHAR* names[],
                                                DB_LPARAMS ordinals[]) override;
    HRESULT STDMETHODCALLTYPE SetParameterInfo(DB_UPARAMS count, const DB_UPARAMS ordinals[],
                                               const DBPARAMBINDINFO info[]) override;
    HRESULT STDMETHODCALLTYPE AddRefAccessor(HACCESSOR h, DBREFCOUNT* refs) override;
    HRESULT STDMETHODCALLTYPE CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count,
                                             const DBBINDING bindings[], DBLENGTH rowSize,
                                             HACCESSOR* h, DBBINDSTATUS status[]) override;
    HRESULT STDMETHODCALLTYPE GetBindings(HACCESSOR h, DBACCESSORFLAGS* flags, DBCOUNTITEM* count,
                                          DBBINDING** bindings) override;
    HRESULT STDMETHODCALLTYPE ReleaseAccessor(HACCESSOR h, DBREFCOUNT* refs) override;
    HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info,
                                            OLECHAR** strings) override;
    HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL count, const DBID ids[],
                                           DBORDINAL ordinals[]) override;
    HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE from, DBTYPE to, DBCONVERTFLAGS flags) override;
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override;

protected:
    ~Command() override;

private:
    HRESULT Query(REFIID riid, void** ppv);
    // Prepares the text into m_statement unless that is done; reports.
    HRESULT EnsurePrepared(REFIID iid);
    HRESULT Fail(HRESULT hr, REFIID iid, const backend::Diagnostics& diag);
    HRESULT BindParams(const DBPARAMS& params, size_t paramCount);
    // Hands the values of the output parameters back into the consumer's
    // parameter sets after an execution (unavailable when it returned rows:
    // a database sends them after the last row); a failure to read them
    // adds to diag, the execution's warnings.
    void WriteOutputs(const DBPARAMS& params, bool hasRows, backend::Diagnostics& diag);
    // What Cancel learns of Execute: it begins, its statement is about to
    // run (true when a cancel already waits for it), it has ended.
    void BeginExecution();
    bool ArmCancel();
    void EndExecution();

    ComPtr<Session> m_session;
    std::mutex m_mutex; // guards m_statement and the cancel state against Cancel
    std::shared_ptr<backend::Statement> m_statement;
    bool m_executing = false;       // inside Execute
    bool m_armed = false;           // and m_statement is the statement it runs
    bool m_cancelRequested = false; // a cancel waits for the statement to run
    bool m_executedBefore = false;  // Execute was called before
    std::wstring m_text;
    bool m_hasText = false;
    bool m_prepared = false; // prepared by the consumer (ICommandPrepare)
    std::vector<backend::ColumnInfo> m_columns;
    std::vector<backend::ParameterInfo> m_params;
    std::vector<backend::RowBuffer> m_paramSets;
    std::vector<backend::OutputParameter> m_outputs; // of the current execution
    PropertyStore m_props;
    AccessorTable m_accessors;
};

// ------------------------------------------------------------ rowset

class Rowset : public RefCounted,
               public IRowsetLocate,
               public IAccessor,
               public IColumnsInfo,
               public IRowsetInfo,
               public IConvertType,
               public ISupportErrorInfo {
public:
    // statement: executed, its cursor open (or at its end). creator: the command
    // (or session) that made the rowset.
    Rowset(Session* session, IUnknown* creator, std::shared_ptr<backend::Statement> statement,
           std::vector<backend::ColumnInfo> columns, const PropertyStore& props,
           const AccessorTable* inherited);
    HDB_CORE_IUNKNOWN

    // IRowset
    HRESULT STDMETHODCALLTYPE AddRefRows(DBCOUNTITEM cRows, const HROW rows[], DBREFCOUNT refs[],
                                         DBROWSTATUS status[]) override;
    HRESULT STDMETHODCALLTYPE GetData(HROW row, HACCESSOR accessor, void* data) override;
    HRESULT STDMETHODCALLTYPE GetNextRows(HCHAPTER chapter, DBROWOFFSET offset, DBROWCOUNT cRows,
                                          DBCOUNTITEM* obtained, HROW** rows) override;
    HRESULT STDMETHODCALLTYPE ReleaseRows(DBCOUNTITEM cRows, const HROW rows[],
                                          DBROWOPTIONS options[], DBREFCOUNT refs[],
                                          DBROWSTATUS status[]) override;
    HRESULT STDMETHODCALLTYPE RestartPosition(HCHAPTER chapter) override;
    // IRowsetLocate (answered when DBPROP_IRowsetLocate was asked for)
    HRESULT STDMETHODCALLTYPE Compare(HCHAPTER, DBBKMARK cb1, const BYTE* b1, DBBKMARK cb2,
                                      const BYTE* b2, DBCOMPARE* result) override;
    HRESULT STDMETHODCALLTYPE GetRowsAt(HWATCHREGION, HCHAPTER, DBBKMARK cb, const BYTE* bookmark,
                                        DBROWOFFSET offset, DBROWCOUNT cRows, DBCOUNTITEM* obtained,
                                        HROW** rows) override;
    HRESULT STDMETHODCALLTYPE GetRowsByBookmark(HCHAPTER, DBCOUNTITEM cRows, const DBBKMARK sizes[],
                                                const BYTE* bookmarks[], HROW rows[],
                                                DBROWSTATUS status[]) override;
    HRESULT STDMETHODCALLTYPE Hash(HCHAPTER, DBBKMARK count, const DBBKMARK sizes[],
                                   const BYTE* bookmarks[], DBHASHVALUE hashes[],
                                   DBROWSTATUS status[]) override;
    // IAccessor
    HRESULT STDMETHODCALLTYPE AddRefAccessor(HACCESSOR h, DBREFCOUNT* refs) override;
    HRESULT STDMETHODCALLTYPE CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count,
                                             const DBBINDING bindings[], DBLENGTH rowSize,
                                             HACCESSOR* h, DBBINDSTATUS status[]) override;
    HRESULT STDMETHODCALLTYPE GetBindings(HACCESSOR h, DBACCESSORFLAGS* flags, DBCOUNTITEM* count,
                                          DBBINDING** bindings) override;
    HRESULT STDMETHODCALLTYPE ReleaseAccessor(HACCESSOR h, DBREFCOUNT* refs) override;
    // IColumnsInfo
    HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info,
                                            OLECHAR** strings) override;
    HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL count, const DBID ids[],
                                           DBORDINAL ordinals[]) override;
    // IRowsetInfo
    HRESULT STDMETHODCALLTYPE GetProperties(const ULONG cSets, const DBPROPIDSET sets[], ULONG* pc,
                                            DBPROPSET** out) override;
    HRESULT STDMETHODCALLTYPE GetReferencedRowset(DBORDINAL ordinal, REFIID riid,
                                                  IUnknown** rowset) override;
    HRESULT STDMETHODCALLTYPE GetSpecification(REFIID riid, IUnknown** creator) override;
    HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE from, DBTYPE to, DBCONVERTFLAGS flags) override;
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override;

    // Reads a deferred long value of a row (for the stream objects); a
    // failure leaves its error records.
    HRESULT ReadDeferred(HROW row, size_t column, size_t offset, void* buffer, size_t cb,
                         size_t& read);

protected:
    ~Rowset() override;

private:
    struct Slot {
        backend::RowBuffer row;
        DBREFCOUNT refs = 0;
        DBBKMARK position = 0; // 1-based row number, the row's bookmark
        size_t generation = 0; // the fetch that filled it (deferred values)
        size_t batchIndex = 0; // its place among the rows of that fetch
    };

    HRESULT Query(REFIID riid, void** ppv);
    Slot* SlotOf(HROW row);
    // Fetches rows into free slots; appends their handles to out.
    HRESULT FetchMore(size_t count, std::vector<HROW>& out, bool& end);
    // Places the cursor so that it delivers the row at position next.
    HRESULT SeekCursor(DBBKMARK position);
    // Going back runs the statement again; refused for one that changes data.
    HRESULT RefuseRerun(REFIID iid);
    HRESULT CountRowReferences(DBCOUNTITEM cRows, const HROW rows[], DBREFCOUNT refs[],
                               DBROWSTATUS status[], int step);
    HRESULT HandOut(const std::vector<HROW>& handles, DBCOUNTITEM* obtained, HROW** rows);
    HRESULT Fail(HRESULT hr, REFIID iid, const backend::Diagnostics& diag);
    HRESULT FillBinding(const DBBINDING& b, HROW row, const backend::RowBuffer& buffer, BYTE* data,
                        DBSTATUS& status);

    ComPtr<Session> m_session;
    ComPtr<IUnknown> m_creator;
    std::shared_ptr<backend::Statement> m_statement;
    std::vector<backend::ColumnInfo> m_columns;
    PropertyStore m_props;
    AccessorTable m_accessors;
    std::vector<std::unique_ptr<Slot>> m_slots;
    std::vector<size_t> m_free;
    std::vector<backend::RowBuffer*> m_fetchTargets;
    std::vector<size_t> m_chosen;
    std::vector<HROW> m_handles;
    bool m_end = false;
    bool m_keepRows = false; // bookmarks: every row stays reachable by its number
    std::vector<HROW> m_skipped;
    DBBKMARK m_fetched = 0;      // rows fetched from the cursor so far
    DBBKMARK m_nextPosition = 1; // row number GetNextRows hands out next
    size_t m_generation = 0;
};

// The rowset properties a command and its rowsets know, and the session's.
extern const PropertyDef RowsetPropertyDefs[];
extern const size_t RowsetPropertyCount;
extern const PropertyDef SessionPropertyDefs[];
extern const size_t SessionPropertyCount;

// A statement over rows held in memory (schema rowsets).
std::shared_ptr<backend::Statement> MemoryStatement(std::vector<backend::ColumnInfo> columns,
                                                    std::vector<backend::RowBuffer> rows);

// A rowset from an executed statement, handed out as riid. Options and
// failures as OLE DB asks of OpenRowset and Execute: required properties that
// cannot be met fail with DB_E_ERRORSOCCURRED, optional ones give
// DB_S_ERRORSOCCURRED.
HRESULT MakeRowset(Session* session, IUnknown* creator, std::shared_ptr<backend::Statement> stmt,
                   const PropertyStore& props, const AccessorTable* inherited, REFIID riid,
                   IUnknown** out);

} // namespace hdb::core
