// Numbers of NUMERIC columns: rounded once, half away from zero, at the
// declared scale; an overflow reported, never a wrong value. Values are
// stored through the sqlite3 C API and read back through accessors.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "ProviderTest.h"

using namespace providertest;

namespace {

// The decimal text of a DB_NUMERIC, minus sign only for values not zero.
std::string DecimalOf(const DB_NUMERIC& n) {
    unsigned __int128 m = 0;
    for (int i = 15; i >= 0; --i)
        m = (m << 8) | n.val[i];
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(m % 10)));
        m /= 10;
    } while (m != 0);
    if (digits.size() <= n.scale)
        digits.insert(0, n.scale - digits.size() + 1, '0');
    if (n.scale > 0)
        digits.insert(digits.size() - n.scale, ".");
    return (n.sign == 0 && digits.find_first_not_of("0.") != std::string::npos ? "-" : "") + digits;
}

// Reference rounding in decimal digits: text is [-]digits[.digits]; the
// result has exactly scale digits after the point, or is empty when it
// needs more than precision digits.
std::string RoundReference(const std::string& text, int precision, int scale) {
    const bool negative = text[0] == '-';
    const std::string body = negative ? text.substr(1) : text;
    const size_t point = body.find('.');
    std::string whole = body.substr(0, point);
    std::string fraction = point == std::string::npos ? "" : body.substr(point + 1);
    fraction.resize(std::max<size_t>(fraction.size(), scale + 1), '0');
    std::string digits = whole + fraction.substr(0, scale);
    if (fraction[scale] >= '5') {
        size_t i = digits.size();
        while (i > 0 && digits[i - 1] == '9')
            digits[--i] = '0';
        if (i == 0)
            digits.insert(0, "1");
        else
            ++digits[i - 1];
    }
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
    if (static_cast<int>(digits.size()) > precision)
        return "";
    const bool zero = digits.empty();
    digits.insert(0, scale + 1 - std::min<size_t>(digits.size(), scale + 1), '0');
    if (scale > 0)
        digits.insert(digits.size() - scale, ".");
    return (negative && !zero ? "-" : "") + digits;
}

// The shortest decimal that reads back as v, without exponent: found by
// widening printf's precision, independently of the provider's formatting.
std::string ShortestDecimal(double v) {
    char text[64];
    for (int digits = 1; digits <= 17; ++digits) {
        std::snprintf(text, sizeof text, "%.*e", digits - 1, v);
        if (std::strtod(text, nullptr) == v)
            break;
    }
    std::string s = text;
    const bool negative = s[0] == '-';
    if (negative)
        s.erase(0, 1);
    const size_t e = s.find('e');
    const int exponent = std::atoi(s.c_str() + e + 1);
    std::string digits = s.substr(0, e);
    digits.erase(std::remove(digits.begin(), digits.end(), '.'), digits.end());
    // The point goes after exponent + 1 digits.
    const int point = exponent + 1;
    if (point <= 0)
        digits = "0." + std::string(-point, '0') + digits;
    else if (point >= static_cast<int>(digits.size()))
        digits += std::string(point - digits.size(), '0');
    else
        digits.insert(point, ".");
    return (negative ? "-" : "") + digits;
}

// What SQLite holds in column of the current row, as an exact decimal.
std::string StoredDecimal(sqlite3_stmt* stmt, int column) {
    if (sqlite3_column_type(stmt, column) == SQLITE_FLOAT)
        return ShortestDecimal(sqlite3_column_double(stmt, column));
    return reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
}

