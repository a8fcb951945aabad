#include "Shell.h"

#include "LineEditor.h"
#include "StatementSplitter.h"
#include "Texts.h"

#include "StringConversion.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

namespace {

CBasicString<wchar_t> Wide(const std::string& utf8) {
    const std::wstring wide = hdbtext::WideFromUtf8(utf8);
    return CBasicString<wchar_t>(wide.c_str(), wide.size());
}

// The words that end an interactive session besides the end of the input.
bool IsQuit(const std::string& line) {
    const auto first = line.find_first_not_of(" \t");
    const auto last = line.find_last_not_of(" \t");
    if (first == std::string::npos)
        return false;
    const std::string word = line.substr(first, last - first + 1);
    return word == "\\q" || word == "quit" || word == "exit";
}

// Set by Ctrl-C while a terminal session runs a statement.
std::atomic<bool> g_interrupted{false};

extern "C" void OnInterrupt(int) {
    g_interrupted.store(true);
}

// How often a running statement looks whether Ctrl-C was pressed.
constexpr auto InterruptPolling = std::chrono::milliseconds(50);

} // namespace

CShell::CShell(const COptions& options, CReporter& reporter)
    : m_options(options), m_reporter(reporter) {}

CShell::~CShell() {
    if (m_source)
        m_source->Release();
}

CBaseOLEDBClass::enumSQLDatabaseType CShell::DatabaseType() const {
    if (m_options.databaseType)
        return *m_options.databaseType;
    // The SQL Server provider is chosen in the provider table by this type.
    return CBaseOLEDBClass::eSQLServerOLEDBDriver;
}

bool CShell::Connect(const std::string& password) {
    // Without a database type on the command line the settings decide it,
    // as they would for any application; the SQL Server provider needs its
    // own type to be found in the provider table.
    if (m_options.databaseType || m_options.provider == COptions::Provider::SqlServer)
        m_source = std::make_shared<CDataSource>(DatabaseType());
    else
        m_source = std::make_shared<CDataSource>();
    m_reporter.Attach(*m_source);

    CBaseOLEDBClass::enumOLEDBProvider provider = CBaseOLEDBClass::eProvider5;
    if (m_options.provider == COptions::Provider::Odbc)
        provider = CBaseOLEDBClass::eProviderODBC;
    else if (m_options.provider == COptions::Provider::SqlServer)
        // The OLE DB driver serves only its own database type; the other SQL
        // Server types find their Native Client through the provider table.
        provider = DatabaseType() == CBaseOLEDBClass::eSQLServerOLEDBDriver
                       ? CBaseOLEDBClass::eProviderOLEDBDriver
                       : CBaseOLEDBClass::eProviderNativeClient;
    return m_source->Connect(provider, Wide(m_options.dataSource), Wide(m_options.user),
                             Wide(password), Wide(m_options.database));
}

std::unique_ptr<CResultPrinter> CShell::MakePrinter() const {
    if (m_options.csv)
        return std::make_unique<CCsvPrinter>(stdout);
    return std::make_unique<CTablePrinter>(stdout, m_options.valueWidth, !m_options.quiet);
}

void CShell::PrintRows(CRowSet& rowset) {
    CValueReader reader(rowset);
    std::vector<CResultPrinter::Column> columns;
    for (size_t i = 0; i < reader.ColumnCount(); ++i)
        columns.push_back({reader.ColumnName(i), reader.IsNumeric(i)});
    std::unique_ptr<CResultPrinter> printer = MakePrinter();
    printer->Begin(columns);
    std::vector<CValueReader::Value> values(columns.size());
    // Ctrl-C also ends the printing of a long result.
    while (!(m_cancelOnInterrupt && g_interrupted.load()) && rowset.FetchNext()) {
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = reader.Read(i);
        printer->Row(values);
    }
    printer->End();
}

void CShell::PrintCount(LONGLONG rows) {
    // A count the provider could not give (negative) is not shown.
    if (m_options.quiet || rows < 0)
        return;
    const std::string text = rows == 1
                                 ? CTexts::Get(CTexts::Id::OneRowAffected)
                                 : CTexts::Format(CTexts::Id::RowsAffected, std::to_string(rows));
    // CSV output stays pure: the count goes beside it.
    std::FILE* out = m_options.csv ? stderr : stdout;
    std::fflush(stdout);
    std::fprintf(out, "%s\n", text.c_str());
    std::fflush(out);
}

void CShell::SetCancelOnInterrupt(bool enable) {
    struct sigaction action {};
    action.sa_handler = enable ? &OnInterrupt : SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    m_cancelOnInterrupt = enable;
}

