// The SQLite backend of the provider core: the embedded database, a file
// (or ":memory:") opened in the provider's process.
#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/Backend.h"

namespace hdb::sqlite {

class SqliteStatement;

// What a declared column type (or, without one, the values) makes of a
// column: the OLE DB description and how fetched values are stored.
enum class Target {
    integer,
    boolean,
    real,
    numeric,
    date,
    time,
    timestamp,
    text,
    bytes,
    guid,
    byValue
};

struct ColumnType {
    backend::ColumnInfo info;
    Target target = Target::byValue;
    // For a column typed by its values: how they are read, as its first
    // value chose when the result was described.
    Target valueTarget = Target::text;
};

// Maps a declared type ("VARCHAR(20)", "NUMERIC(10,2)", "TEXT" ...) to its
// column description; an empty declaration gives Target::byValue.
ColumnType MapDeclaredType(const char* declared);

// The OLE DB description of a column typed by its values (an expression, or
// a declaration that names no type), given the storage class of its first
// value: bytes after a blob, else text. Its later values may be of any class.
ColumnType TypeOfValue(int sqliteType);

// Diagnostics of a failed SQLite call; preparing tells syntax errors apart.
backend::Diagnostic MakeDiagnostic(sqlite3* db, int rc, bool preparing);

// Registers CHR and CONCAT on a connection.
int RegisterFunctions(sqlite3* db);

// Text helpers at the backend's edge: SQLite speaks UTF-8.
std::string ToUtf8(const std::wstring& text);
std::string ToUtf8(const wchar_t* text, size_t chars);
std::wstring FromUtf8(const char* text);

// Values that SQLite stores as text.
std::string DateText(const DBDATE& d);
std::string TimeText(const DBTIME& t);
std::string TimestampText(const DBTIMESTAMP& t);
std::string NumericText(const DB_NUMERIC& n);
// The shortest decimal that reads back as v, without an exponent ("2.7",
// "5.0", "0.30000000000000004"); SQLite's own text keeps 15 digits.
std::string RealText(double v);
bool ParseDate(const char* text, size_t n, DBDATE& d);
bool ParseTime(const char* text, size_t n, DBTIME& t);
bool ParseTimestamp(const char* text, size_t n, DBTIMESTAMP& t);

// Stores value, read from a NUMERIC(precision, scale) column, into column of
// row: rounded once, half away from zero, at the scale. A value that then
// needs more digits than the precision is stored as its rounded text, so that
// a binding at the column's precision gets DBSTATUS_E_DATAOVERFLOW and a text
// binding the number. False, and nothing stored, for a value that is no
// number (text that is not one, a blob, an infinity).
bool StoreNumeric(backend::RowBuffer& row, size_t column, sqlite3_value* value, BYTE precision,
                  BYTE scale);

// A database attached to a connection: its schema name, what ATTACH is
// given to open it again elsewhere, and the file PRAGMA database_list shows
// for it (empty for an in-memory one).
struct Attachment {
    std::string name;
    std::string source;
    std::string file;
};

// What all the connections of one data source share: the databases any of
// them attached and has not detached since, in the order of attaching. The
// generation grows with every change, so that a connection can tell
// cheaply whether it is behind.
struct SharedAttachments {
    std::mutex lock;
    std::vector<Attachment> list;
    std::atomic<unsigned long> generation{0};
};

// Cancel acts on one statement. A connection's progress handler runs only
// inside sqlite3_step (or sqlite3_exec) on the thread that steps, so that
// thread names the cancel flag of the statement it steps and the handler
// answers with the flag. Cancelling one statement therefore never stops
// another of the same connection, as sqlite3_interrupt would (it stops
// every statement of the connection, and keeps stopping new ones while any
// other is still active).
//
// The time-out of a statement is told the same way: the handler also ends
// the stepping once the statement's deadline has passed, and says so.
//
// While a CancelScope lives, what the connection steps stops with
// SQLITE_INTERRUPT soon after cancel becomes true or the deadline passes. The flag is the
// connection's own, not the thread's: the core calls a connection from one
// thread at a time, and a module loaded at run time keeps no thread-local
// storage (the leak checker's scan of such storage crashes).
struct Interruption {
    std::atomic<bool> cancel{false}; // set by Cancel from any thread
    // Set and read on the stepping thread only: when the statement's time
    // runs out (none when zero), and whether it did.
    std::chrono::steady_clock::time_point deadline{};
    bool timedOut = false;
};

class SqliteConnection;
class CancelScope {
public:
    CancelScope(SqliteConnection& connection, Interruption& interruption);
    ~CancelScope();
    CancelScope(const CancelScope&) = delete;
    CancelScope& operator=(const CancelScope&) = delete;

private:
    SqliteConnection& m_connection;
    Interruption* m_outer;
};

class SqliteConnection final : public backend::Connection {
public:
    ~SqliteConnection() override;
    bool Open(const backend::ConnectOptions& options, backend::Diagnostics& diag) override;
    void Close() override;
    std::unique_ptr<backend::Connection> OpenAnother(backend::Diagnostics& diag) override;
    bool Begin(backend::Isolation level, backend::Diagnostics& diag) override;
    bool Commit(backend::Diagnostics& diag) override;
    bool Rollback(backend::Diagnostics& diag) override;
    bool InTransaction() const override;
    // The database opened as the data source is SQLite's "main" schema.
    std::wstring CurrentCatalog() const override { return L"main"; }
    bool ListCatalogs(std::vector<backend::CatalogInfo>& catalogs,
                      backend::Diagnostics& diag) override;
    std::unique_ptr<backend::Statement> NewStatement() override;
    std::wstring QuoteIdentifier(const std::wstring& name) const override;
    std::wstring ProductName() const override;
    std::wstring ProductVersion() const override;

