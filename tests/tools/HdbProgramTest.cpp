// hdb as its users meet it: results as tables and CSV, reports and exit
// status, the language of reports, the embedded default's file, input from
// files, standard input and a terminal.
#include "ProgramRunner.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using hdbtooltest::Outcome;
using hdbtooltest::ProgramRunner;

namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The records of RFC 4180 text: quoted fields may hold commas, quotes
// (doubled) and line breaks. A field that was quoted is marked with a
// leading '\x01' so that an empty quoted field differs from an empty one.
std::vector<std::vector<std::string>> ParseCsv(const std::string& text) {
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> record;
    std::string field;
    bool quoted = false;
    bool inQuotes = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inQuotes) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                field += '"';
                ++i;
            } else if (c == '"') {
                inQuotes = false;
            } else {
                field += c;
            }
        } else if (c == '"') {
            inQuotes = quoted = true;
        } else if (c == ',' || (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) {
            record.push_back(quoted ? "\x01" + field : field);
            field.clear();
            quoted = false;
            if (c == '\r') {
                records.push_back(record);
                record.clear();
                ++i;
            }
        } else {
            field += c;
        }
    }
    return records;
}

const char* const kAuthors =
    "CREATE TABLE authors (id INTEGER PRIMARY KEY, name VARCHAR(40), quote TEXT, born DATE);"
    "INSERT INTO authors (name, quote, born) VALUES "
    "('Flann O''Brien', 'It''s a plain, \"simple\" pint', '1911-10-05'),"
    "('Ana Ünal', '', NULL),"
    "('Nobody', NULL, '2000-01-01');";

} // namespace

TEST(HdbResults, QueriesPrintAsAlignedTablesWithNullsMarked) {
    ProgramRunner hdb;
    const Outcome run =
        hdb.Run({"-c", kAuthors, "-c", "SELECT id, name, quote FROM authors ORDER BY id"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(Contains(run.out, "3 rows affected")) << run.out;

    const std::vector<std::string> lines = Lines(run.out);
    const auto header = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return Contains(line, "name") && Contains(line, "quote");
    });
    ASSERT_NE(header, lines.end()) << run.out;
    ASSERT_GE(lines.end() - header, 6);
    // Every row starts its columns where the header does: the separators
    // line up under each other, counted in characters, not bytes.
    const auto columnsOf = [](const std::string& line) {
        std::vector<size_t> bars;
        size_t characters = 0;
        for (unsigned char c : line) {
            if ((c & 0xC0) == 0x80)
                continue;
            if (c == '|')
                bars.push_back(characters);
            ++characters;
        }
        return bars;
    };
    const std::vector<size_t> bars = columnsOf(*header);
    ASSERT_EQ(bars.size(), 2u);
    for (int row = 2; row <= 4; ++row)
        EXPECT_EQ(columnsOf(header[row]), bars) << header[row];
    EXPECT_TRUE(Contains(header[2], "Flann O'Brien"));
    EXPECT_TRUE(Contains(header[2], "It's a plain, \"simple\" pint"));
    EXPECT_TRUE(Contains(header[3], "Ana Ünal"));
    // NULL is marked; the empty text of row 2 is not.
    EXPECT_FALSE(Contains(header[3], "<NULL>")) << header[3];
    EXPECT_TRUE(Contains(header[4], "<NULL>")) << header[4];
    EXPECT_EQ(header[5], "(3 rows)");
}

