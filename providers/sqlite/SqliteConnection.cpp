// Connections to SQLite databases: opening, transactions, catalogs and the
// progress handler that ends a cancelled statement.
#include <cstring>

#include "SqliteBackend.h"
#include "SqliteStatement.h"

namespace hdb::sqlite {

namespace {

// Each ":memory:" data source gets an in-memory database of its own that all
// its sessions share; the name keeps them apart. In-memory databases that a
// session attaches are shared the same way.
std::atomic<unsigned long> memoryDatabases{0};
std::atomic<unsigned long> attachedMemoryDatabases{0};

bool SameName(const std::string& a, const std::string& b) {
    // Schema names compare as SQLite compares them: ASCII letters without case.
    return sqlite3_stricmp(a.c_str(), b.c_str()) == 0;
}

bool SameAttachment(const Attachment& a, const Attachment& b) {
    return SameName(a.name, b.name) && a.file == b.file;
}

const Attachment* Find(const std::vector<Attachment>& list, const Attachment& wanted) {
    for (const Attachment& a : list)
        if (SameAttachment(a, wanted))
            return &a;
    return nullptr;
}

bool Same(const std::vector<Attachment>& a, const std::vector<Attachment>& b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!SameAttachment(a[i], b[i]))
            return false;
    return true;
}

// Runs a one-step statement with text parameters.
int RunWith(sqlite3* db, const char* sql, const std::string& first, const std::string* second) {
    sqlite3_stmt* stmt = nullptr;
    int rc = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
    if (rc != SQLITE_OK)
        return rc;
    sqlite3_bind_text(stmt, 1, first.c_str(), -1, SQLITE_STATIC);
    if (second != nullptr)
        sqlite3_bind_text(stmt, 2, second->c_str(), -1, SQLITE_STATIC);
    rc = sqlite3_step(stmt);
    sqlite3_finalize(stmt);
    return rc == SQLITE_DONE || rc == SQLITE_ROW ? SQLITE_OK : rc;
}

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
    sqlite3_progress_handler(db, ProgressSteps, &SqliteConnection::Progress, &m_stepping);
    sqlite3_set_authorizer(db, &SqliteConnection::Authorize, this);
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
    // serialises calls on the connection itself. URI names are understood
    // everywhere (only names starting with "file:" are read as URIs), which
    // the shared in-memory databases, the main one and attached ones, need.
    int flags =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX | SQLITE_OPEN_URI;
    std::string path;
    if (options.dataSource == L":memory:")
        path = "file:hdbmemory" + std::to_string(++memoryDatabases) + "?mode=memory&cache=shared";
    else
        path = ToUtf8(options.dataSource);
    if (!OpenPath(path, flags, diag))
        return false;
    m_shared = std::make_shared<SharedAttachments>();
    // Readers and a writer on different sessions must not block each other;
    // the write-ahead log gives that. Databases that cannot use it (read-only
    // media, in-memory ones) keep their journal.
    if (path.rfind("file:", 0) != 0 || path.find("mode=memory") == std::string::npos) {
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
    other->m_shared = m_shared;
    other->SyncAttachments();
    return other;
}

bool SqliteConnection::Exec(const char* sql, backend::Diagnostics& diag) {
    int rc = sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr);
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

bool SqliteConnection::InTransaction() const {
    // SQLite leaves autocommit mode at BEGIN and returns to it when the
    // transaction ends, however it ends.
    return m_db != nullptr && sqlite3_get_autocommit(m_db) == 0;
}

bool SqliteConnection::ListCatalogs(std::vector<backend::CatalogInfo>& catalogs,
                                    backend::Diagnostics& diag) {
    SyncAttachments();
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

CancelScope::CancelScope(SqliteConnection& connection, Interruption& interruption)
    : m_connection(connection), m_outer(connection.m_stepping.exchange(&interruption)) {}

CancelScope::~CancelScope() {
    m_connection.m_stepping.store(m_outer);
}

int SqliteConnection::Progress(void* stepping) {
    Interruption* interruption = static_cast<std::atomic<Interruption*>*>(stepping)->load();
    if (interruption == nullptr)
        return 0;
    if (interruption->cancel.load())
        return 1;
    if (interruption->deadline != std::chrono::steady_clock::time_point{} &&
        std::chrono::steady_clock::now() >= interruption->deadline) {
        interruption->timedOut = true;
        return 1;
    }
    return 0;
}

// ------------------------------------------------------------ attachments
//
// Every session has a sqlite3 connection of its own, and ATTACH changes only
// the connection that runs it, while a consumer expects an attached database
// to stay with the data source: seen by the catalogs listing and usable by
// every session. So a connection notices when it attached or detached
// something, the change goes to the list the data source's connections
// share, and each connection catches up with that list before its next
// statement or catalog listing.
//
// Noticing a change: the statement text cannot be trusted for it (comments,
// several statements in one text, a file name computed by an expression),
// and sqlite3_stmt_readonly reports ATTACH and DETACH as read-only, since
// they write no file. The authorizer, though, is asked about every ATTACH
// and DETACH SQLite compiles, however the text was written; it marks the
// connection, and after such a statement PRAGMA database_list tells what
// actually changed (a failed ATTACH changes nothing). The list is read only
// after marked statements, so ordinary statements pay a flag test.
//
// In-memory attachments (":memory:" or an empty name) would be private to
// the connection that made them; right after such an ATTACH the database is
// copied into a named shared-cache in-memory database and attached again
// under the same name, which every other connection can then open too. It
// lives as long as some connection has it attached. The temp schema belongs
// to each connection and is never handed on, and neither is main.

int SqliteConnection::Authorize(void* self, int action, const char*, const char*, const char*,
                                const char*) {
    if (action == SQLITE_ATTACH || action == SQLITE_DETACH)
        static_cast<SqliteConnection*>(self)->m_attachCompiled.store(true);
    return SQLITE_OK;
}

bool SqliteConnection::ListAttached(std::vector<Attachment>& attached) {
    attached.clear();
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(m_db, "PRAGMA database_list", -1, &stmt, nullptr) != SQLITE_OK)
        return false;
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        // 0 is main and 1 is temp; attached databases follow.
        if (sqlite3_column_int(stmt, 0) < 2)
            continue;
        Attachment a;
        auto* name = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
        auto* file = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 2));
        a.name = name != nullptr ? name : "";
        a.file = file != nullptr ? file : "";
        a.source = a.file;
        attached.push_back(std::move(a));
    }
    sqlite3_finalize(stmt);
    return rc == SQLITE_DONE;
}

