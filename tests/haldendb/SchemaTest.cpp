// The catalogs of a connection, read through the schema rowset.
#include "CommandSupport.h"

#include "haldendb/SchemaClass.h"

using commandtest::SqliteSource;

TEST(SchemaCatalogs, AnSqliteConnectionListsItsMainDatabase) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    CSchemaClass schema(*db.source);
    ASSERT_NE(schema.GetInterface(), nullptr);
    CStringArray databases;
    databases.Add(CString(L"stale"));
    ASSERT_TRUE(schema.GetDatabases(databases));
    ASSERT_EQ(databases.GetSize(), 1);
    EXPECT_EQ(std::wstring(databases[0].GetString()), L"main");
    // The end of the list is told like a failed fetch: one report, no more.
    ASSERT_EQ(db.errors.reports.size(), 1u);
    EXPECT_NE(db.errors.reports[0].message.find(L"Error fetch next entry from database"),
              std::wstring::npos);

    // Asking again gives the same list, not a longer one.
    ASSERT_TRUE(schema.GetDatabases(databases));
    EXPECT_EQ(databases.GetSize(), 1);
}

TEST(SchemaCatalogs, WithoutAConnectionThereIsNoList) {
    hdbtest::SettingsIsolation settings;
    CDataSource source(CBaseOLEDBClass::eGenericDatabase);
    CSchemaClass schema(source);
    EXPECT_EQ(schema.GetInterface(), nullptr);
    CStringArray databases;
    databases.Add(CString(L"stale"));
    EXPECT_FALSE(schema.GetDatabases(databases));
    EXPECT_EQ(databases.GetSize(), 0);
}
