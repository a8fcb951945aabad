// How SQLite's values and declared types meet OLE DB's types, SQLite's
// errors meet diagnostics, and the SQL functions the generic dialect needs.
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "SqliteBackend.h"
#include "StringConversion.h"

#include "hdbplatform/ValueText.h"

namespace hdb::sqlite {

namespace {

constexpr DBLENGTH Unbounded = ~DBLENGTH{0};

ColumnType Fixed(DBTYPE type, DBLENGTH size, BYTE precision, Target target) {
    ColumnType t;
    t.info.type = type;
    t.info.size = size;
    t.info.precision = precision;
    t.info.flags = DBCOLUMNFLAGS_ISFIXEDLENGTH;
    t.target = target;
    return t;
}

ColumnType Variable(DBTYPE type, DBLENGTH size, Target target, bool fixed = false) {
    ColumnType t;
    t.info.type = type;
    t.info.size = size;
    t.target = target;
    if (size == Unbounded)
        t.info.flags = DBCOLUMNFLAGS_ISLONG;
    else if (fixed)
        t.info.flags = DBCOLUMNFLAGS_ISFIXEDLENGTH;
    return t;
}

bool Has(const std::string& s, const char* part) {
    return s.find(part) != std::string::npos;
}

// Text without a declared size, for columns whose values may be anything;
// not a long value either, so that consumers bind it in place.
ColumnType AnyValueText() {
    ColumnType t = Variable(DBTYPE_WSTR, 0, Target::text);
    t.info.size = Unbounded;
    return t;
}

// A column whose values say what it holds; until they do, text.
ColumnType TypedByValues() {
    ColumnType t = AnyValueText();
    t.target = Target::byValue;
    return t;
}

} // namespace

ColumnType MapDeclaredType(const char* declared) {
    if (declared == nullptr || *declared == '\0')
        return TypedByValues();
    std::string upper;
    for (const char* p = declared; *p != '\0'; ++p)
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    std::string base = upper.substr(0, upper.find('('));
    while (!base.empty() && std::isspace(static_cast<unsigned char>(base.back())))
        base.pop_back();
    // Size arguments: "(n)" or "(p, s)".
    long a1 = -1, a2 = -1;
    if (auto open = upper.find('('); open != std::string::npos)
        std::sscanf(upper.c_str() + open + 1, "%ld , %ld", &a1, &a2);

    if (Has(base, "INT")) {
        if (base == "TINYINT")
            return Fixed(DBTYPE_UI1, 1, 3, Target::integer);
        if (base == "SMALLINT" || base == "INT2")
            return Fixed(DBTYPE_I2, 2, 5, Target::integer);
        if (base == "INT" || base == "MEDIUMINT" || base == "INT4")
            return Fixed(DBTYPE_I4, 4, 10, Target::integer);
        return Fixed(DBTYPE_I8, 8, 19, Target::integer);
    }
    if (base == "BOOL" || base == "BOOLEAN" || base == "BIT")
        return Fixed(DBTYPE_BOOL, 2, 0, Target::boolean);
    if (base == "UNIQUEIDENTIFIER" || base == "GUID" || base == "UUID")
        return Fixed(DBTYPE_GUID, 16, 0, Target::guid);
    if (Has(base, "CHAR") || Has(base, "CLOB") || Has(base, "TEXT")) {
        const bool fixed = (base == "CHAR" || base == "NCHAR" || base == "CHARACTER" ||
                            base == "NATIVE CHARACTER");
        return Variable(DBTYPE_WSTR, a1 > 0 ? static_cast<DBLENGTH>(a1) : Unbounded, Target::text,
                        fixed);
    }
    if (Has(base, "BLOB") || Has(base, "BINARY") || base == "IMAGE" || base == "BYTEA")
        return Variable(DBTYPE_BYTES, a1 > 0 ? static_cast<DBLENGTH>(a1) : Unbounded, Target::bytes,
                        base == "BINARY");
    if (Has(base, "REAL") || Has(base, "FLOA") || Has(base, "DOUB"))
        return Fixed(DBTYPE_R8, 8, 15, Target::real);
    if (base == "DATETIME" || Has(base, "TIMESTAMP"))
        return Fixed(DBTYPE_DBTIMESTAMP, 16, 23, Target::timestamp);
    if (base == "DATE")
        return Fixed(DBTYPE_DBDATE, 6, 10, Target::date);
    if (base == "TIME")
        return Fixed(DBTYPE_DBTIME, 6, 8, Target::time);
    if (base == "NUMERIC" || base == "DECIMAL" || base == "DEC" || base == "MONEY") {
        if (base == "MONEY") {
            a1 = 19;
            a2 = 4;
        }
        if (a1 > 0 && a1 <= 38) {
            ColumnType t =
                Fixed(DBTYPE_NUMERIC, sizeof(DB_NUMERIC), static_cast<BYTE>(a1), Target::numeric);
            t.info.scale = static_cast<BYTE>(a2 > 0 && a2 <= a1 ? a2 : 0);
            return t;
        }
        // Without a precision SQLite keeps whatever it was given: integers
        // of 64 bits, doubles of any size and scale, and text that is no
        // number. A double loses integers beyond 2^53, and a DB_NUMERIC,
        // whose scale the column fixes, loses either the fractions or the
        // range and cannot hold the text. Text holds each exactly (a double
        // as the shortest text that is the same double), and a consumer's
        // numeric binding converts it exactly or says why it cannot.
        return AnyValueText();
    }
    // Any other name has numeric affinity in SQLite; its values say the rest.
    return TypedByValues();
}

ColumnType TypeOfValue(int sqliteType) {
    // SQLite gives such a column a type per value, and the first value tells
    // nothing of the later ones (CASE WHEN a = 1 THEN 1 ELSE 2.7 END, or
    // 'five' after 5), while a column has one type for the whole result.
    // Text is the one type every value of SQLite has exactly: integers digit
    // for digit, doubles as the shortest text that is the same double, text
    // as it is. A numeric description would cut 2.7 to 2 or fail on 'five',
    // and a consumer binding as described would lose the value or the rest
    // of the result. A consumer that wants a number binds one, and the
    // conversion says exactly which values are none. Only a column that
    // begins with a blob is described as bytes: its later text and numbers
    // have bytes too, where a blob has no text of its own.
    if (sqliteType == SQLITE_BLOB)
        return Variable(DBTYPE_BYTES, Unbounded, Target::bytes);
    return AnyValueText();
}

namespace {

// The SQL state and kind of failure of each primary result code that has its
// own; SQLITE_ERROR depends on the message and the step (see below), any other
// code is a general HY000.
struct PrimaryCodeFailure {
    int code;
    const wchar_t* sqlState;
    backend::Failure failure;
};

constexpr PrimaryCodeFailure PrimaryCodeFailures[] = {
    {SQLITE_CONSTRAINT, L"23000", backend::Failure::constraint},
    {SQLITE_BUSY, L"40001", backend::Failure::busy},
    {SQLITE_LOCKED, L"40001", backend::Failure::busy},
    {SQLITE_INTERRUPT, L"HY008", backend::Failure::canceled},
    {SQLITE_READONLY, L"25006", backend::Failure::readOnly},
    {SQLITE_CANTOPEN, L"08001", backend::Failure::cannotConnect},
    {SQLITE_MISMATCH, L"22018", backend::Failure::conversion},
    {SQLITE_RANGE, L"22018", backend::Failure::conversion},
};

} // namespace

backend::Diagnostic MakeDiagnostic(sqlite3* db, int rc, bool preparing) {
    backend::Diagnostic d;
    const char* message = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    d.message = FromUtf8(message);
    d.nativeError = db != nullptr ? sqlite3_extended_errcode(db) : rc;
    d.sqlState = L"HY000";
    const int primary = d.nativeError & 0xff;
    for (const PrimaryCodeFailure& entry : PrimaryCodeFailures) {
        if (entry.code == primary) {
            d.sqlState = entry.sqlState;
            d.failure = entry.failure;
            return d;
        }
    }
    if (primary == SQLITE_ERROR) {
        if (std::strncmp(message, "no such table", 13) == 0) {
            d.sqlState = L"42S02";
            d.failure = backend::Failure::noTable;
        } else if (preparing) {
            d.sqlState = L"42000";
            d.failure = backend::Failure::syntax;
        }
    }
    return d;
}

// ------------------------------------------------------------ text

// Text that is not valid Unicode becomes U+FFFD both ways; bad UTF-8 from
// the database is repaired byte by byte, as the row buffer repairs values.
std::string ToUtf8(const wchar_t* text, size_t chars) {
    return hdbtext::Utf8FromWide({text, chars});
}

std::string ToUtf8(const std::wstring& text) {
    return hdbtext::Utf8FromWide(text);
}

std::wstring FromUtf8(const char* text) {
    return hdbtext::WideFromUtf8(text, hdbtext::Utf8Repair::perByte);
}

// ------------------------------------------------------------ dates

std::string DateText(const DBDATE& d) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", d.year, d.month, d.day);
    return text;
}

