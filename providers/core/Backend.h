// The backend contract of the provider core.
//
// The provider core implements the OLE DB objects (data source, session,
// command, rowset, accessors, streams, properties, error records) once. A
// backend gives it a database: connections, statements, cursors over their
// results, typed values and diagnostics. This header is everything a backend
// implements and everything it may rely on; a backend never sees an OLE DB
// object. Types are named with the DBTYPE codes because those are the value
// vocabulary both sides already share.
//
// Threads: the core calls one connection and its statements from one thread
// at a time, except Statement::Cancel, which may come from any thread at any
// time, also while another thread is inside Execute or Fetch of the same
// statement.
//
// Errors: every call that can fail returns false (or FetchResult::error) and
// appends one or more Diagnostic records to the Diagnostics it was given,
// the most important record first. The core turns them into error records.
// A call that succeeds may append records too: warnings (a value the
// database rounded, a message the server sent with its result), which the
// core hands to the consumer as error records of the successful call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hdbplatform/OleDbApi.h"

namespace hdb::backend {

// ------------------------------------------------------------ diagnostics

// What kind of failure a diagnostic describes; the core picks the result
// code of the failing OLE DB call from it.
enum class Failure {
    general,        // anything else (E_FAIL)
    cannotConnect,  // the data source cannot be opened
    syntax,         // the statement text is not valid (DB_E_ERRORSINCOMMAND)
    noTable,        // a table or view named by the statement does not exist
    constraint,     // a constraint rejected the change (DB_E_INTEGRITYVIOLATION)
    busy,           // locked by someone else (E_FAIL)
    canceled,       // Cancel ended the statement (DB_E_CANCELED)
    readOnly,       // the database cannot be written
    conversion,     // a value could not be converted (DB_E_CANTCONVERTVALUE)
    connectionLost, // the connection to the server broke; nothing more runs on it (E_FAIL)
    timeout,        // the statement's time-out ran out (DB_E_ABORTLIMITREACHED)
    deadlock,       // chosen as a deadlock victim, or a serialisation failure:
                    // the transaction was rolled back and may be tried again (E_FAIL)
};

struct Diagnostic {
    std::wstring message;  // the database's own message, ready to show
    std::wstring sqlState; // five characters (ODBC style), or empty
    LONG nativeError = 0;  // the database's own error number
    Failure failure = Failure::general;
    // The parameter set (counted from 1) whose execution failed; 0 when the
    // failure belongs to no set.
    size_t parameterSet = 0;
};
using Diagnostics = std::vector<Diagnostic>;

// ------------------------------------------------------------ values

// A long parameter value that the backend pulls in pieces while it executes
// (ODBC's data at execution), so that it is never held whole by the core.
class ParameterSource {
public:
    virtual ~ParameterSource() = default;
    // Copies the value's next bytes, at most cb, into buffer; read receives
    // how many, 0 at the end of the value. False when the value cannot be
    // read (diag says why).
    virtual bool Read(void* buffer, size_t cb, size_t& read, Diagnostics& diag) = 0;
};

// One typed value: a column value of a fetched row or a parameter value.
//
// type is DBTYPE_NULL for SQL NULL, otherwise one of: DBTYPE_I8, DBTYPE_R8,
// DBTYPE_BOOL (in i8, 0 or 1), DBTYPE_NUMERIC, DBTYPE_DBDATE, DBTYPE_DBTIME,
// DBTYPE_DBTIMESTAMP, DBTYPE_GUID (the fixed-size ones in the union), DBTYPE_WSTR (wide
// text, length in bytes without a terminator) and DBTYPE_BYTES (length in
// bytes). The bytes of WSTR and BYTES live in the owning RowBuffer at offset.
// A long value that the cursor did not fetch with the row has deferred set;
// its bytes come from Cursor::ReadLong. A parameter value with deferred set
// is a DBTYPE_BYTES value whose bytes come from the ParameterSource in
// v.source, read once, in order, during Execute.
struct Cell {
    DBTYPE type = DBTYPE_NULL;
    bool deferred = false;
    size_t offset = 0;
    DBLENGTH length = 0;
    union {
        LONGLONG i8;
        double r8;
        DB_NUMERIC numeric;
        DBDATE date;
        DBTIME time;
        DBTIMESTAMP timestamp;
        GUID guid;
        ParameterSource* source;
    } v{};
};

// Leaves bytes a vector grows by uninitialised: the arena below is always
// written right after it grows, and clearing it first would cost as much as
// the copy itself on the fetch path.
template <class T> struct UninitialisedAllocator : std::allocator<T> {
    template <class U> struct rebind { using other = UninitialisedAllocator<U>; };
    UninitialisedAllocator() = default;
    template <class U> UninitialisedAllocator(const UninitialisedAllocator<U>&) {}
    template <class U> void construct(U* p) { ::new (static_cast<void*>(p)) U; }
    template <class U, class... A> void construct(U* p, A&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<A>(args)...);
    }
};

