#include "OdbcStatement.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <set>
#include <thread>
#include <utility>

#include "OdbcApi.h"
#include "OdbcParameterArrays.h"
#include "OdbcRowBlock.h"
#include "StringConversion.h"

namespace hdb::odbc {

namespace {

// The pieces in which values set at execution go to the driver.
constexpr std::size_t kPutChunkBytes = 64 * 1024;
// A column name longer than this is read again with the room it needs.
constexpr SQLSMALLINT kNameUnits = 128;

SQLSMALLINT InputOutputType(OdbcParameterDirection direction) {
    switch (direction) {
    case OdbcParameterDirection::output:
        return SQL_PARAM_OUTPUT;
    case OdbcParameterDirection::inputOutput:
        return SQL_PARAM_INPUT_OUTPUT;
    default:
        return SQL_PARAM_INPUT;
    }
}

SQLPOINTER IntegerAttribute(std::uintptr_t value) {
    return reinterpret_cast<SQLPOINTER>(value);
}

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

OdbcNullable Nullability(SQLSMALLINT nullable) {
    switch (nullable) {
    case SQL_NO_NULLS:
        return OdbcNullable::no;
    case SQL_NULLABLE:
        return OdbcNullable::yes;
    default:
        return OdbcNullable::unknown;
    }
}

// Sets a statement attribute; true in ignored when the driver answered that
// it changed the value (01S02), which the statement then enforces itself.
bool SetEnforcedAttribute(SQLHSTMT handle, SQLINTEGER attribute, std::uintptr_t value,
                          bool& ignored, OdbcDiagnostics& diag) {
    ignored = false;
    OdbcDiagnostics answer;
    const SQLRETURN rc = SQLSetStmtAttrW(handle, attribute, IntegerAttribute(value), 0);
    const bool set = api::Check(rc, SQL_HANDLE_STMT, handle, answer);
    for (const OdbcDiagnostic& d : answer) {
        if (d.sqlState == L"01S02" && value != 0)
            ignored = true;
        else
            diag.push_back(d);
    }
    return set;
}

} // namespace

// Marks a call to the driver that Cancel may interrupt.
class OdbcStatement::Call {
public:
    explicit Call(OdbcStatement& statement) : m_statement(statement) {
        const std::lock_guard<std::mutex> guard(m_statement.m_cancelLock);
        m_statement.m_running = true;
        m_statement.m_cancelRequested = false;
    }
    ~Call() {
        const std::lock_guard<std::mutex> guard(m_statement.m_cancelLock);
        m_statement.m_running = false;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    OdbcStatement& m_statement;
};

// Cancels the running call when the statement's own time-out expires, and
// again each second until the call has ended: a cancel that reaches the
// server before the statement does is lost (MariaDB's driver cancels with
// KILL QUERY from a connection of its own).
class OdbcStatement::TimeoutWatch {
public:
    explicit TimeoutWatch(OdbcStatement& statement) : m_statement(statement) {
        m_statement.m_timedOut = false;
        if (m_statement.m_ownTimeout != 0)
            m_thread = std::thread([this, seconds = m_statement.m_ownTimeout] { Watch(seconds); });
    }
    ~TimeoutWatch() {
        if (!m_thread.joinable())
            return;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_finished = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }
    TimeoutWatch(const TimeoutWatch&) = delete;
    TimeoutWatch& operator=(const TimeoutWatch&) = delete;

private:
    void Watch(std::uint32_t seconds) {
        std::unique_lock<std::mutex> lock(m_lock);
        auto finished = [this] { return m_finished; };
        if (m_wake.wait_for(lock, std::chrono::seconds(seconds), finished))
            return;
        m_statement.m_timedOut = true;
        do {
            lock.unlock();
            OdbcDiagnostics ignored;
            m_statement.Cancel(ignored);
            lock.lock();
        } while (!m_wake.wait_for(lock, std::chrono::seconds(1), finished));
    }