class NumericValuesTest : public ProviderTest {
protected:
    // Every row of sql read through layout, with GetData's result.
    std::vector<std::pair<HRESULT, std::vector<BYTE>>> ReadRows(const std::wstring& sql,
                                                                const Layout& layout) {
        std::vector<std::pair<HRESULT, std::vector<BYTE>>> rows;
        auto command = NewCommand(m_session.Get(), sql);
        Ptr<IRowset> rowset;
        EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
                  S_OK);
        if (!rowset)
            return rows;
        return ReadThrough(rowset.Get(), layout, 0xCC);
    }

    // Runs sql with the C API, binding each of values in turn as text.
    void InsertTexts(const char* sql, const std::vector<std::string>& values) {
        sqlite3_stmt* stmt = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(Db(), sql, -1, &stmt, nullptr), SQLITE_OK);
        for (const std::string& v : values) {
            sqlite3_bind_text(stmt, 1, v.c_str(), -1, SQLITE_TRANSIENT);
            ASSERT_EQ(sqlite3_step(stmt), SQLITE_DONE) << sqlite3_errmsg(Db());
            sqlite3_reset(stmt);
        }
        sqlite3_finalize(stmt);
    }
};

TEST_F(NumericValuesTest, DecimalsRoundOnceHalfAwayFromZeroAtTheScale) {
    // value as the C API binds it (text, or a double / integer when marked),
    // the declaration, and what a binding at the declared precision gets
    // ("" for an overflow).
    struct Case {
        const char* declared;
        const char* value;
        char bindAs; // 't' text, 'r' double, 'i' integer
        const char* expected;
    } cases[] = {
        {"NUMERIC(10,2)", "1.2345", 't', "1.23"},
        {"NUMERIC(10,2)", "0.1249", 't', "0.12"},
        {"NUMERIC(10,2)", "10.004999", 't', "10.00"},
        {"NUMERIC(10,2)", "-1.2345", 't', "-1.23"},
        {"NUMERIC(10,2)", "0.125", 't', "0.13"},
        {"NUMERIC(10,2)", "-0.125", 'r', "-0.13"},
        // A double reads as the shortest decimal that is the same double.
        {"NUMERIC(10,2)", "1.005", 'r', "1.01"},
        {"NUMERIC(10,2)", "-1.005", 'r', "-1.01"},
        {"NUMERIC(10,2)", "-0.004", 'r', "0.00"},
        {"NUMERIC(10,2)", "7", 'i', "7.00"},
        {"NUMERIC(10,0)", "2.49", 't', "2"},
        {"NUMERIC(10,0)", "3.06", 't', "3"},
        {"NUMERIC(10,0)", "2.5", 'r', "3"},
        {"NUMERIC(10,0)", "-2.5", 't', "-3"},
        {"NUMERIC(10,0)", "1e3", 't', "1000"},
        // Carries that reach beyond the precision overflow.
        {"NUMERIC(10,2)", "9.995", 't', "10.00"},
        {"NUMERIC(4,2)", "99.994", 't', "99.99"},
        {"NUMERIC(3,2)", "9.995", 't', ""},
        {"NUMERIC(3,2)", "-9.995", 'r', ""},
        {"NUMERIC(3,0)", "999.5", 't', ""},
        {"NUMERIC(3,0)", "-999.4", 't', "-999"},
        {"NUMERIC(5,2)", "1000", 'i', ""},
        {"NUMERIC(38,0)", "1e300", 'r', ""},
    };
    int id = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.declared) + " " + c.value);
        const std::string table = "n" + std::to_string(++id);
        ASSERT_EQ(sqlite3_exec(Db(), ("CREATE TABLE " + table + " (v " + c.declared + ")").c_str(),
                               nullptr, nullptr, nullptr),
                  SQLITE_OK);
        sqlite3_stmt* insert = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(Db(), ("INSERT INTO " + table + " VALUES (?)").c_str(), -1,
                                     &insert, nullptr),
                  SQLITE_OK);
        if (c.bindAs == 'r')
            sqlite3_bind_double(insert, 1, std::strtod(c.value, nullptr));
        else if (c.bindAs == 'i')
            sqlite3_bind_int64(insert, 1, std::strtoll(c.value, nullptr, 10));
        else
            sqlite3_bind_text(insert, 1, c.value, -1, SQLITE_STATIC);
        ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
        sqlite3_finalize(insert);
        // SQLite keeps the number itself, unrounded.
        EXPECT_EQ(std::strtod(Scalar(("SELECT v FROM " + table).c_str()).c_str(), nullptr),
                  std::strtod(c.value, nullptr));

        unsigned precision = 0, scale = 0;
        std::sscanf(c.declared, "NUMERIC(%u,%u)", &precision, &scale);
        Layout layout;
        DBBINDING& numeric = layout.Add(1, DBTYPE_NUMERIC, sizeof(DB_NUMERIC));
        numeric.bPrecision = static_cast<BYTE>(precision);
        numeric.bScale = static_cast<BYTE>(scale);
        layout.Add(1, DBTYPE_WSTR, 80 * sizeof(wchar_t));
        auto rows = ReadRows(L"SELECT v FROM " + std::wstring(table.begin(), table.end()), layout);
        ASSERT_EQ(rows.size(), 1u);
        BYTE* row = rows[0].second.data();
        const std::wstring text(&layout.Value<wchar_t>(row, 1));
        if (*c.expected == '\0') {
            EXPECT_EQ(rows[0].first, DB_S_ERRORSOCCURRED);
            EXPECT_EQ(layout.Status(row, 0), DBSTATUS_E_DATAOVERFLOW);
            EXPECT_EQ(layout.Status(row, 1), DBSTATUS_S_OK);
        } else {
            EXPECT_EQ(rows[0].first, S_OK);
            ASSERT_EQ(layout.Status(row, 0), DBSTATUS_S_OK);
            const DB_NUMERIC& n = layout.Value<DB_NUMERIC>(row, 0);
            EXPECT_EQ(DecimalOf(n), c.expected);
            EXPECT_EQ(n.precision, precision);
            EXPECT_EQ(n.scale, scale);
            EXPECT_EQ(text, std::wstring(c.expected, c.expected + std::strlen(c.expected)));
        }
    }
}