// The storage of one row (or one parameter set): a cell per column and one
// byte arena for the variable-length values. The core keeps RowBuffers for
// reuse, so filling one again after Clear allocates nothing once the arena
// has grown to the largest row seen.
class RowBuffer {
public:
    // Makes room for count cells, all NULL, and empties the arena.
    void Reset(size_t count) {
        m_cells.assign(count, Cell{});
        m_arena.clear();
        m_sources.clear();
    }
    // Makes room for count cells whose contents are left as they were, and
    // empties the arena: for a writer that sets every cell anyway (a cursor
    // filling a row), which saves clearing them first.
    void Prepare(size_t count) {
        if (m_cells.size() != count)
            m_cells.resize(count);
        m_arena.clear();
    }
    size_t Count() const { return m_cells.size(); }
    Cell& operator[](size_t column) { return m_cells[column]; }
    const Cell& operator[](size_t column) const { return m_cells[column]; }
    // The bytes of a WSTR or BYTES cell; never null, also for an empty value
    // in an empty arena (whose data() may be null), since readers take a
    // null pointer for a missing value (SQLite binds it as NULL).
    const BYTE* Data(const Cell& cell) const {
        alignas(wchar_t) static constexpr BYTE none[sizeof(wchar_t)] = {};
        return m_arena.empty() ? none : m_arena.data() + cell.offset;
    }

