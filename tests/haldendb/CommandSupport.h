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

class SqliteSource {
public:
    explicit SqliteSource(
        CBaseOLEDBClass::enumSQLDatabaseType type = CBaseOLEDBClass::eGenericDatabase,
        const std::string& file = "commands.db")
        : path(folder.File(file)), source(std::make_shared<CDataSource>(type)) {
        source->SetCallBackForErrorMessages(&hdbtest::ReportCollector::Collect, &errors);
        source->SetCallBackForSuccessMessages(&hdbtest::ReportCollector::Collect, &successes);
        connected = source->Connect(CBaseOLEDBClass::eProvider5, path, L"", L"", L"");
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

    hdbtest::TempFolder folder;
    hdbtest::SettingsIsolation settings;
    std::wstring path;
    hdbtest::ReportCollector errors;
    hdbtest::ReportCollector successes;
    std::shared_ptr<CDataSource> source;
    bool connected = false;
};

// Tests of one command on a connected embedded data source of the generic
// dialect.
class SqliteCommandTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(db.connected); }

    SqliteSource db;
    std::shared_ptr<CExtCommandClass> command = db.Command();
};

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