TEST(HdbResults, CsvFollowsRfc4180AndRoundTripsQuotedText) {
    ProgramRunner hdb;
    ASSERT_EQ(hdb.Run({"-c", kAuthors}).exitStatus, 0);
    const Outcome run =
        hdb.Run({"--csv", "-c", "SELECT name, quote, born FROM authors ORDER BY id"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    // Records end with CRLF; only fields that need it are quoted.
    EXPECT_EQ(run.out, "name,quote,born\r\n"
                       "Flann O'Brien,\"It's a plain, \"\"simple\"\" pint\",1911-10-05\r\n"
                       "Ana Ünal,\"\",\r\n"
                       "Nobody,,2000-01-01\r\n");

    // What the CSV says is what was stored: feed the values back through
    // SQL literals and compare in the database.
    const auto records = ParseCsv(run.out);
    ASSERT_EQ(records.size(), 4u);
    const std::string quote = records[1][1].substr(1); // quoted field
    std::string literal = "'";
    for (char c : quote)
        literal += c == '\'' ? std::string("''") : std::string(1, c);
    literal += "'";
    const Outcome check =
        hdb.Run({"--csv", "-c", "SELECT count(*) AS n FROM authors WHERE quote = " + literal});
    EXPECT_EQ(check.out, "n\r\n1\r\n") << check.err;
    EXPECT_EQ(records[2][1], "\x01"); // empty text: a quoted empty field
    EXPECT_EQ(records[3][1], "");     // NULL: an empty field
}

TEST(HdbResults, LongValuesAreCutWithTheirFullLength) {
    ProgramRunner hdb;
    const std::string longText(300, 'x');
    const Outcome run = hdb.Run({"--width", "30", "-c",
                                 "CREATE TABLE t (v TEXT); INSERT INTO t VALUES ('" + longText +
                                     "'), ('short'); SELECT v FROM t"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "(300 chars)")) << run.out;
    EXPECT_FALSE(Contains(run.out, std::string(31, 'x')));
    for (const std::string& line : Lines(run.out))
        EXPECT_LE(line.size(), 40u) << line;
    // CSV is for programs: nothing is cut.
    const Outcome csv = hdb.Run({"--csv", "-c", "SELECT v FROM t WHERE length(v) > 10"});
    EXPECT_EQ(csv.out, "v\r\n" + longText + "\r\n");
}

TEST(HdbResults, StatementsSplitOnlyAtTheirOwnSemicolons) {
    ProgramRunner hdb;
    const std::string script = "-- a comment; with a semicolon\n"
                               "CREATE TABLE log (v TEXT);\n"
                               "CREATE TABLE t (a INTEGER);\n"
                               "CREATE TRIGGER t_log AFTER INSERT ON t BEGIN\n"
                               "  INSERT INTO log VALUES ('one;');\n"
                               "  INSERT INTO log VALUES ('two');\n"
                               "END;\n"
                               "/* ; */ INSERT INTO t VALUES (1);\n"
                               "SELECT v AS \"semi;colon\" FROM log ORDER BY v";
    const Outcome run = hdb.Run({"--csv", "-"}, script);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "semi;colon\r\none;\r\ntwo\r\n");
}

TEST(HdbReports, AFailedStatementIsReportedAndTheRunFails) {
    ProgramRunner hdb;
    const Outcome run = hdb.Run({"-c", "SELECT * FROM missing_table; SELECT 'after' AS v"});
    EXPECT_EQ(run.exitStatus, 1);
    // Caption on its own line, then the library's text with the provider's
    // description and the statement.
    EXPECT_TRUE(Contains(run.err, "OLE DB Error: Can't execute command\n")) << run.err;
    EXPECT_TRUE(Contains(run.err, "no such table: missing_table")) << run.err;
    EXPECT_FALSE(Contains(run.err, "\r"));
    // Later statements still run and print.
    EXPECT_TRUE(Contains(run.out, "after")) << run.out;
    EXPECT_FALSE(Contains(run.out, "OLE DB"));

    const Outcome usage = hdb.Run({"--no-such-option"});
    EXPECT_EQ(usage.exitStatus, 2);
    EXPECT_TRUE(Contains(usage.err, "--no-such-option"));
    const Outcome file = hdb.Run({"no-such-file.sql"});
    EXPECT_EQ(file.exitStatus, 1);
    EXPECT_TRUE(Contains(file.err, "no-such-file.sql"));
}

TEST(HdbReports, ServersThatCannotBeReachedFailWithTheLibrarysReport) {
    ProgramRunner hdb;
    hdb.environment["HDB_PASSWORD"] = "s3cret-pw";
    // The ODBC bridge finds no data source named "server"; the SQL Server
    // mode's driver finds nothing listening on port 1.
    const std::pair<const char*, const char*> cases[] = {{"odbc", "server"},
                                                         {"sqlserver", "127.0.0.1,1"}};
    for (const auto& [provider, source] : cases) {
        const Outcome run = hdb.Run({"-p", provider, "-s", source, "-U", "me", "-c", "SELECT 1"});
        EXPECT_EQ(run.exitStatus, 1) << provider;
        EXPECT_TRUE(Contains(run.err, "OLE DB Error: Can't connect to database")) << run.err;
        EXPECT_FALSE(Contains(run.err, "s3cret-pw"));
        EXPECT_FALSE(Contains(run.out, "s3cret-pw"));
        EXPECT_EQ(run.out, "");
    }
    EXPECT_FALSE(std::filesystem::exists(hdb.Folder() / "haldendb.db"));
}

TEST(HdbReports, ReportsAndMessagesFollowTheLanguage) {
    ProgramRunner hdb;
    hdb.environment["LANG"] = "de_DE.UTF-8";
    const Outcome german = hdb.Run({"-c", "CREATE TABLE t (a INT); SELECT * FROM missing"});
    EXPECT_EQ(german.exitStatus, 1);
    EXPECT_TRUE(Contains(german.err, "OLE DB Fehler: Kann das Kommando nicht ausführen"))
        << german.err;
    EXPECT_TRUE(Contains(german.out, "0 Zeilen betroffen")) << german.out;

    // The option wins over the locale, both ways.
    const Outcome english = hdb.Run({"-l", "en", "-c", "SELECT * FROM missing"});
    EXPECT_TRUE(Contains(english.err, "OLE DB Error: Can't execute command")) << english.err;
    hdb.environment["LANG"] = "C.UTF-8";
    const Outcome chosen = hdb.Run({"--language=de", "-c", "INSERT INTO t VALUES (1)"});
    EXPECT_TRUE(Contains(chosen.out, "1 Zeile betroffen")) << chosen.out;
    const Outcome failed = hdb.Run({"--language=de", "-c", "SELECT * FROM missing"});
    EXPECT_TRUE(Contains(failed.err, "OLE DB Fehler")) << failed.err;
}

TEST(HdbConnection, TheEmbeddedDefaultKeepsItsFileInTheWorkingDirectory) {
    ProgramRunner hdb;
    ASSERT_FALSE(std::filesystem::exists(hdb.Folder() / "haldendb.db"));
    ASSERT_EQ(
        hdb.Run({"-c", "CREATE TABLE kept (v TEXT); INSERT INTO kept VALUES ('x')"}).exitStatus, 0);
    EXPECT_TRUE(std::filesystem::exists(hdb.Folder() / "haldendb.db"));
    // A second run finds the data; another file is another database.
    EXPECT_EQ(hdb.Run({"--csv", "-c", "SELECT v FROM kept"}).out, "v\r\nx\r\n");
    const Outcome other = hdb.Run({"-s", "other.db", "-c", "SELECT v FROM kept"});
    EXPECT_EQ(other.exitStatus, 1);
    EXPECT_TRUE(std::filesystem::exists(hdb.Folder() / "other.db"));

    const Outcome catalogs = hdb.Run({"--csv", "--catalogs"});
    EXPECT_EQ(catalogs.exitStatus, 0);
    EXPECT_EQ(catalogs.out, "Databases\r\nmain\r\n");
    // The end of the list is not an error of the user's.
    EXPECT_EQ(catalogs.err, "");
}

TEST(HdbInput, StatementsComeFromStandardInputAndFilesInOrder) {
    ProgramRunner hdb;
    std::ofstream(hdb.Folder() / "setup.sql") << "CREATE TABLE n (v INTEGER);\n"
                                                 "INSERT INTO n VALUES (1), (2)";
    const Outcome run =
        hdb.Run({"--csv", "-q", "setup.sql", "-", "-c", "SELECT count(*) AS c FROM n"},
                "INSERT INTO n VALUES (3);\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "c\r\n3\r\n");

    // Without any SQL named, standard input is read.
    const Outcome piped = hdb.Run({"--csv"}, "SELECT max(v) AS m FROM n;");
    EXPECT_EQ(piped.out, "m\r\n3\r\n");
}

TEST(HdbInput, ATerminalSessionRunsStatementsAndRecallsThem) {
    ProgramRunner hdb;
    const Outcome run = hdb.RunOnTerminal(
        {"--csv"}, {"SELECT 40 +\r", " 2 AS answer;\r",
                    // Up: the whole statement, not its last line.
                    "\x1b[A", "\r",
                    // A typo mended with Backspace, Home and the arrow keys.
                    "SELECT 'ab' AS tt", "\x7f;", "\x01",
                    "\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C", "x\r", "\x04"});
    EXPECT_EQ(run.exitStatus, 0) << run.out;
    // The terminal adds carriage returns of its own; lines are what count.
    std::string shown;
    for (char c : run.out)
        if (c != '\r')
            shown += c;
    size_t answers = 0;
    for (size_t at = shown.find("\n42\n"); at != std::string::npos;
         at = shown.find("\n42\n", at + 1))
        ++answers;
    EXPECT_EQ(answers, 2u) << shown;
    EXPECT_TRUE(Contains(shown, "hdb-> ")) << shown;
    EXPECT_TRUE(Contains(shown, "\nt\nxab\n")) << shown;
}

TEST(HdbInput, CtrlCCancelsTheRunningStatementAndTheSessionGoesOn) {
    ProgramRunner hdb;
    const Outcome run = hdb.RunOnTerminal(
        {"--csv"}, {"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                    "SELECT count(*) AS n FROM c WHERE x < 0;\r",
                    "", "", "\x03", "SELECT 'still here' AS v;\r", "\x04"});
    // The cancelled statement counts as failed; the program was not killed.
    EXPECT_EQ(run.exitStatus, 1) << run.out;
    EXPECT_TRUE(Contains(run.out, "The statement was cancelled.")) << run.out;
    EXPECT_TRUE(Contains(run.out, "still here\r")) << run.out;
}

TEST(HdbResults, LargeResultsPrintEveryRowInBatches) {
    ProgramRunner hdb;
    const Outcome run = hdb.Run(
        {"-c", "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 2500) "
               "SELECT x, CASE WHEN x = 2500 THEN 'wide value at the end' ELSE 'v' END AS t "
               "FROM c"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = Lines(run.out);
    // Header, rule, 2500 rows, count, blank line; the header comes once.
    ASSERT_EQ(lines.size(), 2504u);
    // x is an expression, which the embedded provider describes as text.
    EXPECT_EQ(lines[2], " 1    | v");
    EXPECT_EQ(lines[2501], " 2500 | wide value at the end");
    EXPECT_EQ(lines[2502], "(2500 rows)");
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return Contains(line, " x "); }),
              1);
}