    void SetNull(size_t column) { m_cells[column] = Cell{}; }
    void SetI8(size_t column, LONGLONG value) { SetFixed(column, DBTYPE_I8, value); }
    void SetR8(size_t column, double value) { SetFixed(column, DBTYPE_R8, value); }
    void SetBool(size_t column, bool value) {
        SetFixed(column, DBTYPE_BOOL, LONGLONG{value ? 1 : 0});
    }
    void SetNumeric(size_t column, const DB_NUMERIC& value) {
        SetFixed(column, DBTYPE_NUMERIC, value);
    }
    void SetDate(size_t column, const DBDATE& value) { SetFixed(column, DBTYPE_DBDATE, value); }
    void SetTime(size_t column, const DBTIME& value) { SetFixed(column, DBTYPE_DBTIME, value); }
    void SetTimestamp(size_t column, const DBTIMESTAMP& value) {
        SetFixed(column, DBTYPE_DBTIMESTAMP, value);
    }
    void SetGuid(size_t column, const GUID& value) { SetFixed(column, DBTYPE_GUID, value); }
    // A value of one of the fixed-size cell types (not BOOL) given as bytes.
    void SetFixedBytes(size_t column, DBTYPE type, const void* value, size_t bytes) {
        Cell& c = m_cells[column];
        c.type = type;
        c.deferred = false;
        c.length = std::min(bytes, sizeof c.v);
        std::memcpy(&c.v, value, c.length);
    }
    void SetWide(size_t column, const wchar_t* text, size_t chars) {
        SetVariable(column, DBTYPE_WSTR, text, chars * sizeof(wchar_t));
    }
    // UTF-8 text, stored as wide text; invalid sequences become U+FFFD.
    void SetUtf8(size_t column, const char* text, size_t bytes);
    void SetBytes(size_t column, const void* data, size_t bytes) {
        SetVariable(column, DBTYPE_BYTES, data, bytes);
    }
    // A binary parameter value to be read from source while the statement
    // executes; the buffer keeps the source until it is reset.
    void SetSource(size_t column, std::shared_ptr<ParameterSource> source) {
        Cell& c = m_cells[column];
        c = Cell{};
        c.type = DBTYPE_BYTES;
        c.deferred = true;
        c.v.source = source.get();
        m_sources.push_back(std::move(source));
    }
    // A long value of the given type (WSTR or BYTES) left with the cursor.
    void SetDeferred(size_t column, DBTYPE type) {
        Cell& c = m_cells[column];
        c = Cell{};
        c.type = type;
        c.deferred = true;
    }

private:
    // A value of one of the union's fixed-size types; every member of the
    // union starts at its beginning.
    template <class T> void SetFixed(size_t column, DBTYPE type, const T& value) {
        static_assert(sizeof(T) <= sizeof(Cell::v));
        Cell& c = m_cells[column];
        c.type = type;
        c.deferred = false;
        c.length = sizeof(T);
        std::memcpy(&c.v, &value, sizeof(T));
    }
    void SetVariable(size_t column, DBTYPE type, const void* data, size_t bytes) {
        // Wide text stays aligned for wchar_t so that readers may use it in place.
        size_t offset = (m_arena.size() + alignof(wchar_t) - 1) & ~(alignof(wchar_t) - 1);
        m_arena.resize(offset + bytes);
        if (bytes != 0)
            std::memcpy(m_arena.data() + offset, data, bytes);
        Cell& c = m_cells[column];
        c.type = type;
        c.deferred = false;
        c.offset = offset;
        c.length = bytes;
    }

    std::vector<Cell> m_cells;
    std::vector<BYTE, UninitialisedAllocator<BYTE>> m_arena;
    std::vector<std::shared_ptr<ParameterSource>> m_sources;
};

// ------------------------------------------------------------ descriptions

// A result column as the backend knows it. type is the DBTYPE the column is
// offered as; size is the largest length in characters (text) or bytes
// (binary), ~0 when unbounded; flags are DBCOLUMNFLAGS (ISLONG for long
// values, ISNULLABLE/MAYBENULL, ISFIXEDLENGTH, WRITE ...).
struct ColumnInfo {
    std::wstring name;
    DBTYPE type = DBTYPE_WSTR;
    DBLENGTH size = 0;
    BYTE precision = 0;
    BYTE scale = 0;
    DBCOLUMNFLAGS flags = 0;
};

// A statement parameter. name is empty for positional markers; type is
// DBTYPE_WSTR when the database cannot tell a type before execution.
struct ParameterInfo {
    std::wstring name;
    DBTYPE type = DBTYPE_WSTR;
    DBLENGTH size = 0;
    BYTE precision = 0;
    BYTE scale = 0;
    DBPARAMFLAGS flags = DBPARAMFLAGS_ISINPUT | DBPARAMFLAGS_ISNULLABLE;
};

// A parameter whose value the statement hands back: an output parameter, or
// an input and output one (alsoInput). type and bytes are those the consumer
// bound it as, hints for the form and room the value may come back in.
struct OutputParameter {
    size_t parameter = 0; // in marker order, from 0
    bool alsoInput = false;
    DBTYPE type = DBTYPE_WSTR;
    DBLENGTH bytes = 0;
};

// An initialisation property of the backend's own, in a provider-specific
// set (a server product's connection options), which the data source
// accepts beside the standard ones. vt is VT_BSTR, VT_BOOL or VT_I4.
struct InitProperty {
    const GUID* set;
    DBPROPID id;
    VARTYPE vt;
    const wchar_t* description;
};

// The value a consumer gave one of those properties: text as it was, VT_BOOL
// as "1" or "0", VT_I4 in decimal.
struct InitOption {
    GUID set;
    DBPROPID id;
    std::wstring value;
};