bool SqliteConnection::Attach(const std::string& source, const std::string& name) {
    // Both as parameters: no quoting, whatever the file or schema is called.
    return RunWith(m_db, "ATTACH DATABASE ?1 AS ?2", source, &name) == SQLITE_OK;
}

bool SqliteConnection::Detach(const std::string& name) {
    return RunWith(m_db, "DETACH DATABASE ?1", name, nullptr) == SQLITE_OK;
}

bool SqliteConnection::ShareInMemory(Attachment& attachment) {
    const std::string uri =
        "file:hdbattach" + std::to_string(++attachedMemoryDatabases) + "?mode=memory&cache=shared";
    sqlite3* copy = nullptr;
    int rc = sqlite3_open_v2(uri.c_str(), &copy,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI |
                                 SQLITE_OPEN_FULLMUTEX,
                             nullptr);
    bool ok = false;
    if (rc == SQLITE_OK) {
        // The statement that attached it may have filled it already.
        sqlite3_backup* backup = sqlite3_backup_init(copy, "main", m_db, attachment.name.c_str());
        if (backup != nullptr) {
            rc = sqlite3_backup_step(backup, -1);
            ok = sqlite3_backup_finish(backup) == SQLITE_OK && rc == SQLITE_DONE;
        }
    }
    // Attaching the copy keeps it alive once the copying connection closes.
    if (ok && Detach(attachment.name)) {
        ok = Attach(uri, attachment.name);
        if (ok)
            attachment.source = uri;
    } else {
        ok = false;
    }
    sqlite3_close_v2(copy);
    return ok;
}

void SqliteConnection::PublishAttachments() {
    if (!m_shared)
        return;
    std::lock_guard<std::mutex> guard(m_attachLock);
    const bool mark = m_attachCompiled.load();
    std::vector<Attachment> now;
    if (!ListAttached(now))
        return;
    bool reordered = false;
    for (Attachment& a : now) {
        if (const Attachment* known = Find(m_known, a)) {
            a.source = known->source;
        } else if (a.file.empty()) {
            // A shared copy is attached anew and so moves to the end.
            reordered |= ShareInMemory(a);
        }
    }
    if (reordered) {
        std::vector<Attachment> shared = std::move(now);
        ListAttached(now);
        for (Attachment& a : now)
            for (const Attachment& s : shared)
                if (SameName(a.name, s.name))
                    a.source = s.source;
    }
    {
        std::lock_guard<std::mutex> sharedGuard(m_shared->lock);
        std::vector<Attachment>& list = m_shared->list;
        auto erase = [&list](const std::string& name) {
            for (auto it = list.begin(); it != list.end();)
                it = SameName(it->name, name) ? list.erase(it) : it + 1;
        };
        for (const Attachment& k : m_known)
            if (Find(now, k) == nullptr)
                erase(k.name);
        for (const Attachment& a : now)
            if (Find(m_known, a) == nullptr) {
                erase(a.name);
                list.push_back(a);
            }
        const unsigned long generation = ++m_shared->generation;
        // When this connection was behind, its next statement catches up.
        if (Same(list, now))
            m_syncedGeneration = generation;
    }
    m_known = std::move(now);
    // The attaching done here is not a change of the consumer's.
    m_attachCompiled.store(mark);
}

void SqliteConnection::SyncAttachments() {
    if (!m_shared || m_db == nullptr)
        return;
    std::lock_guard<std::mutex> guard(m_attachLock);
    if (m_shared->generation.load() == m_syncedGeneration)
        return;
    std::vector<Attachment> target;
    unsigned long generation;
    {
        std::lock_guard<std::mutex> sharedGuard(m_shared->lock);
        target = m_shared->list;
        generation = m_shared->generation.load();
    }
    const bool mark = m_attachCompiled.load();
    std::vector<Attachment> current;
    bool ok = ListAttached(current);
    if (ok) {
        // What matches the list's beginning stays; everything after it is
        // attached again in the list's order, so that every session lists
        // the catalogs alike. A database in use by an open cursor or by this
        // connection's open transaction cannot be detached: that leaves the
        // connection behind until a later try succeeds.
        size_t same = 0;
        while (same < current.size() && same < target.size() &&
               SameAttachment(current[same], target[same]))
            ++same;
        for (size_t i = current.size(); i > same; --i)
            ok &= Detach(current[i - 1].name);
        for (size_t i = same; i < target.size(); ++i)
            ok &= Attach(target[i].source, target[i].name);
        std::vector<Attachment> after;
        if (ListAttached(after)) {
            for (Attachment& a : after)
                if (const Attachment* t = Find(target, a))
                    a.source = t->source;
            m_known = std::move(after);
        }
    }
    if (ok)
        m_syncedGeneration = generation;
    m_attachCompiled.store(mark);
}

} // namespace hdb::sqlite