TEST_F(NumericValuesTest, WithoutAPrecisionEveryStoredValueArrivesExactly) {
    // What SQLite keeps in a NUMERIC or DECIMAL column without a precision:
    // integers of 64 bits, doubles of any size, text that is no number.
    ASSERT_EQ(
        sqlite3_exec(Db(), "CREATE TABLE w (n NUMERIC, d DECIMAL)", nullptr, nullptr, nullptr),
        SQLITE_OK);
    sqlite3_stmt* insert = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(Db(), "INSERT INTO w VALUES (?1, ?1)", -1, &insert, nullptr),
              SQLITE_OK);
    struct Case {
        const char* stored; // what SQLite holds (typeof)
        const wchar_t* text;
        LONGLONG integer;
        double real;
    } cases[] = {
        {"integer", L"9007199254740993", 9007199254740993LL, 0},
        {"integer", L"-9223372036854775808", INT64_MIN, 0},
        {"real", L"0.30000000000000004", 0, 0.1 + 0.2},
        {"real", L"2.5", 0, 2.5},
        {"real", L"-0.00000015", 0, -1.5e-7},
        {"real", L"100000000000000000000.0", 0, 1e20},
        {"text", L"n/a", 0, 0},
    };
    for (const Case& c : cases) {
        if (c.stored[0] == 'i')
            sqlite3_bind_int64(insert, 1, c.integer);
        else if (c.stored[0] == 'r')
            sqlite3_bind_double(insert, 1, c.real);
        else
            sqlite3_bind_text(insert, 1, "n/a", -1, SQLITE_STATIC);
        ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);

    Layout layout;
    for (DBORDINAL column : {1, 2}) {
        layout.Add(column, DBTYPE_WSTR, 40 * sizeof(wchar_t));
        layout.Add(column, DBTYPE_R8, sizeof(double));
        layout.Add(column, DBTYPE_I8, sizeof(LONGLONG));
    }
    auto rows = ReadRows(L"SELECT n, d FROM w ORDER BY rowid", layout);
    ASSERT_EQ(rows.size(), std::size(cases));
    sqlite3_stmt* stored = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(Db(), "SELECT typeof(n), typeof(d) FROM w ORDER BY rowid", -1,
                                 &stored, nullptr),
              SQLITE_OK);
    for (size_t r = 0; r < rows.size(); ++r) {
        const Case& c = cases[r];
        SCOPED_TRACE(r);
        ASSERT_EQ(sqlite3_step(stored), SQLITE_ROW);
        BYTE* row = rows[r].second.data();
        for (int column = 0; column < 2; ++column) {
            EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(stored, column)),
                         c.stored);
            const size_t at = column * 3;
            ASSERT_EQ(layout.Status(row, at), DBSTATUS_S_OK);
            EXPECT_EQ(std::wstring(&layout.Value<wchar_t>(row, at)), c.text);
            if (c.stored[0] == 'i') {
                EXPECT_EQ(layout.Value<LONGLONG>(row, at + 2), c.integer);
            } else if (c.stored[0] == 'r') {
                EXPECT_EQ(layout.Value<double>(row, at + 1), c.real);
            } else {
                EXPECT_EQ(rows[r].first, DB_S_ERRORSOCCURRED);
                EXPECT_EQ(layout.Status(row, at + 1), DBSTATUS_E_CANTCONVERTVALUE);
            }
        }
    }
    sqlite3_finalize(stored);

    // Described so that a consumer binding the column as described gets
    // every value whole: as text of no declared size.
    auto command = NewCommand(m_session.Get(), L"SELECT n, d FROM w");
    ASSERT_EQ(command.As<ICommandPrepare>(IID_ICommandPrepare)->Prepare(0), S_OK);
    Ptr<IColumnsInfo> info = command.As<IColumnsInfo>(IID_IColumnsInfo);
    DBORDINAL count = 0;
    DBCOLUMNINFO* columns = nullptr;
    OLECHAR* names = nullptr;
    ASSERT_EQ(info->GetColumnInfo(&count, &columns, &names), S_OK);
    ASSERT_EQ(count, 2u);
    for (DBORDINAL i = 0; i < count; ++i) {
        EXPECT_EQ(columns[i].wType, DBTYPE_WSTR);
        EXPECT_EQ(columns[i].ulColumnSize, ~DBLENGTH{0});
        EXPECT_EQ(columns[i].dwFlags & DBCOLUMNFLAGS_ISLONG, 0u);
    }
    CoTaskMemFree(columns);
    CoTaskMemFree(names);
}

