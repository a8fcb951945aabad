// What the command tests share: a data source on a fresh database file of the
// embedded SQLite provider, of whatever database type the test names, with
// its reports collected; and the commands made from it.
#pragma once

#include "EmbeddedDatabase.h"

#include "haldendb/ExtCommandClass.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace commandtest {

// A data source of the given database type reporting into collectors, and
// the commands made from it. What the source stands on (a database file, a
// provider) lives in a base class named before this one, so that it is built
// first and outlives the source.
class ReportingSource {
public:
    explicit ReportingSource(CBaseOLEDBClass::enumSQLDatabaseType type)
        : source(std::make_shared<CDataSource>(type)) {
        source->SetCallBackForErrorMessages(&hdbtest::ReportCollector::Collect, &errors);
        source->SetCallBackForSuccessMessages(&hdbtest::ReportCollector::Collect, &successes);
    }

    std::shared_ptr<CExtCommandClass> Command() {
        int reconnected = 0;
        return std::make_shared<CExtCommandClass>(source, reconnected);
    }

    // Runs a statement through a command of its own; fails the test if it
    // does not succeed.
    void Exec(const std::wstring& sql) {
        auto command = Command();
        EXPECT_TRUE(command->Execute(sql, nullptr)) << std::string(sql.begin(), sql.end());
    }

    void ClearReports() {
        errors.reports.clear();
        successes.reports.clear();
    }

    hdbtest::ReportCollector errors;
    hdbtest::ReportCollector successes;
    std::shared_ptr<CDataSource> source;
    bool connected = false;
};

// A fresh database file, with the settings isolated.
struct SqliteFile {
    explicit SqliteFile(const std::string& file) : path(folder.File(file)) {}

    hdbtest::TempFolder folder;
    hdbtest::SettingsIsolation settings;
    std::wstring path;
};

class SqliteSource : public SqliteFile, public ReportingSource {
public:
    explicit SqliteSource(
        CBaseOLEDBClass::enumSQLDatabaseType type = CBaseOLEDBClass::eGenericDatabase,
        const std::string& file = "commands.db")
        : SqliteFile(file), ReportingSource(type) {
        connected = source->Connect(CBaseOLEDBClass::eProvider5, path, L"", L"", L"");
    }
};

// Tests of one command on a connected data source of the generic dialect.
template <class Source> class CommandTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(db.connected); }

    Source db;
    std::shared_ptr<CExtCommandClass> command = db.Command();
};
using SqliteCommandTest = CommandTest<SqliteSource>;

// A built statement text, for comparisons and messages.
inline std::wstring W(const CBasicString<wchar_t>& text) {
    return std::wstring(text);
}

// The text of column `name` of the rowset's current row.
inline std::wstring Text(CRowSet& rowset, const wchar_t* name) {
    const size_t ordinal = rowset.GetColumnsOrdinal(name);
    const wchar_t* text = rowset.GetCurrColumnsWchar(ordinal);
    return text ? std::wstring(text) : std::wstring();
}

} // namespace commandtest
