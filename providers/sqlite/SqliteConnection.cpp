// Connections to SQLite databases: opening, transactions, catalogs and the
// cancel machinery shared by the connection's statements.
#include <cstring>

#include "SqliteBackend.h"
#include "SqliteStatement.h"

namespace hdb::sqlite {

namespace {

// Each ":memory:" data source gets an in-memory database of its own that all
// its sessions share; the name keeps them apart.
std::atomic<unsigned long> memoryDatabases{0};

constexpr int DefaultBusyMilliseconds = 5000;
// The progress handler runs every this many virtual machine steps; often
// enough for a prompt cancel, rare enough to cost nothing measurable.
constexpr int ProgressSteps = 1000;

} // namespace

SqliteConnection::~SqliteConnection() {
    Close();
}

bool SqliteConnection::OpenPath(const std::string& path, int flags, backend::Diagnostics& diag) {
    sqlite3* db = nullptr;
    int rc = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
    if (rc != SQLITE_OK) {
        backend::Diagnostic d;
        d.message = L"Cannot open the database \"" + m_shownName + L"\": " +
                    FromUtf8(db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc));
        d.nativeError = db != nullptr ? sqlite3_extended_errcode(db) : rc;
        d.sqlState = L"08001";
        d.failure = backend::Failure::cannotConnect;
        diag.push_back(std::move(d));
        sqlite3_close_v2(db);
        return false;
    }
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, m_busyMs);
    sqlite3_progress_handler(db, ProgressSteps, &SqliteConnection::Progress, this);
    RegisterFunctions(db);
    m_db = db;
    m_path = path;
    m_flags = flags;
    return true;
}

bool SqliteConnection::Open(const backend::ConnectOptions& options, backend::Diagnostics& diag) {
    Close();
    m_shownName = options.dataSource;
    m_busyMs = options.timeoutSeconds > 0 ? options.timeoutSeconds * 1000 : DefaultBusyMilliseconds;
    if (options.dataSource.empty()) {
        backend::Diagnostic d;
        d.message = L"No database file was given as the data source.";
        d.sqlState = L"08001";
        d.nativeError = SQLITE_CANTOPEN;
        d.failure = backend::Failure::cannotConnect;
        diag.push_back(std::move(d));
        return false;
    }
    // OLE DB objects are free-threaded: a consumer may read a rowset on one
    // thread while another runs a command of the same session, so SQLite
    // serialises calls on the connection itself.
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    std::string path;
    if (options.dataSource == L":memory:") {
        path = "file:hdbmemory" + std::to_string(++memoryDatabases) + "?mode=memory&cache=shared";
        flags |= SQLITE_OPEN_URI;
    } else {
        path = ToUtf8(options.dataSource);
        if (path.rfind("file:", 0) == 0)
            flags |= SQLITE_OPEN_URI;
    }
    if (!OpenPath(path, flags, diag))
        return false;
    // Readers and a writer on different sessions must not block each other;
    // the write-ahead log gives that. Databases that cannot use it (read-only
    // media, in-memory ones) keep their journal.
    if ((flags & SQLITE_OPEN_URI) == 0 || path.find("mode=memory") == std::string::npos) {
        backend::Diagnostics ignored;
        Exec("PRAGMA journal_mode=WAL", ignored);
    }
    return true;
}

void SqliteConnection::Close() {
    if (m_db != nullptr) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

std::unique_ptr<backend::Connection> SqliteConnection::OpenAnother(backend::Diagnostics& diag) {
    auto other = std::make_unique<SqliteConnection>();
    other->m_shownName = m_shownName;
    other->m_busyMs = m_busyMs;
    if (!other->OpenPath(m_path, m_flags, diag))
        return nullptr;
    return other;
}

bool SqliteConnection::Exec(const char* sql, backend::Diagnostics& diag) {
    Running(true);
    int rc = sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr);
    Running(false);
    if (rc != SQLITE_OK) {
        diag.push_back(MakeDiagnostic(m_db, rc, false));
        return false;
    }
    return true;
}

bool SqliteConnection::Begin(backend::Isolation level, backend::Diagnostics& diag) {
    // SQLite transactions are serialisable, which satisfies every level asked
    // for. Taking the write lock at the start keeps two writers from
    // deadlocking when both upgrade from reading.
    backend::Diagnostics ignored;
    Exec(level == backend::Isolation::readUncommitted ? "PRAGMA read_uncommitted=1"
                                                      : "PRAGMA read_uncommitted=0",
         ignored);
    return Exec("BEGIN IMMEDIATE", diag);
}

bool SqliteConnection::Commit(backend::Diagnostics& diag) {
    return Exec("COMMIT", diag);
}

bool SqliteConnection::Rollback(backend::Diagnostics& diag) {
    return Exec("ROLLBACK", diag);
}

bool SqliteConnection::ListCatalogs(std::vector<backend::CatalogInfo>& catalogs,
                                    backend::Diagnostics& diag) {
    sqlite3_stmt* stmt = nullptr;
    int rc = sqlite3_prepare_v2(m_db, "PRAGMA database_list", -1, &stmt, nullptr);
    if (rc != SQLITE_OK) {
        diag.push_back(MakeDiagnostic(m_db, rc, true));
        return false;
    }
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        backend::CatalogInfo info;
        auto* name = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
        auto* file = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 2));
        info.name = FromUtf8(name != nullptr ? name : "");
        info.description = FromUtf8(file != nullptr ? file : "");
        catalogs.push_back(std::move(info));
    }
    sqlite3_finalize(stmt);
    if (rc != SQLITE_DONE) {
        diag.push_back(MakeDiagnostic(m_db, rc, false));
        return false;
    }
    return true;
}

std::unique_ptr<backend::Statement> SqliteConnection::NewStatement() {
    return std::make_unique<SqliteStatement>(*this);
}

std::wstring SqliteConnection::QuoteIdentifier(const std::wstring& name) const {
    std::wstring quoted = L"\"";
    for (wchar_t c : name) {
        quoted += c;
        if (c == L'"')
            quoted += L'"';
    }
    return quoted + L"\"";
}

std::wstring SqliteConnection::ProductName() const {
    return L"SQLite";
}

std::wstring SqliteConnection::ProductVersion() const {
    return FromUtf8(sqlite3_libversion());
}

void SqliteConnection::Running(bool running) {
    if (running)
        m_cancel.store(false);
    m_running.store(running);
}

bool SqliteConnection::Cancel() {
    if (m_running.load()) {
        m_cancel.store(true);
        sqlite3_interrupt(m_db);
    }
    return true;
}

int SqliteConnection::Progress(void* self) {
    return static_cast<SqliteConnection*>(self)->m_cancel.load() ? 1 : 0;
}

} // namespace hdb::sqlite