    OdbcStatement& m_statement;
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_finished = false;
    std::thread m_thread;
};

OdbcStatement::OdbcStatement(void* handle, void* connection, const OdbcCapabilities& capabilities)
    : m_handle(handle), m_connection(connection), m_capabilities(capabilities) {}

bool OdbcStatement::Check(SQLRETURN rc, OdbcDiagnostics& diag) const {
    const std::size_t first = diag.size();
    if (api::Check(rc, SQL_HANDLE_STMT, m_handle, diag))
        return true;
    MarkLostConnection(diag, first);
    return false;
}

void OdbcStatement::MarkLostConnection(OdbcDiagnostics& diag, std::size_t first) const {
    // Some calls report a broken connection with a general state (psqlODBC
    // answers HY000 "FATAL: terminating connection" when it prepares on a
    // killed session); the driver's own view of the connection decides.
    SQLUINTEGER dead = SQL_CD_FALSE;
    if (!SQL_SUCCEEDED(
            SQLGetConnectAttrW(m_connection, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)) ||
        dead != SQL_CD_TRUE)
        return;
    for (std::size_t i = first; i < diag.size(); ++i)
        if (diag[i].failure == OdbcFailure::general)
            diag[i].failure = OdbcFailure::connectionLost;
}

OdbcStatement::~OdbcStatement() {
    SQLFreeHandle(SQL_HANDLE_STMT, m_handle);
}

bool OdbcStatement::SetQueryTimeout(std::uint32_t seconds, OdbcDiagnostics& diag) {
    bool ignored = false;
    if (!SetEnforcedAttribute(m_handle, SQL_ATTR_QUERY_TIMEOUT, seconds, ignored, diag))
        return false;
    m_ownTimeout = ignored ? seconds : 0;
    return true;
}

bool OdbcStatement::SetMaxRows(std::uint64_t rows, OdbcDiagnostics& diag) {
    // Enforced here in any case: a driver may accept the limit and still
    // ignore it for block cursors.
    bool ignored = false;
    if (!SetEnforcedAttribute(m_handle, SQL_ATTR_MAX_ROWS, rows, ignored, diag))
        return false;
    m_maxRows = rows;
    return true;
}

void OdbcStatement::ForgetResult() {
    m_block = nullptr;
    m_rowsPerFetch = 1;
    m_delivered = 0;
    ForgetLongValue();
}

void OdbcStatement::ForgetLongValue() {
    m_position = 0; // after a fetch the cursor stands on the block's first row
    m_longColumn = 0;
    m_longDone = false;
    m_hasPending = false;
}

void OdbcStatement::CloseCursor() {
    SQLFreeStmt(m_handle, SQL_CLOSE);
    ForgetResult();
}

bool OdbcStatement::Prepare(std::wstring_view text, OdbcDiagnostics& diag) {
    CloseCursor();
    std::u16string units = hdbtext::Utf16FromWide(text);
    const SQLRETURN rc = SQLPrepareW(m_handle, api::Sql(units), api::SqlLength(units));
    return Check(rc, diag);
}

bool OdbcStatement::DescribeParameters(std::vector<OdbcParameterDescription>& parameters,
                                       OdbcDiagnostics& diag) {
    parameters.clear();
    SQLSMALLINT count = 0;
    if (!Check(SQLNumParams(m_handle, &count), diag))
        return false;
    parameters.resize(static_cast<std::size_t>(std::max<SQLSMALLINT>(count, 0)));
    if (!m_capabilities.describesParameters)
        return true;
    for (SQLUSMALLINT i = 1; i <= parameters.size(); ++i) {
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        SQLSMALLINT nullable = SQL_NULLABLE_UNKNOWN;
        // A marker the driver cannot describe is the caller's to type; its
        // records say nothing the caller needs.
        if (!SQL_SUCCEEDED(SQLDescribeParam(m_handle, i, &type, &size, &digits, &nullable)))
            continue;
        OdbcParameterDescription& p = parameters[i - 1];
        p.described = true;
        p.sqlType = static_cast<OdbcSqlType>(type);
        p.size = size;
        p.decimalDigits = digits;
        p.nullable = Nullability(nullable);
    }
    return true;
}

bool OdbcStatement::BindParameterArrays(std::size_t onlySet, OdbcDiagnostics& diag) {
    SQLFreeStmt(m_handle, SQL_RESET_PARAMS);
    auto set = [&](SQLINTEGER attribute, SQLPOINTER value) {
        return Check(SQLSetStmtAttrW(m_handle, attribute, value, 0), diag);
    };
    m_boundSets = 1;
    if (!m_parameters) {
        // The arrays of an earlier execution may be gone: the driver must
        // not write its outcome there.
        if (m_parameterArraysBound && !(set(SQL_ATTR_PARAMSET_SIZE, IntegerAttribute(1)) &&
                                        set(SQL_ATTR_PARAM_STATUS_PTR, nullptr) &&
                                        set(SQL_ATTR_PARAMS_PROCESSED_PTR, nullptr)))
            return false;
        m_parameterArraysBound = false;
        return true;
    }
    OdbcParameterArrays& arrays = *m_parameters;
    const bool all = onlySet == kAllSets;
    const std::size_t firstSet = all ? 0 : onlySet;
    m_boundSets = all ? arrays.SetCount() : 1;
    m_parameterArraysBound = true;
    if (!set(SQL_ATTR_PARAM_BIND_TYPE, IntegerAttribute(SQL_PARAM_BIND_BY_COLUMN)) ||
        !set(SQL_ATTR_PARAMSET_SIZE, IntegerAttribute(m_boundSets)) ||
        !set(SQL_ATTR_PARAM_STATUS_PTR, arrays.StatusPointer() + firstSet) ||
        !set(SQL_ATTR_PARAMS_PROCESSED_PTR, all ? arrays.ProcessedPointer() : &m_setProcessed))
        return false;
    std::vector<OdbcParameterArrays::Column>& columns = arrays.Columns();
    for (std::size_t p = 0; p < columns.size(); ++p) {
        OdbcParameterArrays::Column& c = columns[p];
        const SQLRETURN rc =
            SQLBindParameter(m_handle, static_cast<SQLUSMALLINT>(p + 1),
                             InputOutputType(c.binding.direction), api::CType(c.binding.type),
                             static_cast<SQLSMALLINT>(c.binding.sqlType), arrays.ColumnSize(p),
                             arrays.DecimalDigits(p), c.data.data() + firstSet * c.elementBytes,
                             static_cast<SQLLEN>(c.elementBytes), c.indicators.data() + firstSet);
        if (!Check(rc, diag))
            return false;
    }
    return true;
}

bool OdbcStatement::SendAtExecution(std::int16_t& rc, OdbcDiagnostics& diag) {
    std::set<std::pair<std::size_t, std::size_t>> sent;
    std::vector<std::byte> buffer(kPutChunkBytes);
    auto abandon = [&](std::wstring message) {
        api::AddDiagnostic(diag, std::move(message), L"HY000", OdbcFailure::general);
        SQLCancel(m_handle); // ends the exchange; the statement can run again
        return false;
    };
    for (;;) {
        SQLPOINTER element = nullptr;
        rc = SQLParamData(m_handle, &element);
        if (rc != SQL_NEED_DATA)
            return true;
        std::size_t parameter = 0;
        std::size_t set = 0;
        // A driver that asked twice for one value would be given the
        // wrong one: it does not locate the sets of an array.
        if (!m_parameters || !m_parameters->ChunkSource() ||
            !m_parameters->Locate(element, parameter, set) || !sent.emplace(parameter, set).second)
            return abandon(L"The ODBC driver asked for a parameter value that is not sent at "
                           L"execution, or for one value twice.");
        const bool text =
            m_parameters->Columns()[parameter].binding.type == OdbcValueType::wideText;
        for (bool first = true;; first = false) {
            std::size_t filled = 0;
            if (!m_parameters->ChunkSource()(parameter, set, buffer, filled, diag)) {
                SQLCancel(m_handle);
                return false;
            }
            if (filled > buffer.size() || (text && filled % sizeof(char16_t) != 0))
                return abandon(L"A piece of a parameter value sent at execution does not fit "
                               L"the parameter.");
            // An empty value is sent as one empty piece.
            if (filled == 0 && !first)
                break;
            rc = SQLPutData(m_handle, buffer.data(), static_cast<SQLLEN>(filled));
            if (!SQL_SUCCEEDED(rc))
                return true;
            if (filled == 0)
                break;
        }
    }
}

bool OdbcStatement::Finish(std::int16_t rc, std::size_t firstDiagnostic, OdbcExecution& execution,
                           OdbcDiagnostics& diag) {
    if (rc == SQL_NO_DATA) { // a searched change that found no rows
        execution.rowCount = 0;
        return true;
    }
    if (!Check(rc, diag)) {
        MarkCanceled(diag, firstDiagnostic);
        return false;
    }
    SQLSMALLINT columns = 0;
    if (!Check(SQLNumResultCols(m_handle, &columns), diag))
        return false;
    execution.hasResult = columns > 0;
    SQLLEN count = -1;
    if (execution.hasResult || !SQL_SUCCEEDED(SQLRowCount(m_handle, &count)))
        return true;
    execution.rowCount = count;
    // Each further set's count is a result of its own.
    if (m_boundSets > 1 && m_capabilities.rowCountPerSet)
        while (SQL_SUCCEEDED(SQLMoreResults(m_handle)) &&
               SQL_SUCCEEDED(SQLRowCount(m_handle, &count)) && count >= 0)
            execution.rowCount += count;
    return true;
}

void OdbcStatement::MarkCanceled(OdbcDiagnostics& diag, std::size_t first) const {
    if (!m_cancelRequested)
        return;
    const OdbcFailure kind = m_timedOut ? OdbcFailure::timeout : OdbcFailure::canceled;
    bool marked = false;
    for (std::size_t i = first; i < diag.size(); ++i) {
        OdbcFailure& failure = diag[i].failure;
        if (failure == OdbcFailure::general || failure == OdbcFailure::timeout ||
            failure == OdbcFailure::canceled) {
            failure = kind;
            marked = true;
        }
    }
    if (!marked && m_timedOut)
        api::AddDiagnostic(diag, L"The statement's time-out expired.", L"HYT00", kind);
    else if (!marked)
        api::AddDiagnostic(diag, L"The statement was canceled.", L"HY008", kind);
}

bool OdbcStatement::Execute(OdbcExecution& execution, OdbcDiagnostics& diag) {
    return Run(nullptr, execution, diag);
}

bool OdbcStatement::ExecuteDirect(std::wstring_view text, OdbcExecution& execution,
                                  OdbcDiagnostics& diag) {
    return Run(&text, execution, diag);
}

bool OdbcStatement::Run(const std::wstring_view* text, OdbcExecution& execution,
                        OdbcDiagnostics& diag) {
    execution = {};
    CloseCursor();
    if (m_parameters && m_parameters->SetCount() == 0) {
        execution.rowCount = 0;
        return true;
    }
    if (m_parameters && m_parameters->SetCount() > 1 && m_parameters->HasAtExecution())
        return (!text || Prepare(*text, diag)) && RunEachSet(execution, diag);
    if (!BindParameterArrays(kAllSets, diag))
        return false;
    if (!text)
        return RunOnce(nullptr, execution, diag);
    const std::u16string units = hdbtext::Utf16FromWide(*text);
    return RunOnce(&units, execution, diag);
}

bool OdbcStatement::RunOnce(const std::u16string* text, OdbcExecution& execution,
                            OdbcDiagnostics& diag) {
    const std::size_t first = diag.size();
    SQLRETURN rc;
    {
        TimeoutWatch watch(*this);
        Call call(*this);
        rc = text ? SQLExecDirectW(m_handle, api::Sql(*text), api::SqlLength(*text))
                  : SQLExecute(m_handle);
        if (rc == SQL_NEED_DATA && !SendAtExecution(rc, diag))
            return false;
    }
    return Finish(rc, first, execution, diag);
}

bool OdbcStatement::RunEachSet(OdbcExecution& execution, OdbcDiagnostics& diag) {
    OdbcParameterArrays& arrays = *m_parameters;
    arrays.ForgetOutcome();
    std::int64_t total = 0;
    bool counted = false;
    for (std::size_t set = 0; set < arrays.SetCount(); ++set) {
        CloseCursor();
        if (!BindParameterArrays(set, diag))
            return false;
        const std::size_t first = diag.size();
        OdbcExecution one;
        const bool ran = RunOnce(nullptr, one, diag);
        for (std::size_t i = first; i < diag.size(); ++i)
            diag[i].row = static_cast<std::int64_t>(set);
        arrays.StatusPointer()[set] = !ran                  ? SQL_PARAM_ERROR
                                      : diag.size() > first ? SQL_PARAM_SUCCESS_WITH_INFO
                                                            : SQL_PARAM_SUCCESS;
        *arrays.ProcessedPointer() = set + 1;
        if (!ran)
            return false;
        if (one.rowCount >= 0) {
            total += one.rowCount;
            counted = true;
        }
        execution.hasResult = one.hasResult;
    }
    execution.rowCount = counted && !execution.hasResult ? total : -1;
    return true;
}

bool OdbcStatement::ListAllCatalogs(OdbcDiagnostics& diag) {
    CloseCursor();
    std::u16string all = u"" SQL_ALL_CATALOGS;
    std::u16string none;
    const SQLRETURN rc = SQLTablesW(m_handle, api::Sql(all), SQL_NTS, api::Sql(none), 0,
                                    api::Sql(none), 0, api::Sql(none), 0);
    return Check(rc, diag);
}

bool OdbcStatement::MoreResults(bool& another, OdbcExecution& execution, OdbcDiagnostics& diag) {
    another = false;
    execution = {};
    ForgetResult();
    const std::size_t first = diag.size();
    SQLRETURN rc;
    {
        Call call(*this);
        rc = SQLMoreResults(m_handle);
    }
    if (rc == SQL_NO_DATA)
        return true;
    if (!Finish(rc, first, execution, diag))
        return false;
    another = true;
    return true;
}

bool OdbcStatement::DescribeColumns(std::vector<OdbcColumn>& columns, OdbcDiagnostics& diag) {
    columns.clear();
    SQLSMALLINT count = 0;
    if (!Check(SQLNumResultCols(m_handle, &count), diag))
        return false;
    std::u16string name(kNameUnits, u'\0');
    for (SQLUSMALLINT c = 1; c <= count; ++c) {
        SQLSMALLINT nameLength = 0;
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        SQLSMALLINT nullable = SQL_NULLABLE_UNKNOWN;
        auto describe = [&] {
            return SQLDescribeColW(m_handle, c, api::Sql(name),
                                   static_cast<SQLSMALLINT>(name.size()), &nameLength, &type, &size,
                                   &digits, &nullable);
        };
        SQLRETURN rc = describe();
        if (SQL_SUCCEEDED(rc) && nameLength >= static_cast<SQLSMALLINT>(name.size())) {
            name.assign(static_cast<std::size_t>(nameLength) + 1, u'\0');
            rc = describe();
        }
        if (!Check(rc, diag))
            return false;
        OdbcColumn column;
        const auto units =
            std::min<std::size_t>(std::max<SQLSMALLINT>(nameLength, 0), name.size() - 1);
        column.name = hdbtext::WideFromUtf16(std::u16string_view(name.data(), units));
        column.sqlType = static_cast<OdbcSqlType>(type);
        column.size = size;
        column.decimalDigits = digits;
        column.nullable = Nullability(nullable);
        columns.push_back(std::move(column));
    }
    return true;
}

bool OdbcStatement::BindColumns(OdbcRowBlock& block, OdbcDiagnostics& diag) {
    m_block = nullptr;
    ForgetLongValue();
    SQLFreeStmt(m_handle, SQL_UNBIND);
    SQLSMALLINT count = 0;
    if (!Check(SQLNumResultCols(m_handle, &count), diag))
        return false;
    std::vector<OdbcRowBlock::Binding>& bindings = block.Bindings();
    bool allBound = true;
    for (SQLSMALLINT c = 1; c <= count; ++c)
        allBound = allBound && std::any_of(bindings.begin(), bindings.end(),
                                           [c](const auto& b) { return b.column == c; });
    const std::size_t rows = allBound || m_capabilities.positionedBlockReads ? block.Capacity() : 1;
    auto set = [&](SQLINTEGER attribute, SQLPOINTER value) {
        return Check(SQLSetStmtAttrW(m_handle, attribute, value, 0), diag);
    };
    if (!set(SQL_ATTR_ROW_BIND_TYPE, IntegerAttribute(SQL_BIND_BY_COLUMN)) ||
        !set(SQL_ATTR_ROW_ARRAY_SIZE, IntegerAttribute(rows)) ||
        !set(SQL_ATTR_ROWS_FETCHED_PTR, block.RowsFetchedPointer()) ||
        !set(SQL_ATTR_ROW_STATUS_PTR, block.StatusPointer()))
        return false;
    for (OdbcRowBlock::Binding& b : bindings) {
        const SQLRETURN rc = SQLBindCol(m_handle, b.column, api::CType(b.type), b.data.data(),
                                        static_cast<SQLLEN>(b.elementBytes), b.indicators.data());
        if (!Check(rc, diag))
            return false;
    }
    block.ForgetRows();
    m_block = &block;
    m_rowsPerFetch = rows;
    return true;
}

OdbcFetch OdbcStatement::Fetch(OdbcDiagnostics& diag) {
    if (!m_block) {
        api::AddDiagnostic(diag, L"No row block is bound to the current result.", L"HY010",
                           OdbcFailure::general);
        return OdbcFetch::error;
    }
    ForgetLongValue();
    if (m_maxRows != 0 && m_delivered >= m_maxRows) {
        m_block->ForgetRows();
        return OdbcFetch::end;
    }
    const std::size_t first = diag.size();
    SQLRETURN rc;
    {
        Call call(*this);
        rc = SQLFetch(m_handle);
    }
    if (rc == SQL_NO_DATA) {
        m_block->ForgetRows();
        return OdbcFetch::end;
    }
    if (!Check(rc, diag)) {
        MarkCanceled(diag, first);
        m_block->ForgetRows();
        return OdbcFetch::error;
    }
    std::uint64_t& rows = *m_block->RowsFetchedPointer();
    if (m_maxRows != 0)
        rows = std::min(rows, m_maxRows - m_delivered);
    m_delivered += rows;
    return rows > 0 ? OdbcFetch::rows : OdbcFetch::end;
}

bool OdbcStatement::PositionFor(std::size_t row, std::uint16_t column, OdbcDiagnostics& diag) {
    if (!m_block || row >= m_block->Rows()) {
        api::AddDiagnostic(diag, L"The row is not in the fetched block.", L"HY109",
                           OdbcFailure::general);
        return false;
    }
    if (row != m_position) {
        const SQLRETURN rc = SQLSetPos(m_handle, static_cast<SQLSETPOSIROW>(row + 1), SQL_POSITION,
                                       SQL_LOCK_NO_CHANGE);
        if (!Check(rc, diag))
            return false;
        m_position = row;
        m_longColumn = 0;
    }
    if (column != m_longColumn) {
        m_longColumn = column;
        m_longDone = false;
        m_hasPending = false;
    }
    return true;
}

OdbcRead OdbcStatement::GetLongPiece(std::uint16_t column, std::int16_t cType, void* buffer,
                                     std::size_t bytes, std::int64_t& length,
                                     OdbcDiagnostics& diag) {
    SQLLEN answered = 0;
    SQLRETURN rc;
    {
        Call call(*this);
        rc = SQLGetData(m_handle, column, cType, buffer, static_cast<SQLLEN>(bytes), &answered);
    }
    length = answered;
    if (rc == SQL_NO_DATA) {
        m_longDone = true;
        return OdbcRead::end;
    }
    // A piece ends with SQL_SUCCESS_WITH_INFO (01004, truncated) while more
    // follows: that is the expected way, not worth a warning.
    if (rc != SQL_SUCCESS && rc != SQL_SUCCESS_WITH_INFO) {
        const std::size_t first = diag.size();
        api::CollectDiagnostics(SQL_HANDLE_STMT, m_handle, rc, false, diag);
        MarkCanceled(diag, first);
        MarkLostConnection(diag, first);
        return OdbcRead::error;
    }
    if (answered == SQL_NULL_DATA) {
        m_longDone = true;
        return OdbcRead::null;
    }
    return OdbcRead::data;
}

OdbcRead OdbcStatement::ReadLongText(std::size_t row, std::uint16_t column, std::size_t maxUnits,
                                     std::wstring& piece, OdbcDiagnostics& diag) {
    piece.clear();
    if (!PositionFor(row, column, diag))
        return OdbcRead::error;
    maxUnits = std::max<std::size_t>(maxUnits, 2);
    // [0] holds a high surrogate kept from the last piece; the driver writes
    // behind it, terminator included.
    m_textChunk.resize(maxUnits + 2);
    for (;;) {
        if (m_longDone) {
            if (!m_hasPending)
                return OdbcRead::end;
            m_hasPending = false; // a lone high surrogate at the very end
            hdbtext::AppendWideFromUtf16(piece, std::u16string_view(m_textChunk.data(), 1));
            return OdbcRead::data;
        }
        std::int64_t length = 0;
        const OdbcRead got = GetLongPiece(column, SQL_C_WCHAR, m_textChunk.data() + 1,
                                          (maxUnits + 1) * sizeof(char16_t), length, diag);
        if (got == OdbcRead::end)
            continue; // what is left is a kept high surrogate, if anything
        if (got != OdbcRead::data)
            return got;
        const bool more = length == SQL_NO_TOTAL ||
                          static_cast<std::size_t>(length) > maxUnits * sizeof(char16_t);
        const std::size_t units =
            more ? maxUnits : static_cast<std::size_t>(length) / sizeof(char16_t);
        m_longDone = !more;
        const char16_t* start = m_textChunk.data() + (m_hasPending ? 0 : 1);
        std::size_t count = units + (m_hasPending ? 1 : 0);
        m_hasPending = more && count > 0 && IsHighSurrogate(start[count - 1]);
        if (m_hasPending)
            --count;
        hdbtext::AppendWideFromUtf16(piece, std::u16string_view(start, count));
        if (m_hasPending)
            m_textChunk[0] = start[count];
        if (!piece.empty())
            return OdbcRead::data;
    }
}

OdbcRead OdbcStatement::ReadLongBinary(std::size_t row, std::uint16_t column,
                                       std::span<std::byte> buffer, std::size_t& read,
                                       OdbcDiagnostics& diag) {
    read = 0;
    if (!PositionFor(row, column, diag))
        return OdbcRead::error;
    if (m_longDone)
        return OdbcRead::end;
    if (buffer.empty()) {
        api::AddDiagnostic(diag, L"A long value cannot be read into an empty buffer.", L"HY090",
                           OdbcFailure::general);
        return OdbcRead::error;
    }
    std::int64_t length = 0;
    const OdbcRead got =
        GetLongPiece(column, SQL_C_BINARY, buffer.data(), buffer.size(), length, diag);
    if (got != OdbcRead::data)
        return got;
    const bool more = length == SQL_NO_TOTAL || static_cast<std::size_t>(length) > buffer.size();
    read = more ? buffer.size() : static_cast<std::size_t>(length);
    m_longDone = !more;
    return read == 0 ? OdbcRead::end : OdbcRead::data;
}

bool OdbcStatement::Cancel(OdbcDiagnostics& diag) {
    const std::lock_guard<std::mutex> guard(m_cancelLock);
    if (!m_running)
        return true;
    m_cancelRequested = true;
    // The running call owns the statement's diagnostic records; reading
    // them here would race with it.
    if (SQL_SUCCEEDED(SQLCancel(m_handle)))
        return true;
    api::AddDiagnostic(diag, L"The ODBC driver could not cancel the statement.", L"HY000",
                       OdbcFailure::general);
    return false;
}

} // namespace hdb::odbc