    sqlite3* Handle() const { return m_db; }
    // Runs SQL without results.
    bool Exec(const char* sql, backend::Diagnostics& diag);

    // Attachments belong to the data source, not to the session that made
    // them. SyncAttachments brings this connection's attached databases in
    // line with the data source's list (before a statement is compiled or
    // run, and before the catalogs are listed). What SQLite refuses for the
    // moment (detaching a database that a cursor or transaction of this
    // connection holds) is tried again next time.
    void SyncAttachments();
    // Whether ATTACH or DETACH was compiled on this connection since the
    // last call; clears the mark.
    bool TakeAttachMark() { return m_attachCompiled.exchange(false); }
    // After a statement that attached or detached: hands the change on to
    // the data source's list.
    void PublishAttachments();

private:
    bool OpenPath(const std::string& path, int flags, backend::Diagnostics& diag);
    static int Progress(void* stepping);
    static int Authorize(void* self, int action, const char*, const char*, const char*,
                         const char*);
    bool ListAttached(std::vector<Attachment>& attached);
    bool Attach(const std::string& source, const std::string& name);
    bool Detach(const std::string& name);
    bool ShareInMemory(Attachment& attachment);

    sqlite3* m_db = nullptr;
    friend class CancelScope;
    // The cancel flag of the statement stepping now (CancelScope); read by
    // the progress handler, set from the connection's thread.
    std::atomic<Interruption*> m_stepping{nullptr};
    std::string m_path; // what sqlite3_open_v2 was given
    int m_flags = 0;
    std::wstring m_shownName; // the data source as the consumer gave it
    int m_busyMs = 5000;

    std::shared_ptr<SharedAttachments> m_shared;
    std::mutex m_attachLock;         // guards the two below
    std::vector<Attachment> m_known; // this connection's attachments, last seen
    unsigned long m_syncedGeneration = 0;
    std::atomic<bool> m_attachCompiled{false};
};

} // namespace hdb::sqlite