// What a connection opens. timeoutSeconds 0 means the backend's default.
struct ConnectOptions {
    std::wstring dataSource;
    std::wstring user;
    std::wstring password;
    std::wstring catalog;
    // Options in the backend's own syntax (a connection string's pairs),
    // given by the consumer as the provider string; empty when none.
    std::wstring providerString;
    // DBPROP_AUTH_INTEGRATED ("SSPI"): log in as the operating system's
    // user instead of with user and password; empty when not asked for.
    std::wstring integratedSecurity;
    LONG timeoutSeconds = 0;
    // The backend's own initialisation properties that were set.
    std::vector<InitOption> backendOptions;
};

enum class Isolation { readUncommitted, readCommitted, repeatableRead, serializable };

struct CatalogInfo {
    std::wstring name;
    std::wstring description;
};

// ------------------------------------------------------------ statements

enum class FetchResult { rows, end, error };

class Statement {
public:
    virtual ~Statement() = default;

    // Compiles text (one statement). A syntax error or an unknown table
    // fails here when the database can tell that early.
    virtual bool Prepare(const std::wstring& text, Diagnostics& diag) = 0;

    // The parameters of the prepared statement, in marker order.
    virtual bool DescribeParameters(std::vector<ParameterInfo>& params, Diagnostics& diag) = 0;

    // Options of the next Execute: a time-out in seconds after which a
    // running Execute or Fetch fails with Failure::timeout, and the most
    // rows its cursor delivers; 0 means none for either. The core passes
    // them before every Execute (and stops fetching at maxRows itself, so a
    // backend may take it as a hint to the server).
    virtual bool SetOptions(LONG timeoutSeconds, DBCOUNTITEM maxRows, Diagnostics& diag) = 0;

    // The result columns of the prepared statement; none for a statement
    // that returns no rows. Columns whose type the database only learns
    // from the values (expressions) may be described again, more exactly,
    // by DescribeResult after Execute.
    virtual bool DescribeColumns(std::vector<ColumnInfo>& columns, Diagnostics& diag) = 0;

    // Binds the values of setCount parameter sets (sets[i] holds one Cell
    // per parameter, in marker order) for the next Execute. The buffers stay
    // valid and unchanged until Execute returns.
    virtual bool BindParameters(const RowBuffer* sets, size_t setCount, Diagnostics& diag) = 0;

    // Names the parameters that hand a value back in the next Execute
    // (called before BindParameters; empty: all are input only). A backend
    // whose database has no output parameters refuses any, as this default
    // does.
    virtual bool BindOutputs(const std::vector<OutputParameter>& outputs, Diagnostics& diag);

    // After an Execute that returned no rows: the values the output
    // parameters of parameter set `set` (from 0) received, one cell per
    // parameter in marker order (the input-only ones NULL).
    virtual bool ReadOutputs(size_t set, RowBuffer& values, Diagnostics& diag);

    // Runs the statement once per bound parameter set (once when none are
    // bound). rowsAffected receives the rows changed by all sets together,
    // or DB_COUNTUNAVAILABLE for a statement that changes no rows. When the
    // statement returns rows, the cursor of the last set stays open and
    // Fetch reads it. Returns false with Failure::canceled after Cancel.
    // The sets of one Execute take effect together or not at all: when one
    // fails, the sets after it do not run, what the sets before it changed
    // is undone (inside an open transaction, the transaction's earlier work
    // stays), and the diagnostics of the failure name its set.
    virtual bool Execute(DBROWCOUNT& rowsAffected, bool& hasRows, Diagnostics& diag) = 0;

    // The result columns of the open cursor, now that values are known.
    virtual bool DescribeResult(std::vector<ColumnInfo>& columns, Diagnostics& diag) = 0;

    // Fetches up to count rows of the open cursor into *rows[0..count), each
    // sized to the column count (Reset, or Prepare and then every cell set;
    // the buffers are reused from earlier fetches). fetched receives the number of rows
    // filled. Returns rows when at least one row was fetched, end when the
    // cursor had no row left (fetched 0), error otherwise.
    virtual FetchResult Fetch(RowBuffer* const rows[], size_t count, size_t& fetched,
                              Diagnostics& diag) = 0;

