// One session of hdb: the connection, the statements and their results.
#pragma once

#include "Options.h"
#include "Reporter.h"
#include "ResultPrinter.h"

#include "haldendb/haldendb.h"

#include <memory>
#include <string>

class CShell {
public:
    CShell(const COptions& options, CReporter& reporter);
    ~CShell();
    CShell(const CShell&) = delete;
    CShell& operator=(const CShell&) = delete;

    // Connects as the options say; false after the library's report.
    bool Connect(const std::string& password);

    // Runs one statement and prints its rows or its count; false when it
    // failed (the library has reported why).
    bool Run(const std::string& sql);

    // Prints the databases of the connection; false when they cannot be had.
    bool ListCatalogs();

    // Runs every statement of the text; false when one failed. Statements
    // after a failed one still run.
    bool RunText(const std::string& text);
    // The same for a file ("-" is standard input).
    bool RunFile(const std::string& path);
    // Reads statements from the terminal until the input ends.
    bool RunInteractive();

    // While set, Ctrl-C cancels the running statement instead of ending the
    // program (terminal sessions).
    void SetCancelOnInterrupt(bool enable);

private:
    CBaseOLEDBClass::enumSQLDatabaseType DatabaseType() const;
    std::unique_ptr<CResultPrinter> MakePrinter() const;
    void PrintRows(CRowSet& rowset);
    void PrintCount(LONGLONG rows);

    const COptions& m_options;
    CReporter& m_reporter;
    std::shared_ptr<CDataSource> m_source;
    bool m_cancelOnInterrupt = false;
};