std::string TimeText(const DBTIME& t) {
    char text[32];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", t.hour, t.minute, t.second);
    return text;
}

std::string TimestampText(const DBTIMESTAMP& t) {
    char text[64];
    int n = std::snprintf(text, sizeof text, "%04d-%02u-%02u %02u:%02u:%02u", t.year, t.month,
                          t.day, t.hour, t.minute, t.second);
    if (t.fraction != 0) {
        // Milliseconds when that is exact (what SQLite's date functions
        // read), else all nine digits without trailing zeros.
        if (t.fraction % 1000000 == 0) {
            std::snprintf(text + n, sizeof text - n, ".%03u", t.fraction / 1000000);
        } else {
            char digits[16];
            std::snprintf(digits, sizeof digits, "%09u", t.fraction);
            size_t len = 9;
            while (len > 3 && digits[len - 1] == '0')
                --len;
            digits[len] = '\0';
            std::snprintf(text + n, sizeof text - n, ".%s", digits);
        }
    }
    return text;
}

namespace {

// Stored date text: its date and time parts, the ones it lacks zero.
bool ParseStored(const char* text, size_t n, DBTIMESTAMP& ts, bool& hasDate) {
    bool hasTime;
    return hdbconvert::ParseDateText(text, n, hdbconvert::DateTextForm::stored, ts, hasDate,
                                     hasTime);
}

} // namespace