TEST_F(NumericValuesTest, RandomDecimalsOfEveryPrecisionAndScaleMatchAReferenceRounding) {
    // Each precision gets two tables with a column per scale: in "a<p>" SQLite
    // turns the texts into integers or doubles as NUMERIC columns do; "t<p>"
    // keeps them as text, as a file does whose declarations were edited after
    // the rows were written (SQLite converts no stored value then).
    std::mt19937 random(20240611);
    auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    auto decimal = [&](int precision, int scale) {
        // Up to one digit too many before the point, up to three beyond the
        // scale after it; ties and runs of nines now and then.
        const int whole = below(8) == 0 ? precision - scale + 1 : below(precision - scale + 1);
        const int fraction = below(scale + 4);
        std::string digits;
        for (int i = 0; i < whole + fraction; ++i)
            digits += static_cast<char>('0' + below(10));
        if (below(4) == 0 && fraction > scale) {
            std::fill(digits.begin(), digits.begin() + whole + scale, '9');
            digits[whole + scale] = below(2) == 0 ? '5' : '9';
        } else if (below(4) == 0 && fraction > scale) {
            digits[whole + scale] = '5';
            std::fill(digits.begin() + whole + scale + 1, digits.end(), '0');
        }
        std::string text = (below(3) == 0 ? "-" : "") + digits.substr(0, whole);
        if (whole == 0)
            text += "0";
        if (fraction > 0)
            text += "." + digits.substr(whole);
        return text;
    };
    constexpr int rows = 3;
    std::string schemaEdits;
    ASSERT_EQ(sqlite3_exec(Db(), "BEGIN", nullptr, nullptr, nullptr), SQLITE_OK);
    for (int p = 1; p <= 38; ++p) {
        std::string numericColumns, textColumns, marks;
        for (int s = 0; s <= p; ++s) {
            const std::string name = (s ? ", c" : "c") + std::to_string(s);
            numericColumns +=
                name + " NUMERIC(" + std::to_string(p) + "," + std::to_string(s) + ")";
            textColumns += name + " TEXT";
            marks += s ? ", ?" : "?";
        }
        const std::string n = std::to_string(p);
        ASSERT_EQ(sqlite3_exec(Db(),
                               ("CREATE TABLE a" + n + " (" + numericColumns + "); CREATE TABLE t" +
                                n + " (" + textColumns + ")")
                                   .c_str(),
                               nullptr, nullptr, nullptr),
                  SQLITE_OK);
        schemaEdits += "UPDATE sqlite_schema SET sql = 'CREATE TABLE t" + n + " (" +
                       numericColumns + ")' WHERE name = 't" + n + "';";
        for (const char* table : {"a", "t"}) {
            sqlite3_stmt* insert = nullptr;
            ASSERT_EQ(
                sqlite3_prepare_v2(
                    Db(),
                    ("INSERT INTO " + std::string(table) + n + " VALUES (" + marks + ")").c_str(),
                    -1, &insert, nullptr),
                SQLITE_OK);
            for (int r = 0; r < rows; ++r) {
                for (int s = 0; s <= p; ++s)
                    sqlite3_bind_text(insert, s + 1, decimal(p, s).c_str(), -1, SQLITE_TRANSIENT);
                ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
                sqlite3_reset(insert);
            }
            sqlite3_finalize(insert);
        }
    }
    int version = std::atoi(Scalar("PRAGMA schema_version").c_str());
    schemaEdits =
        "PRAGMA writable_schema = ON;" + schemaEdits +
        "PRAGMA writable_schema = OFF; PRAGMA schema_version = " + std::to_string(version + 1) +
        "; COMMIT";
    ASSERT_EQ(sqlite3_exec(Db(), schemaEdits.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);

    size_t cases = 0, overflows = 0, texts = 0;
    for (int p = 1; p <= 38; ++p) {
        for (const char* table : {"a", "t"}) {
            const std::string sql = "SELECT * FROM " + std::string(table) + std::to_string(p);
            Layout layout;
            for (int s = 0; s <= p; ++s) {
                DBBINDING& b = layout.Add(s + 1, DBTYPE_NUMERIC, sizeof(DB_NUMERIC));
                b.bPrecision = static_cast<BYTE>(p);
                b.bScale = static_cast<BYTE>(s);
            }
            auto read = ReadRows(std::wstring(sql.begin(), sql.end()), layout);
            ASSERT_EQ(read.size(), static_cast<size_t>(rows)) << sql;
            sqlite3_stmt* stored = nullptr;
            ASSERT_EQ(sqlite3_prepare_v2(Db(), sql.c_str(), -1, &stored, nullptr), SQLITE_OK);
            for (int r = 0; r < rows; ++r) {
                ASSERT_EQ(sqlite3_step(stored), SQLITE_ROW);
                BYTE* row = read[r].second.data();
                for (int s = 0; s <= p; ++s) {
                    const std::string value = StoredDecimal(stored, s);
                    texts += sqlite3_column_type(stored, s) == SQLITE_TEXT;
                    const std::string expected = RoundReference(value, p, s);
                    SCOPED_TRACE(sql + " NUMERIC(" + std::to_string(p) + "," + std::to_string(s) +
                                 ") holding " + value);
                    ++cases;
                    if (expected.empty()) {
                        ++overflows;
                        EXPECT_EQ(layout.Status(row, s), DBSTATUS_E_DATAOVERFLOW);
                        continue;
                    }
                    ASSERT_EQ(layout.Status(row, s), DBSTATUS_S_OK);
                    EXPECT_EQ(DecimalOf(layout.Value<DB_NUMERIC>(row, s)), expected);
                    EXPECT_EQ(layout.Value<DB_NUMERIC>(row, s).scale, s);
                }
            }
            sqlite3_finalize(stored);
        }
    }
    // The draw reached every kind of value it is meant to.
    EXPECT_GT(cases, 4000u);
    EXPECT_GT(overflows, cases / 20);
    EXPECT_GT(texts, cases / 3);
}

} // namespace