    // Reads a deferred long value of the last Fetch: up to cb bytes of the
    // value of column in rows[row] of that fetch, from byte position offset
    // on. read receives the bytes copied; 0 with true means the end of the
    // value. Reading goes forward only, as a server's driver delivers it: by
    // row, then by column, each value in consecutive chunks from offset 0;
    // a value before the last one read (or a chunk behind the position
    // reached) may fail. Only valid until the next Fetch.
    virtual bool ReadLong(size_t row, size_t column, size_t offset, void* buffer, size_t cb,
                          size_t& read, Diagnostics& diag) = 0;

    // Closes the open cursor; the prepared statement stays ready to run
    // again.
    virtual void CloseCursor() = 0;

    // Asks the statement to stop with Failure::canceled: an Execute or Fetch
    // running now stops soon, and one started later stops at once, until
    // ResetCancel. Other statements of the connection are never touched.
    // Returns false when the database cannot cancel.
    virtual bool Cancel() = 0;

    // Forgets an earlier Cancel; the core calls it as a new execution of the
    // statement begins.
    virtual void ResetCancel() = 0;

    // Whether running the statement again only reads. Going back in a
    // rowset runs its statement again, which must never repeat a change
    // (an INSERT ... RETURNING would insert its rows twice); a backend that
    // cannot tell answers false and such rowsets only go forward.
    virtual bool OnlyReads() const { return false; }
};

// ------------------------------------------------------------ connections

class Connection {
public:
    virtual ~Connection() = default;

    // Opens the database. A data source that cannot be opened fails with
    // Failure::cannotConnect and a message naming it.
    virtual bool Open(const ConnectOptions& options, Diagnostics& diag) = 0;

    // Closes the database; statements made by this connection must be gone.
    virtual void Close() = 0;

    // Opens a further connection to the very database this one has open
    // (each session of a data source works on a connection of its own, and
    // an in-memory database must be the same one for all of them).
    virtual std::unique_ptr<Connection> OpenAnother(Diagnostics& diag) = 0;

    // Local transactions. Begin starts one at the given isolation level or a
    // stricter one; Commit and Rollback end it. While none is open every
    // statement commits by itself.
    virtual bool Begin(Isolation level, Diagnostics& diag) = 0;
    virtual bool Commit(Diagnostics& diag) = 0;
    virtual bool Rollback(Diagnostics& diag) = 0;
    // Whether a transaction is open now, as the database sees it. A database
    // may end one by itself (a failing statement can roll it back, a
    // statement can commit it), and the session follows what this says.
    virtual bool InTransaction() const = 0;

    // The catalog (database) the connection works in, as the database names it.
    virtual std::wstring CurrentCatalog() const = 0;

    // The catalogs (databases) reachable through this connection.
    virtual bool ListCatalogs(std::vector<CatalogInfo>& catalogs, Diagnostics& diag) = 0;

    // A new, unprepared statement on this connection.
    virtual std::unique_ptr<Statement> NewStatement() = 0;

    // name quoted as an identifier of this database's SQL, so that any text
    // reaches the database as one name.
    virtual std::wstring QuoteIdentifier(const std::wstring& name) const = 0;

    // The database product's name and version, for the data source
    // information properties.
    virtual std::wstring ProductName() const = 0;
    virtual std::wstring ProductVersion() const = 0;
};

// ------------------------------------------------------------ the backend

// What a provider module hands the core: how to make connections, and the
// provider's identity for error records and information properties.
class Backend {
public:
    virtual ~Backend() = default;
    virtual std::unique_ptr<Connection> NewConnection() = 0;
    virtual const wchar_t* ProviderName() const = 0;        // error record source
    virtual const wchar_t* ProviderDescription() const = 0; // friendly name
    virtual CLSID ProviderClassId() const = 0;
    // Initialisation properties of the backend's own; none by default.
    virtual std::vector<InitProperty> InitProperties() const { return {}; }
};

} // namespace hdb::backend