bool ParseDate(const char* text, size_t n, DBDATE& d) {
    // A timestamp at midnight still reads as a date.
    DBTIMESTAMP ts;
    bool hasDate;
    if (!ParseStored(text, n, ts, hasDate) || !hasDate || ts.hour != 0 || ts.minute != 0 ||
        ts.second != 0 || ts.fraction != 0)
        return false;
    d = DBDATE{ts.year, ts.month, ts.day};
    return true;
}

bool ParseTime(const char* text, size_t n, DBTIME& t) {
    // A timestamp reads as its time of day.
    DBTIMESTAMP ts;
    bool hasDate;
    if (!ParseStored(text, n, ts, hasDate))
        return false;
    t = DBTIME{ts.hour, ts.minute, ts.second};
    return true;
}

bool ParseTimestamp(const char* text, size_t n, DBTIMESTAMP& t) {
    bool hasDate;
    return ParseStored(text, n, t, hasDate) && hasDate;
}

// ------------------------------------------------------------ numbers

namespace {

using U128 = unsigned __int128;

U128 Magnitude(const DB_NUMERIC& n) {
    U128 v = 0;
    for (int i = 15; i >= 0; --i)
        v = (v << 8) | n.val[i];
    return v;
}

DB_NUMERIC MakeNumeric(U128 magnitude, bool negative, BYTE precision, BYTE scale) {
    DB_NUMERIC out;
    out.precision = precision;
    out.scale = scale;
    out.sign = negative && magnitude != 0 ? 0 : 1;
    for (int i = 0; i < 16; ++i) {
        out.val[i] = static_cast<BYTE>(magnitude & 0xFF);
        magnitude >>= 8;
    }
    return out;
}

bool Fits(U128 magnitude, BYTE precision) {
    U128 limit = 1;
    for (int i = 0; i < precision; ++i)
        limit *= 10;
    return magnitude < limit;
}

using hdbconvert::DecimalText;

// The fewest digits that read back as v, with an exponent ("1.005e+00").
// SQLite's own text of a double keeps 15 digits, which is not always the
// same double.
std::string ShortestReal(double v) {
    char text[32];
    return std::string(text, hdbconvert::ShortestRealText(v, text, sizeof text));
}

} // namespace

std::string RealText(double v) {
    if (std::isinf(v))
        return v < 0 ? "-Inf" : "Inf";
    // The shortest digits, written out without an exponent (which a reader
    // of integers would stop at), with ".0" after an integral value as
    // SQLite writes one.
    const std::string shortest = ShortestReal(v);
    DecimalText<char> d;
    if (!hdbconvert::SplitDecimal(shortest.data(), shortest.size(), d))
        return shortest;
    std::string digits(d.whole, d.wholeDigits);
    digits.append(d.fraction, d.fractionDigits);
    const long long point = static_cast<long long>(d.wholeDigits) + d.exponent;
    std::string text = d.negative ? "-" : "";
    if (point <= 0) {
        text += "0." + std::string(static_cast<size_t>(-point), '0') + digits;
    } else if (point >= static_cast<long long>(digits.size())) {
        text += digits + std::string(static_cast<size_t>(point) - digits.size(), '0') + ".0";
    } else {
        digits.insert(static_cast<size_t>(point), ".");
        text += digits;
    }
    return text;
}