bool CShell::Run(const std::string& sql) {
    int reconnected = 0;
    auto command = std::make_shared<CExtCommandClass>(m_source, reconnected);
    command->SetCommand(Wide(sql));
    std::shared_ptr<CCommandClass::CancelLongRunningQuery> cancel;
    if (m_cancelOnInterrupt) {
        g_interrupted.store(false);
        cancel = std::make_shared<CCommandClass::CancelLongRunningQuery>(
            [](CCommandClass::CancelLongRunningQuery&) {
                std::this_thread::sleep_for(InterruptPolling);
                return g_interrupted.load();
            });
        command->SetPtrCancelLongRunningQuery(cancel);
    }
    // Executed as a query, a statement hands back a rowset exactly when it
    // produces rows; the provider decides, not the statement's first word.
    IRowset* rowset = nullptr;
    LONGLONG affected = -1;
    const int errorsBefore = m_reporter.ErrorCount();
    if (!command->Execute(&rowset, CCommandClass::eSelect, &affected)) {
        if (cancel && cancel->GetOutcome() == CCommandClass::CancelLongRunningQuery::eCanceled)
            m_reporter.Write(CTexts::Get(CTexts::Id::ProgramError),
                             CTexts::Get(CTexts::Id::Canceled));
        return false;
    }
    if (rowset == nullptr) {
        PrintCount(affected);
        return true;
    }
    if (!command->CreateRowSet(rowset, true) || command->GetRowSet() == nullptr)
        return false;
    CRowSet& rows = *command->GetRowSet();
    const CColumnsInfo* info = rows;
    if (info == nullptr || info->GetColumnCountWithoutBookmark() == 0) {
        PrintCount(affected);
        return m_reporter.ErrorCount() == errorsBefore;
    }
    PrintRows(rows);
    // A failure while fetching has been reported; the statement counts as failed.
    return m_reporter.ErrorCount() == errorsBefore;
}

bool CShell::ListCatalogs() {
    CSchemaClass schema(*m_source);
    CStringArray databases;
    // The library tells the plain end of the list with an error report; that
    // one report is dropped when the list came back.
    m_reporter.Hold();
    const bool listed = schema.GetDatabases(databases);
    m_reporter.Release(listed ? 1 : 0);
    if (!listed)
        return false;
    std::unique_ptr<CResultPrinter> printer = MakePrinter();
    printer->Begin({{hdbtext::WideFromUtf8(CTexts::Get(CTexts::Id::Catalogs)), false}});
    std::vector<CValueReader::Value> row(1);
    for (const CString& name : databases) {
        row[0].text = std::wstring(name.View());
        row[0].length = row[0].text.size();
        printer->Row(row);
    }
    printer->End();
    return true;
}

bool CShell::RunText(const std::string& text) {
    CStatementSplitter splitter;
    bool ok = true;
    for (const std::string& statement : splitter.Feed(text))
        ok = Run(statement) && ok;
    // A last statement may go without its ';'.
    const std::string rest = splitter.Finish();
    if (!rest.empty())
        ok = Run(rest) && ok;
    return ok;
}

bool CShell::RunFile(const std::string& path) {
    std::stringstream content;
    if (path == "-") {
        content << std::cin.rdbuf();
    } else {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            m_reporter.Write(CTexts::Get(CTexts::Id::ProgramError),
                             CTexts::Format(CTexts::Id::CannotOpenFile, path));
            return false;
        }
        content << file.rdbuf();
    }
    return RunText(content.str());
}

bool CShell::RunInteractive() {
    CLineEditor editor;
    CStatementSplitter splitter;
    bool ok = true;
    SetCancelOnInterrupt(true);
    // The lines of the statement being typed: recalled later as one entry.
    std::string typed;
    for (;;) {
        const bool continuing = splitter.HasPending();
        const auto line = editor.ReadLine(continuing ? "hdb-> " : "hdb=> ");
        if (!line)
            break;
        if (!continuing && IsQuit(*line))
            break;
        typed += typed.empty() ? *line : " " + *line;
        const std::vector<std::string> statements = splitter.Feed(*line + "\n");
        if (!splitter.HasPending()) {
            editor.AddHistory(typed);
            typed.clear();
        }
        for (const std::string& statement : statements)
            ok = Run(statement) && ok;
    }
    const std::string rest = splitter.Finish();
    if (!rest.empty()) {
        m_reporter.Write(CTexts::Get(CTexts::Id::ProgramError),
                         CTexts::Get(CTexts::Id::Unterminated));
        ok = Run(rest) && ok;
    }
    return ok;
}
