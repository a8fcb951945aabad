// Columns whose values say what they hold (expressions, no declared type):
// every value arrives whole, and no result ends early because a later value
// is of another kind than the first; text longer than its VARCHAR(n) arrives
// cut and marked as such.
#include "ProviderTest.h"

using namespace providertest;

namespace {

class ExpressionColumnsTest : public ProviderTest {
protected:
    struct Read {
        DBCOLUMNINFO column{};
        std::vector<HRESULT> results;   // GetData's, per row
        std::vector<DBSTATUS> statuses; // per row, binding after binding
        std::vector<std::string> described, text;
        std::vector<DBLENGTH> lengths; // of the described binding
    };

    // Every row of sql's first column, bound as described (text of an
    // unbounded column with room for 100 characters) and as wide text.
    Read ReadFirstColumn(const std::wstring& sql) {
        Read read;
        auto command = NewCommand(m_session.Get(), sql);
        Ptr<IRowset> rowset;
        EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
                  S_OK);
        if (!rowset)
            return read;
        DBORDINAL count = 0;
        DBCOLUMNINFO* columns = nullptr;
        OLECHAR* names = nullptr;
        EXPECT_EQ(
            rowset.As<IColumnsInfo>(IID_IColumnsInfo)->GetColumnInfo(&count, &columns, &names),
            S_OK);
        read.column = columns[0];
        CoTaskMemFree(columns);
        CoTaskMemFree(names);
        const DBTYPE type = read.column.wType;
        const DBLENGTH size =
            read.column.ulColumnSize == ~DBLENGTH{0} ? 100 : read.column.ulColumnSize;
        Layout layout;
        layout.Add(1, type, type == DBTYPE_WSTR ? (size + 1) * sizeof(wchar_t) : size);
        layout.Add(1, DBTYPE_WSTR, 101 * sizeof(wchar_t));
        for (auto& [result, buffer] : ReadThrough(rowset.Get(), layout)) {
            BYTE* row = buffer.data();
            read.results.push_back(result);
            read.statuses.push_back(layout.Status(row, 0));
            read.statuses.push_back(layout.Status(row, 1));
            read.lengths.push_back(layout.Length(row, 0));
            read.described.push_back(
                Shown(type, &layout.Value<BYTE>(row, 0), layout.Length(row, 0)));
            read.text.push_back(Shown(DBTYPE_WSTR, &layout.Value<BYTE>(row, 1), 0));
        }
        return read;
    }

    // A value as narrow text: wide text (ASCII) as it is, bytes as they are,
    // numbers printed.
    static std::string Shown(DBTYPE type, const BYTE* value, DBLENGTH length) {
        switch (type) {
        case DBTYPE_WSTR: {
            std::string s;
            for (auto* c = reinterpret_cast<const wchar_t*>(value); *c != 0; ++c)
                s += static_cast<char>(*c);
            return s;
        }
        case DBTYPE_BYTES:
            return std::string(reinterpret_cast<const char*>(value), length);
        case DBTYPE_I8:
            return std::to_string(*reinterpret_cast<const LONGLONG*>(value));
        case DBTYPE_R8:
            return std::to_string(*reinterpret_cast<const double*>(value));
        default:
            return "<type " + std::to_string(type) + ">";
        }
    }
};

TEST_F(ExpressionColumnsTest, ValuesThatChangeKindArriveWholeInEveryRow) {
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE t (a INTEGER, b)"), S_OK);
    ASSERT_EQ(Exec(m_session.Get(),
                   L"INSERT INTO t VALUES (1, 9007199254740993), (2, 0.1 + 0.2), (3, 'three')"),
              S_OK);
    // The C API sees what the expressions yield, kind by kind.
    EXPECT_EQ(Scalar("SELECT group_concat(typeof(CASE WHEN a = 2 THEN 'five' ELSE 5 END)) FROM t"),
              "integer,text,integer");
    EXPECT_EQ(Scalar("SELECT group_concat(typeof(b)) FROM t"), "integer,real,text");
    struct Case {
        const wchar_t* sql;
        DBTYPE described;
        std::vector<std::string> described_values; // through the described binding
        std::vector<std::string> text;             // through a wide text binding
    } cases[] = {
        {L"SELECT CASE WHEN a = 1 THEN 1 ELSE 2.7 END FROM t ORDER BY a",
         DBTYPE_WSTR,
         {"1", "2.7", "2.7"},
         {"1", "2.7", "2.7"}},
        {L"SELECT CASE WHEN a = 2 THEN 'five' ELSE 5 END FROM t ORDER BY a",
         DBTYPE_WSTR,
         {"5", "five", "5"},
         {"5", "five", "5"}},
        // A column without a declared type is an expression of its values.
        {L"SELECT b FROM t ORDER BY a",
         DBTYPE_WSTR,
         {"9007199254740993", "0.30000000000000004", "three"},
         {"9007199254740993", "0.30000000000000004", "three"}},
        {L"SELECT CASE a WHEN 1 THEN x'6869' WHEN 2 THEN 'tx' ELSE 2.5 END FROM t ORDER BY a",
         DBTYPE_BYTES,
         {"hi", "tx", "2.5"},
         {"6869", "7478", "322E35"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.sql, c.sql + std::wcslen(c.sql)));
        Read read = ReadFirstColumn(c.sql);
        EXPECT_EQ(read.column.wType, c.described);
        EXPECT_EQ(read.results, std::vector<HRESULT>(3, S_OK));
        EXPECT_EQ(read.statuses, std::vector<DBSTATUS>(6, DBSTATUS_S_OK));
        EXPECT_EQ(read.described, c.described_values);
        EXPECT_EQ(read.text, c.text);
    }
}

TEST_F(ExpressionColumnsTest, TextLongerThanItsDeclaredSizeArrivesCutAndMarked) {
    // SQLite does not enforce VARCHAR(n); a consumer binding the column as
    // described gets the first n characters, DBSTATUS_S_TRUNCATED and the
    // whole length, and the result goes on.
    ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE v (id INTEGER, s VARCHAR(3))"), S_OK);
    ASSERT_EQ(Exec(m_session.Get(), L"INSERT INTO v VALUES (1, 'abcdef'), (2, 'xy')"), S_OK);
    EXPECT_EQ(Scalar("SELECT group_concat(length(s)) FROM v"), "6,2");
    Read read = ReadFirstColumn(L"SELECT s FROM v ORDER BY id");
    EXPECT_EQ(read.column.wType, DBTYPE_WSTR);
    EXPECT_EQ(read.column.ulColumnSize, 3u);
    EXPECT_EQ(read.results, std::vector<HRESULT>(2, S_OK));
    EXPECT_EQ(read.statuses, (std::vector<DBSTATUS>{DBSTATUS_S_TRUNCATED, DBSTATUS_S_OK,
                                                    DBSTATUS_S_OK, DBSTATUS_S_OK}));
    EXPECT_EQ(read.described, (std::vector<std::string>{"abc", "xy"}));
    EXPECT_EQ(read.lengths, (std::vector<DBLENGTH>{6 * sizeof(wchar_t), 2 * sizeof(wchar_t)}));
    EXPECT_EQ(read.text, (std::vector<std::string>{"abcdef", "xy"}));
}

} // namespace