std::string NumericText(const DB_NUMERIC& n) {
    U128 v = Magnitude(n);
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(v % 10)));
        v /= 10;
    } while (v != 0);
    if (n.scale > 0) {
        if (digits.size() <= n.scale)
            digits.insert(0, n.scale - digits.size() + 1, '0');
        digits.insert(digits.size() - n.scale, ".");
    }
    if (n.sign == 0)
        digits.insert(0, "-");
    return digits;
}

bool StoreNumeric(backend::RowBuffer& row, size_t column, sqlite3_value* value, BYTE precision,
                  BYTE scale) {
    // Every value is rounded from the decimal it is written as. For a double
    // that is the shortest decimal that is the same double: the number SQLite
    // shows for it and, nearly always, the one it was given. Rounding its
    // binary expansion instead would read 1.005 as 1.00 at scale 2.
    std::string text;
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER: {
        char digits[24];
        auto end = std::to_chars(digits, digits + sizeof digits, sqlite3_value_int64(value)).ptr;
        text.assign(digits, end);
        break;
    }
    case SQLITE_FLOAT: {
        const double v = sqlite3_value_double(value);
        if (!std::isfinite(v))
            return false;
        text = ShortestReal(v);
        break;
    }
    case SQLITE_TEXT:
        text.assign(reinterpret_cast<const char*>(sqlite3_value_text(value)),
                    static_cast<size_t>(sqlite3_value_bytes(value)));
        break;
    default:
        return false;
    }
    DecimalText<char> decimal;
    if (!hdbconvert::SplitDecimal(text.data(), text.size(), decimal))
        return false;
    U128 magnitude;
    if (!hdbconvert::RoundedMagnitude(decimal, scale, magnitude)) {
        // Too large for any numeric: the number as it is, which a binding at
        // any precision reports as an overflow.
        row.SetUtf8(column, text.data(), text.size());
        return true;
    }
    const DB_NUMERIC number = MakeNumeric(magnitude, decimal.negative, precision, scale);
    if (!Fits(magnitude, precision)) {
        // Rounding may carry into a digit the precision does not have (9.995
        // at precision 3 and scale 2). The rounded number as text lets a
        // binding at the column's precision report the overflow, where the
        // original one would be cut to a wrong 9.99, and lets a text binding
        // show it.
        const std::string rounded = NumericText(number);
        row.SetUtf8(column, rounded.data(), rounded.size());
        return true;
    }
    row.SetNumeric(column, number);
    return true;
}

// ------------------------------------------------------------ functions

namespace {

// CHR(n): the character with code point n.
void Chr(sqlite3_context* context, int, sqlite3_value** args) {
    if (sqlite3_value_type(args[0]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    sqlite3_int64 code = sqlite3_value_int64(args[0]);
    if (code < 0 || code > 0x10FFFF) {
        sqlite3_result_null(context);
        return;
    }
    wchar_t c = static_cast<wchar_t>(code);
    std::string text = ToUtf8(&c, 1);
    if (code == 0)
        text.assign(1, '\0');
    sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// CONCAT(a, b, ...): the texts joined; NULL arguments count as empty.
void Concat(sqlite3_context* context, int argc, sqlite3_value** args) {
    std::string text;
    for (int i = 0; i < argc; ++i) {
        if (sqlite3_value_type(args[i]) == SQLITE_NULL)
            continue;
        auto* part = reinterpret_cast<const char*>(sqlite3_value_text(args[i]));
        text.append(part, static_cast<size_t>(sqlite3_value_bytes(args[i])));
    }
    sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

} // namespace

int RegisterFunctions(sqlite3* db) {
    const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    int rc =
        sqlite3_create_function_v2(db, "CHR", 1, flags, nullptr, Chr, nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK)
        rc = sqlite3_create_function_v2(db, "CONCAT", -1, flags, nullptr, Concat, nullptr, nullptr,
                                        nullptr);
    return rc;
}

} // namespace hdb::sqlite
