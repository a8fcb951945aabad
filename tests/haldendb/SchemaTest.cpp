// The catalogs of a connection, read through the schema rowset.
#include "CommandSupport.h"

#include "haldendb/SchemaClass.h"

using commandtest::SqliteSource;

TEST(SchemaCatalogs, ADatabaseAttachedByACommandIsListedAfterMainUntilDetached) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    // The listing's own session is there before the attachment is made.
    CSchemaClass before(*db.source);
    ASSERT_NE(before.GetInterface(), nullptr);
    db.Exec(L"ATTACH DATABASE '" + db.folder.File("archive.db") + L"' AS archive");
    db.Exec(L"CREATE TABLE archive.orders (id INTEGER)");
    db.Exec(L"INSERT INTO archive.orders VALUES (41), (42)");
    {
        auto command = db.Command();
        ASSERT_TRUE(command->SelectExecute(L"SELECT sum(id) AS total FROM archive.orders"));
        CRowSet& rowset = *command->GetRowSet();
        ASSERT_TRUE(rowset.FetchNext());
        EXPECT_EQ(rowset.GetCurrColumnsInt64(rowset.GetColumnsOrdinal(L"total")), 83);
    }
    db.ClearReports();

    CSchemaClass after(*db.source);
    for (CSchemaClass* schema : {&before, &after}) {
        // What the array held before is replaced, not added to.
        CStringArray databases;
        databases.Add(CString(L"stale"));
        ASSERT_TRUE(schema->GetDatabases(databases));
        ASSERT_EQ(databases.GetSize(), 2);
        EXPECT_EQ(std::wstring(databases[0].GetString()), L"main");
        EXPECT_EQ(std::wstring(databases[1].GetString()), L"archive");
        // The end of the list is told like a failed fetch: one report, no more.
        ASSERT_EQ(db.errors.reports.size(), 1u);
        EXPECT_NE(db.errors.reports[0].message.find(L"Error fetch next entry from database"),
                  std::wstring::npos);
        db.ClearReports();
    }

    // Asked again after the detach, the same listing gives the shorter list.
    db.Exec(L"DETACH DATABASE archive");
    CStringArray databases;
    ASSERT_TRUE(before.GetDatabases(databases));
    ASSERT_EQ(databases.GetSize(), 1);
    EXPECT_EQ(std::wstring(databases[0].GetString()), L"main");
    auto command = db.Command();
    EXPECT_FALSE(command->Execute(L"SELECT * FROM archive.orders", nullptr));
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
