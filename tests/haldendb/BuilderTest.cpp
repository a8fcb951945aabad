// The statement builders and literal quoting: exact texts, every dialect's
// literal form, literals evaluated by SQLite itself, and the builders' SQL
// run end to end with the rows read back through the typed getters.
#include "CommandSupport.h"

#include <cmath>
#include <string>
#include <vector>

using commandtest::SqliteSource;
using commandtest::Text;
using commandtest::W;
using Ext = CExtCommandClass;

namespace {

using BuilderSelect = commandtest::SqliteCommandTest;
using BuilderExecution = commandtest::SqliteCommandTest;

} // namespace

TEST(BuilderText, StaticBuildersWriteExactTexts) {
    struct Case {
        CBasicString<wchar_t> built;
        std::wstring expected;
    };
    const std::vector<Case> cases = {
        {Ext::GetInsertCommand(L"t", L"a, b", L"1, 2"), L"INSERT INTO t (a, b) VALUES (1, 2)"},
        {Ext::GetInsertCommand(L"t", L"a", L""), L"INSERT INTO t DEFAULT VALUES"},
        {Ext::GetInsertCommand(L"t", L"", L"1"), L"INSERT INTO t DEFAULT VALUES"},
        {Ext::GetInsertCommand(L"", L"a", L"1"), L""},
        {Ext::GetInsertFromSelectCommand(L"t", L"a", L"SELECT a FROM u"),
         L"INSERT INTO t (a) SELECT a FROM u"},
        {Ext::GetInsertFromSelectCommand(L"", L"", L""), L"INSERT INTO  () "},
        {Ext::GetUpdateCommand(L"t", L"a = 1", L"b = 2"), L"UPDATE t SET a = 1 WHERE b = 2"},
        {Ext::GetUpdateCommand(L"t", L"a = 1", L""), L"UPDATE t SET a = 1"},
        {Ext::GetUpdateCommand(L"t", L"", L"b = 2"), L""},
        {Ext::GetUpdateCommand(L"", L"a = 1", L""), L""},
        {Ext::GetUpdateFromCommand(L"t", L"a = u.a", L"u", L"t.id = u.id"),
         L"UPDATE t SET a = u.a FROM u WHERE t.id = u.id"},
        {Ext::GetUpdateFromCommand(L"t", L"a = 1", L"", L"b = 2"),
         L"UPDATE t SET a = 1 WHERE b = 2"},
        {Ext::GetUpdateFromCommand(L"t", L"a = 1", L"u", L""), L"UPDATE t SET a = 1 FROM u"},
        {Ext::GetUpdateFromCommand(L"t", L"", L"u", L""), L""},
        {Ext::GetDeleteCommand(L"t", L"a = 1"), L"DELETE FROM t WHERE a = 1"},
        {Ext::GetDeleteCommand(L"t", L""), L"DELETE FROM t"},
        {Ext::GetDeleteCommand(L"", L"a = 1"), L""},
        {Ext::GetDeleteTopCommand(L"5", L"t", L"a = 1"), L"DELETE TOP (5) FROM t WHERE a = 1"},
        {Ext::GetDeleteTopCommand(L"", L"t", L""), L"DELETE TOP () FROM t"},
        {Ext::GetDeleteTopCommand(L"5", L"", L""), L""},
        {Ext::GetDeleteWhereExistsCommand(L"t", L"x", L"SELECT 1 FROM u WHERE u.id = x.id"),
         L"DELETE x FROM t AS x WHERE EXISTS (SELECT 1 FROM u WHERE u.id = x.id)"},
        {Ext::GetDeleteWhereExistsCommand(L"", L"x", L"c"), L""},
        {Ext::GetDeleteWhereExistsCommand(L"t", L"", L"c"), L""},
        {Ext::GetDeleteWhereExistsCommand(L"t", L"x", L""), L""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(W(c.built), c.expected);

    EXPECT_EQ(std::wstring(Ext::GetSQLInsertInto()), L"INSERT INTO ");
    EXPECT_EQ(std::wstring(Ext::GetSQLValues()), L" VALUES (");
    EXPECT_EQ(Ext::GetSQLValuesSize(), 9u);
    EXPECT_EQ(std::wstring(Ext::GetDefaultValues()), L" DEFAULT VALUES");
}

TEST_F(BuilderSelect, SelectsWithoutHintsOnOtherDatabases) {
    EXPECT_EQ(W(command->GetSelectCommand(L"t", L"a, b", L"a > 1", L"b")),
              L"SELECT a, b FROM t WHERE a > 1 ORDER BY b");
    EXPECT_EQ(W(command->GetSelectCommand(L"t", L"", L"", L"")), L"SELECT  FROM t");
    EXPECT_EQ(W(command->GetSelectCommand(L"t", L"a", L"", L"a")), L"SELECT a FROM t ORDER BY a");
    EXPECT_EQ(W(command->GetSelectCommand(L"", L"a", L"", L"")), L"");
    EXPECT_EQ(W(command->GetSelectTopCommand(L"3", L"t", L"a", L"a > 1", L"")),
              L"SELECT TOP (3) a FROM t WHERE a > 1");
    EXPECT_EQ(W(command->GetSelectTopCommand(L"3", L"", L"a", L"", L"")), L"");
}

TEST(BuilderText, SelectsOnSqlServerCarryTheHints) {
    SqliteSource db(CBaseOLEDBClass::eSQLServer);
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
    EXPECT_EQ(W(command->GetSelectCommand(L"t", L"a", L"a > 1", L"a")),
              L"SELECT a FROM t WHERE a > 1 ORDER BY a OPTION (FAST 20)");
    command->SetMaxRowCount(100);
    // The hint is followed by the fields directly: the caller's spacing counts.
    EXPECT_EQ(W(command->GetSelectCommand(L"t", L" a", L"", L"")),
              L"SELECT TOP 100 a FROM t OPTION (FAST 100)");
    EXPECT_EQ(W(command->GetSelectTopCommand(L"5", L"t", L" a", L"", L"")),
              L"SELECT TOP (5) TOP 100 a FROM t OPTION (FAST 100)");
}

TEST(Literals, EveryDialectQuotesApostrophesThroughItsCharacterFunction) {
    using Type = CBaseOLEDBClass::enumSQLDatabaseType;
    struct Case {
        Type type;
        int n;
        std::wstring text;
        std::wstring expected;
    };
    const std::vector<Case> cases = {
        {CBaseOLEDBClass::eSQLServer, 1, L"ab", L"N'ab'"},
        {CBaseOLEDBClass::eSQLServer, 1, L"a'b", L"N'a' + CHAR(39) + 'b'"},
        {CBaseOLEDBClass::eSQLServer, 1, L"a''b", L"N'a' + CHAR(39) + CHAR(39) + 'b'"},
        {CBaseOLEDBClass::eSQLServer, 1, L"'", L"CHAR(39)"},
        {CBaseOLEDBClass::eSQLServer, 1, L"", L"N''"},
        {CBaseOLEDBClass::eSQLServer, 1, L"'a'b'", L"CHAR(39) + N'a' + CHAR(39) + N'b' + CHAR(39)"},
        {CBaseOLEDBClass::eSQLServerOLEDBDriver, 1, L"a'b", L"N'a' + CHAR(39) + 'b'"},
        {CBaseOLEDBClass::eSQLServerNativeClient, 0, L"a'b", L"'a' + CHAR(39) + 'b'"},
        {CBaseOLEDBClass::eSQLServerNativeClient11, 0, L"", L"''"},
        {CBaseOLEDBClass::eMySQL, 1, L"a'b", L"'a' + CHAR(39) + 'b'"},
        {CBaseOLEDBClass::eMySQL, 0, L"x", L"'x'"},
        {CBaseOLEDBClass::eGenericDatabase, 1, L"ab", L"'ab'"},
        {CBaseOLEDBClass::eGenericDatabase, 0, L"a'b", L"CONCAT(CONCAT('a',CHR(39)),'b')"},
        {CBaseOLEDBClass::eGenericDatabase, 1, L"a'b'c",
         L"CONCAT(CONCAT('a',CHR(39)),CONCAT(CONCAT('b',CHR(39)),'c'))"},
        {CBaseOLEDBClass::eGenericDatabase, 0, L"a'", L"CONCAT(CONCAT('a',CHR(39)),'')"},
        {CBaseOLEDBClass::eGenericDatabase, 0, L"'", L"CONCAT(CHR(39),'')"},
        {CBaseOLEDBClass::eGenericDatabase, 0, L"", L"''"},
        {CBaseOLEDBClass::eLimitDialectDatabase, 1, L"plain", L""},
        {CBaseOLEDBClass::eLimitDialectDatabase, 0, L"a'b", L""},
        {static_cast<Type>(42), 0, L"plain", L""},
    };
    for (const Case& c : cases) {
        SqliteSource db(c.type);
        ASSERT_TRUE(db.connected);
        auto command = db.Command();
        const CBasicStringView<wchar_t> view(c.text);
        const auto quoted =
            c.n == 1 ? command->MakeSQLCompliant<1>(view) : command->MakeSQLCompliant<0>(view);
        EXPECT_EQ(W(quoted), c.expected) << "type " << int(c.type) << " N " << c.n;
    }
}

TEST(Literals, EightBitTextIsWidenedByteByByte) {
    SqliteSource db(CBaseOLEDBClass::eMySQL);
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
    // "ä'x" in UTF-8: the two bytes of the letter become two characters.
    const std::u8string text = u8"\u00e4'x";
    const auto quoted = command->MakeSQLCompliant<0>(CBasicStringView<char8_t>(text));
    EXPECT_EQ(W(quoted), std::wstring(L"'\u00c3\u00a4' + CHAR(39) + 'x'"));
}

TEST_F(BuilderExecution, GenericLiteralsComeBackUnchangedFromSqlite) {
    const std::vector<std::wstring> texts = {
        L"",       L"plain",      L"'",
        L"''",     L"a'b",        L"'lead",
        L"trail'", L"a''b'c'''d", L"O'Brien's \u00e9t\u00e9",
    };
    for (const std::wstring& text : texts) {
        const auto literal = command->MakeSQLCompliant<0>(CBasicStringView<wchar_t>(text));
        ASSERT_TRUE(command->SelectExecute(CBasicString<wchar_t>(L"SELECT ") + literal + L" AS v"))
            << std::string(text.begin(), text.end());
        CRowSet& rowset = *command->GetRowSet();
        ASSERT_TRUE(rowset.FetchNext());
        EXPECT_EQ(Text(rowset, L"v"), text);
    }
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(BuilderExecution, RowsWrittenByTheBuildersReadBackThroughTheTypedGetters) {
    db.Exec(L"CREATE TABLE items (id INTEGER, name TEXT, price REAL, seen TIMESTAMP)");
    db.Exec(L"CREATE TABLE archive (id INTEGER, name TEXT)");
    auto literal = [&](const std::wstring& text) {
        return std::wstring(command->MakeSQLCompliant<0>(CBasicStringView<wchar_t>(text)));
    };

    ASSERT_TRUE(command->Insert(L"items", L"id, name, price, seen",
                                L"1, " + literal(L"O'Neil") + L", 2.5, '2024-02-29 13:45:10'"));
    ASSERT_TRUE(
        command->Insert(L"items", L"id, name, price", L"2, " + literal(L"plain") + L", 10"));
    ASSERT_TRUE(command->Insert(L"items", L"id, name, price", L"3, 'gone', 0"));
    EXPECT_FALSE(command->Insert(L"", L"id", L"4"));

    LONGLONG affected = -1;
    ASSERT_TRUE(command->Update(L"items", L"price = price * 2", L"id <= 2", &affected));
    EXPECT_EQ(affected, 2);
    ASSERT_TRUE(command->Delete(L"items", L"id = 3"));
    ASSERT_TRUE(command->InsertFromSelect(L"archive", L"id, name", L"SELECT id, name FROM items",
                                          &affected));
    EXPECT_EQ(affected, 2);
    ASSERT_TRUE(command->UpdateFrom(L"items", L"name = archive.name || '!'", L"archive",
                                    L"archive.id = items.id AND items.id = 2", &affected));
    EXPECT_EQ(affected, 1);

    ASSERT_TRUE(command->Select(L"items", L"id, name, price, seen", L"", L"id"));
    CRowSet& rowset = *command->GetRowSet();
    const size_t id = rowset.GetColumnsOrdinal(L"id");
    const size_t price = rowset.GetColumnsOrdinal(L"price");
    const size_t seen = rowset.GetColumnsOrdinal(L"seen");
    ASSERT_NE(id, 0u);
    ASSERT_TRUE(rowset.FetchNext());
    EXPECT_EQ(rowset.GetCurrColumnsInt64(id), 1);
    EXPECT_EQ(Text(rowset, L"name"), L"O'Neil");
    EXPECT_DOUBLE_EQ(rowset.GetCurrColumnsLONG(price), 5.0);
    unsigned short milliseconds = 0;
    const COleDateTime when =
        rowset.GetCurrColumnsOleDateTime(seen, rowset.GetColMetaData(seen), &milliseconds);
    EXPECT_EQ(when.GetYear(), 2024);
    EXPECT_EQ(when.GetMonth(), 2);
    EXPECT_EQ(when.GetDay(), 29);
    EXPECT_EQ(when.GetSecond(), 10);
    ASSERT_TRUE(rowset.FetchNext());
    EXPECT_EQ(rowset.GetCurrColumnsInt64(id), 2);
    EXPECT_EQ(Text(rowset, L"name"), L"plain!");
    EXPECT_DOUBLE_EQ(rowset.GetCurrColumnsLONG(price), 20.0);
    EXPECT_FALSE(rowset.FetchNext());
    EXPECT_TRUE(rowset.IsEOS());
    EXPECT_TRUE(db.errors.reports.empty());
}

TEST_F(BuilderExecution, MaxElementValueIsOneAboveTheLargest) {
    db.Exec(L"CREATE TABLE n (id INTEGER, r REAL)");
    EXPECT_EQ(W(command->GetMaxElementValue(L"n", L"id")), L"1");
    db.Exec(L"INSERT INTO n VALUES (41, 2.25)");
    db.Exec(L"INSERT INTO n VALUES (7, -3.5)");
    EXPECT_EQ(W(command->GetMaxElementValue(L"n", L"id")), L"42");
    EXPECT_EQ(W(command->GetMaxElementValue(L"n", L"r")), L"3.25");
    EXPECT_TRUE(db.errors.reports.empty());
    // A query that fails answers the same as an empty table, after a report.
    EXPECT_EQ(W(command->GetMaxElementValue(L"missing", L"id")), L"1");
    EXPECT_EQ(db.errors.reports.size(), 1u);
}
