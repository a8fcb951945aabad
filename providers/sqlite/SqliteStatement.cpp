#include "SqliteStatement.h"

#include <cstring>

namespace hdb::sqlite {

namespace {

bool Blank(const char* text) {
    // Whitespace and comments only.
    while (*text != '\0') {
        if (std::isspace(static_cast<unsigned char>(*text)) || *text == ';') {
            ++text;
        } else if (text[0] == '-' && text[1] == '-') {
            while (*text != '\0' && *text != '\n')
                ++text;
        } else if (text[0] == '/' && text[1] == '*') {
            const char* end = std::strstr(text + 2, "*/");
            if (end == nullptr)
                return true;
            text = end + 2;
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

SqliteStatement::~SqliteStatement() {
    CloseCursor();
    sqlite3_finalize(m_stmt);
}

bool SqliteStatement::Prepare(const std::wstring& text, backend::Diagnostics& diag) {
    CloseCursor();
    sqlite3_finalize(m_stmt);
    m_stmt = nullptr;
    m_rest.clear();
    m_types.clear();
    std::string sql = ToUtf8(text);
    const char* tail = nullptr;
    sqlite3* db = m_connection.Handle();
    // Names attached by other sessions must resolve while compiling.
    m_connection.SyncAttachments();
    m_connection.TakeAttachMark();
    int rc = sqlite3_prepare_v3(db, sql.c_str(), static_cast<int>(sql.size()),
                                SQLITE_PREPARE_PERSISTENT, &m_stmt, &tail);
    m_attaches = m_connection.TakeAttachMark();
    if (rc != SQLITE_OK) {
        diag.push_back(MakeDiagnostic(db, rc, true));
        m_stmt = nullptr;
        return false;
    }
    if (tail != nullptr && !Blank(tail))
        m_rest = tail;
    if (m_stmt != nullptr) {
        int n = sqlite3_column_count(m_stmt);
        m_types.reserve(n);
        for (int i = 0; i < n; ++i) {
            ColumnType type = MapDeclaredType(sqlite3_column_decltype(m_stmt, i));
            type.info.name = FromUtf8(sqlite3_column_name(m_stmt, i));
            // Columns of a table say whether they take NULL.
            const char* table = sqlite3_column_table_name(m_stmt, i);
            const char* origin = sqlite3_column_origin_name(m_stmt, i);
            const char* database = sqlite3_column_database_name(m_stmt, i);
            int notNull = 0, primaryKey = 0, autoIncrement = 0;
            type.info.flags |= DBCOLUMNFLAGS_MAYBENULL;
            if (table != nullptr && origin != nullptr &&
                sqlite3_table_column_metadata(db, database, table, origin, nullptr, nullptr,
                                              &notNull, &primaryKey, &autoIncrement) == SQLITE_OK) {
                type.info.flags |= DBCOLUMNFLAGS_WRITEUNKNOWN;
                if (notNull)
                    type.info.flags &= ~DBCOLUMNFLAGS_MAYBENULL;
                else
                    type.info.flags |= DBCOLUMNFLAGS_ISNULLABLE;
            } else {
                type.info.flags |= DBCOLUMNFLAGS_ISNULLABLE;
            }
            m_types.push_back(std::move(type));
        }
    }
    return true;
}

bool SqliteStatement::DescribeParameters(std::vector<backend::ParameterInfo>& params,
                                         backend::Diagnostics&) {
    params.clear();
    int n = m_stmt != nullptr ? sqlite3_bind_parameter_count(m_stmt) : 0;
    for (int i = 1; i <= n; ++i) {
        backend::ParameterInfo p;
        const char* name = sqlite3_bind_parameter_name(m_stmt, i);
        if (name != nullptr)
            p.name = FromUtf8(name);
        p.size = ~DBLENGTH{0};
        params.push_back(std::move(p));
    }
    return true;
}

void SqliteStatement::Describe(std::vector<backend::ColumnInfo>& columns, bool fromValues) {
    columns.clear();
    columns.reserve(m_types.size());
    for (size_t i = 0; i < m_types.size(); ++i) {
        if (m_types[i].target == Target::byValue && fromValues && m_pending) {
            ColumnType byValue = TypeOfValue(sqlite3_column_type(m_stmt, static_cast<int>(i)));
            m_types[i].valueTarget = byValue.target;
            byValue.info.name = m_types[i].info.name;
            byValue.info.flags |= DBCOLUMNFLAGS_ISNULLABLE | DBCOLUMNFLAGS_MAYBENULL;
            columns.push_back(byValue.info);
            continue;
        }
        columns.push_back(m_types[i].info);
    }
}

bool SqliteStatement::DescribeColumns(std::vector<backend::ColumnInfo>& columns,
                                      backend::Diagnostics&) {
    Describe(columns, false);
    return true;
}

bool SqliteStatement::DescribeResult(std::vector<backend::ColumnInfo>& columns,
                                     backend::Diagnostics&) {
    Describe(columns, true);
    return true;
}

bool SqliteStatement::BindParameters(const backend::RowBuffer* sets, size_t setCount,
                                     backend::Diagnostics&) {
    m_sets = sets;
    m_setCount = setCount;
    return true;
}

bool SqliteStatement::Gather(backend::ParameterSource& source, std::vector<BYTE>& bytes,
                             backend::Diagnostics& diag) {
    bytes.clear();
    BYTE piece[65536];
    for (size_t read = 1; read != 0;) {
        if (!source.Read(piece, sizeof piece, read, diag))
            return false;
        bytes.insert(bytes.end(), piece, piece + read);
    }
    // An empty blob needs a pointer, or SQLite binds NULL.
    if (bytes.empty())
        bytes.reserve(1);
    return true;
}

bool SqliteStatement::Bind(const backend::RowBuffer& set, backend::Diagnostics& diag) {
    sqlite3_clear_bindings(m_stmt);
    const int n = sqlite3_bind_parameter_count(m_stmt);
    for (int i = 0; i < n && static_cast<size_t>(i) < set.Count(); ++i) {
        const backend::Cell& c = set[i];
        int rc = SQLITE_OK;
        std::string text;
        std::vector<BYTE> blob;
        switch (c.type) {
        case DBTYPE_NULL:
            rc = sqlite3_bind_null(m_stmt, i + 1);
            break;
        case DBTYPE_I8:
        case DBTYPE_BOOL:
            rc = sqlite3_bind_int64(m_stmt, i + 1, c.v.i8);
            break;
        case DBTYPE_R8:
            rc = sqlite3_bind_double(m_stmt, i + 1, c.v.r8);
            break;
        case DBTYPE_WSTR:
            text =
                ToUtf8(reinterpret_cast<const wchar_t*>(set.Data(c)), c.length / sizeof(wchar_t));
            break;
        case DBTYPE_BYTES:
            if (c.deferred) {
                // SQLite binds whole values: the pieces are gathered here.
                if (!Gather(*c.v.source, blob, diag))
                    return false;
                rc = sqlite3_bind_blob64(m_stmt, i + 1, blob.data(), blob.size(), SQLITE_TRANSIENT);
                break;
            }
            // SQLite binds a blob without a pointer as NULL, so an empty one
            // is bound as what it is.
            rc = c.length == 0
                     ? sqlite3_bind_zeroblob(m_stmt, i + 1, 0)
                     : sqlite3_bind_blob64(m_stmt, i + 1, set.Data(c), c.length, SQLITE_STATIC);
            break;
        case DBTYPE_NUMERIC:
            text = NumericText(c.v.numeric);
            break;
        case DBTYPE_DBDATE:
            text = DateText(c.v.date);
            break;
        case DBTYPE_DBTIME:
            text = TimeText(c.v.time);
            break;
        case DBTYPE_DBTIMESTAMP:
            text = TimestampText(c.v.timestamp);
            break;
        default:
            rc = sqlite3_bind_null(m_stmt, i + 1);
            break;
        }
        if (c.type == DBTYPE_WSTR || c.type == DBTYPE_NUMERIC || c.type == DBTYPE_DBDATE ||
            c.type == DBTYPE_DBTIME || c.type == DBTYPE_DBTIMESTAMP)
            rc = sqlite3_bind_text64(m_stmt, i + 1, text.data(), text.size(), SQLITE_TRANSIENT,
                                     SQLITE_UTF8);
        if (rc != SQLITE_OK) {
            diag.push_back(MakeDiagnostic(m_connection.Handle(), rc, false));
            return false;
        }
    }
    return true;
}

void SqliteStatement::StartClock() {
    m_interruption.timedOut = false;
    m_interruption.deadline = m_timeoutSeconds > 0 ? std::chrono::steady_clock::now() +
                                                         std::chrono::seconds(m_timeoutSeconds)
                                                   : std::chrono::steady_clock::time_point{};
}

void SqliteStatement::TellTimeOut(backend::Diagnostics& diag, size_t first) const {
    if (!m_interruption.timedOut)
        return;
    for (size_t i = first; i < diag.size(); ++i)
        if (diag[i].failure == backend::Failure::canceled) {
            diag[i].failure = backend::Failure::timeout;
            diag[i].sqlState = L"HYT00";
            diag[i].message = L"The statement's time-out of " + std::to_wstring(m_timeoutSeconds) +
                              L" s ran out.";
        }
}

bool SqliteStatement::Execute(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag) {
    m_connection.SyncAttachments();
    m_connection.TakeAttachMark();
    StartClock();
    const size_t first = diag.size();
    const bool ok = Run(rowsAffected, hasRows, diag);
    TellTimeOut(diag, first);
    // The statements after the first, or a recompiled first one, may attach
    // too; and a failing text may have attached something before it failed.
    if (m_connection.TakeAttachMark() || m_attaches)
        m_connection.PublishAttachments();
    return ok;
}

bool SqliteStatement::Run(DBROWCOUNT& rowsAffected, bool& hasRows, backend::Diagnostics& diag) {
    rowsAffected = DB_COUNTUNAVAILABLE;
    hasRows = false;
    m_pending = false;
    m_done = true;
    if (m_stmt == nullptr && m_rest.empty())
        return true;
    if (Canceled(diag))
        return false;
    sqlite3* db = m_connection.Handle();
    const sqlite3_int64 before = sqlite3_total_changes64(db);
    const bool readOnly = m_stmt == nullptr || sqlite3_stmt_readonly(m_stmt);
    // Sets that change nothing need no undoing.
    const bool together = m_setCount > 1 && !readOnly;
    if ((together && !BeginSets(diag)) || !RunSets(diag)) {
        EndSets(false, diag);
        return false;
    }
    if (m_pending && !m_rest.empty()) {
        // Rows of the first statement are only handed out when it is alone.
        sqlite3_reset(m_stmt);
        m_pending = false;
        m_done = true;
    }
    // A statement still delivering its rows (RETURNING) is still writing,
    // and SQLite releases no savepoint under it: its cursor's end does.
    if (!m_pending && !EndSets(true, diag))
        return false;
    if (!m_rest.empty()) {
        const CancelScope stepping(m_connection, m_interruption);
        int rc = sqlite3_exec(db, m_rest.c_str(), nullptr, nullptr, nullptr);
        if (rc != SQLITE_OK) {
            diag.push_back(MakeDiagnostic(db, rc, false));
            return false;
        }
    }
    hasRows = m_stmt != nullptr && sqlite3_column_count(m_stmt) > 0 && m_rest.empty();
    if (!hasRows && m_stmt != nullptr)
        sqlite3_reset(m_stmt);
    if (!readOnly || !m_rest.empty())
        rowsAffected = static_cast<DBROWCOUNT>(sqlite3_total_changes64(db) - before);
    return true;
}

bool SqliteStatement::RunSets(backend::Diagnostics& diag) {
    const size_t sets = m_setCount == 0 ? 1 : m_setCount;
    for (size_t s = 0; m_stmt != nullptr && s < sets; ++s) {
        const size_t reported = diag.size();
        sqlite3_reset(m_stmt);
        bool ok = m_setCount == 0 || Bind(m_sets[s], diag);
        int rc = ok ? Step() : SQLITE_OK;
        // Rows of every set but the last are not wanted.
        while (rc == SQLITE_ROW && s + 1 < sets)
            rc = Step();
        if (rc == SQLITE_ROW) {
            m_pending = true;
            m_done = false;
        } else if (ok && rc != SQLITE_DONE) {
            diag.push_back(MakeDiagnostic(m_connection.Handle(), rc, false));
            ok = false;
        }
        if (!ok) {
            sqlite3_reset(m_stmt);
            for (size_t d = reported; m_setCount != 0 && d < diag.size(); ++d)
                diag[d].parameterSet = s + 1;
            return false;
        }
    }
    return true;
}

namespace {

// One name serves every statement: savepoints nest, and RELEASE and
// ROLLBACK TO act on the innermost one of the name.
constexpr const char* BeginSetsSql = "SAVEPOINT hdb_parameter_sets";
constexpr const char* KeepSetsSql = "RELEASE hdb_parameter_sets";
constexpr const char* UndoNestedSetsSql =
    "ROLLBACK TO hdb_parameter_sets; RELEASE hdb_parameter_sets";

} // namespace

bool SqliteStatement::BeginSets(backend::Diagnostics& diag) {
    sqlite3* db = m_connection.Handle();
    m_setsOwnTransaction = sqlite3_get_autocommit(db) != 0;
    const int rc = sqlite3_exec(db, BeginSetsSql, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
        diag.push_back(MakeDiagnostic(db, rc, false));
        return false;
    }
    m_setsOpen = true;
    return true;
}

bool SqliteStatement::EndSets(bool keep, backend::Diagnostics& diag) {
    if (!m_setsOpen)
        return true;
    m_setsOpen = false;
    sqlite3* db = m_connection.Handle();
    // Some failures make SQLite roll the whole transaction back by itself
    // (a ROLLBACK conflict clause, an interrupted write); the savepoint is
    // gone with it, and so is everything it would undo.
    if (sqlite3_get_autocommit(db))
        return keep;
    if (keep) {
        const int rc = sqlite3_exec(db, KeepSetsSql, nullptr, nullptr, nullptr);
        if (rc == SQLITE_OK)
            return true;
        diag.push_back(MakeDiagnostic(db, rc, false));
    }
    // Releasing a savepoint that began the transaction commits it, which
    // can fail (busy); only a plain ROLLBACK then ends that transaction.
    const int rc = sqlite3_exec(db, m_setsOwnTransaction ? "ROLLBACK" : UndoNestedSetsSql, nullptr,
                                nullptr, nullptr);
    if (rc != SQLITE_OK)
        diag.push_back(MakeDiagnostic(db, rc, false));
    return false;
}

backend::FetchResult SqliteStatement::Fetch(backend::RowBuffer* const rows[], size_t count,
                                            size_t& fetched, backend::Diagnostics& diag) {
    StartClock();
    const size_t first = diag.size();
    const backend::FetchResult result = FetchRows(rows, count, fetched, diag);
    TellTimeOut(diag, first);
    return result;
}

backend::FetchResult SqliteStatement::FetchRows(backend::RowBuffer* const rows[], size_t count,
                                                size_t& fetched, backend::Diagnostics& diag) {
    fetched = 0;
    if (m_stmt == nullptr)
        return backend::FetchResult::end;
    if (Canceled(diag)) {
        m_pending = false;
        m_done = true;
        return backend::FetchResult::error;
    }
    while (fetched < count) {
        if (!m_pending) {
            if (m_done)
                break;
            int rc = Step();
            if (rc == SQLITE_DONE) {
                m_done = true;
                if (m_setsOpen) {
                    sqlite3_reset(m_stmt);
                    if (!EndSets(true, diag))
                        return backend::FetchResult::error;
                }
                break;
            }
            if (rc != SQLITE_ROW) {
                diag.push_back(MakeDiagnostic(m_connection.Handle(), rc, false));
                m_done = true;
                return fetched != 0 ? backend::FetchResult::rows : backend::FetchResult::error;
            }
        }
        ReadRow(*rows[fetched++]);
        m_pending = false;
    }
    return fetched != 0 ? backend::FetchResult::rows : backend::FetchResult::end;
}

void SqliteStatement::ReadRow(backend::RowBuffer& row) {
    const size_t n = m_types.size();
    row.Prepare(n);
    for (size_t i = 0; i < n; ++i) {
        // The column's value object once (one trip through the connection's
        // mutex), read with the value functions; only this rowset's thread
        // touches this statement's values.
        sqlite3_value* value = sqlite3_column_value(m_stmt, static_cast<int>(i));
        const int kind = sqlite3_value_type(value);
        if (kind == SQLITE_NULL) {
            row.SetNull(i);
            continue;
        }
        const ColumnType& type = m_types[i];
        auto text = [&] {
            auto* p = reinterpret_cast<const char*>(sqlite3_value_text(value));
            return std::pair{p, static_cast<size_t>(sqlite3_value_bytes(value))};
        };
        const Target target = type.target == Target::byValue ? type.valueTarget : type.target;
        switch (target) {
        case Target::integer:
        case Target::boolean:
            if (kind == SQLITE_INTEGER) {
                if (target == Target::boolean)
                    row.SetBool(i, sqlite3_value_int64(value) != 0);
                else
                    row.SetI8(i, sqlite3_value_int64(value));
                continue;
            }
            break;
        case Target::real:
            if (kind == SQLITE_INTEGER || kind == SQLITE_FLOAT) {
                row.SetR8(i, sqlite3_value_double(value));
                continue;
            }
            break;
        case Target::numeric:
            if (StoreNumeric(row, i, value, type.info.precision, type.info.scale))
                continue;
            break;
        case Target::date:
        case Target::time:
        case Target::timestamp:
            if (kind == SQLITE_TEXT) {
                auto [t, len] = text();
                DBDATE d;
                DBTIME tm;
                DBTIMESTAMP ts;
                if (target == Target::date && ParseDate(t, len, d)) {
                    row.SetDate(i, d);
                    continue;
                }
                if (target == Target::time && ParseTime(t, len, tm)) {
                    row.SetTime(i, tm);
                    continue;
                }
                if (target == Target::timestamp && ParseTimestamp(t, len, ts)) {
                    row.SetTimestamp(i, ts);
                    continue;
                }
            }
            break;
        case Target::bytes:
            if (kind == SQLITE_BLOB || kind == SQLITE_TEXT) {
                const void* blob = sqlite3_value_blob(value);
                row.SetBytes(i, blob, sqlite3_value_bytes(value));
                continue;
            }
            // A double has no bytes of its own: it arrives as those of its
            // text, as SQLite reads it as a blob. An integer stays one,
            // which a bytes binding gets as its eight bytes.
            if (kind == SQLITE_FLOAT) {
                const std::string real = RealText(sqlite3_value_double(value));
                row.SetBytes(i, real.data(), real.size());
                continue;
            }
            break;
        case Target::text:
        case Target::guid:
            // Text columns hand out text also for numbers stored in them.
            if (kind == SQLITE_FLOAT) {
                const std::string real = RealText(sqlite3_value_double(value));
                row.SetUtf8(i, real.data(), real.size());
                continue;
            }
            if (kind == SQLITE_INTEGER) {
                auto [t, len] = text();
                row.SetUtf8(i, t, len);
                continue;
            }
            break;
        case Target::byValue: // replaced by valueTarget above
            break;
        }
        // Everything else keeps the type SQLite holds it in; the conversion
        // into the consumer's binding does the rest.
        switch (kind) {
        case SQLITE_INTEGER:
            row.SetI8(i, sqlite3_value_int64(value));
            break;
        case SQLITE_FLOAT:
            row.SetR8(i, sqlite3_value_double(value));
            break;
        case SQLITE_BLOB:
            row.SetBytes(i, sqlite3_value_blob(value), sqlite3_value_bytes(value));
            break;
        default: {
            auto [t, len] = text();
            row.SetUtf8(i, t, len);
            break;
        }
        }
    }
}

bool SqliteStatement::ReadLong(size_t, size_t, size_t, void*, size_t, size_t& read,
                               backend::Diagnostics&) {
    // Every value arrives with its row; nothing is ever deferred.
    read = 0;
    return false;
}

void SqliteStatement::CloseCursor() {
    if (m_stmt != nullptr)
        sqlite3_reset(m_stmt);
    m_pending = false;
    m_done = true;
    // The parameter sets of a cursor left early took effect all the same.
    backend::Diagnostics ignored;
    EndSets(true, ignored);
}

bool SqliteStatement::OnlyReads() const {
    return m_stmt == nullptr || sqlite3_stmt_readonly(m_stmt) != 0;
}

bool SqliteStatement::Cancel() {
    m_interruption.cancel.store(true);
    return true;
}

void SqliteStatement::ResetCancel() {
    m_interruption.cancel.store(false);
}

int SqliteStatement::Step() {
    const CancelScope stepping(m_connection, m_interruption);
    return sqlite3_step(m_stmt);
}

bool SqliteStatement::Canceled(backend::Diagnostics& diag) const {
    if (!m_interruption.cancel.load())
        return false;
    diag.push_back(MakeDiagnostic(nullptr, SQLITE_INTERRUPT, false));
    return true;
}

} // namespace hdb::sqlite
