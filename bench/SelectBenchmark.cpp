// Selecting rows through the library against a raw sqlite3_step loop over
// the same file, in the same run.
//
// Both sides read one table of an integer, a real, a short text and a
// timestamp into the same values: a 64-bit integer, a double, wide text and
// an automation date made from the stored timestamp text. The library side
// is what an application writes: CExtCommandClass::Select and the typed
// getters GetCurrColumnsInt64, GetCurrColumnsLONG, GetCurrColumnsWchar and
// GetCurrColumnsOleDateTime, row by row with FetchNext. The summary line
// gives the library's time as a multiple of the raw loop's, and the peak
// resident memory of the process (compare a small and a large --rows: it
// must not grow with the number of rows).
//
//   bench_select [--rows=N] [benchmark options]
//
// --rows sets the table size (one million by default). The program exits
// with 1 when the two sides read different values.
#include "BenchSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>
#include <sys/resource.h>

#include "haldendb/haldendb.h"

namespace {

using benchsupport::Digits;

constexpr const char* Program = "bench_select";

size_t g_rows = 1000000;
std::string g_file;

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "%s: %s failed\n", Program, what);
    std::exit(1);
}

// What both sides add up, so that the work cannot be skipped and the values
// can be compared.
struct Sum {
    unsigned long long ids = 0, chars = 0, rows = 0;
    double amounts = 0, dates = 0;

    void Add(LONGLONG id, double amount, const wchar_t* name, size_t length, double date) {
        ++rows;
        ids += static_cast<unsigned long long>(id);
        amounts += amount;
        chars += length;
        for (size_t i = 0; i < length; ++i)
            chars += static_cast<unsigned long long>(name[i]) * (i + 1);
        dates += date;
    }
    bool operator==(const Sum&) const = default;
};

// ------------------------------------------------------------ raw loop

// "YYYY-MM-DD HH:MM:SS" (as the table holds them) as an automation date.
double ParseStamp(const unsigned char* t, int bytes) {
    if (bytes < 19)
        return 0;
    const COleDateTime date(Digits(t, 4), Digits(t + 5, 2), Digits(t + 8, 2), Digits(t + 11, 2),
                            Digits(t + 14, 2), Digits(t + 17, 2));
    return static_cast<double>(date);
}

Sum ReadRaw(sqlite3* db) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT id, amount, name, stamp FROM bench", -1, &stmt, nullptr) !=
        SQLITE_OK)
        Fail("preparing the select");
    Sum sum;
    wchar_t name[64];
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        const LONGLONG id = sqlite3_column_int64(stmt, 0);
        const double amount = sqlite3_column_double(stmt, 1);
        const size_t length = benchsupport::Widen(sqlite3_column_text(stmt, 2),
                                                  sqlite3_column_bytes(stmt, 2), name, 64);
        const double date = ParseStamp(sqlite3_column_text(stmt, 3), sqlite3_column_bytes(stmt, 3));
        sum.Add(id, amount, name, length, date);
    }
    sqlite3_finalize(stmt);
    return sum;
}

// ------------------------------------------------------------ library

std::shared_ptr<CDataSource> Connect() {
    auto source = std::make_shared<CDataSource>(CBaseOLEDBClass::eGenericDatabase);
    const std::wstring path(g_file.begin(), g_file.end());
    if (!source->Connect(CBaseOLEDBClass::eProvider5, path, L"", L"", L""))
        Fail("connecting the data source");
    return source;
}

Sum ReadLibrary(const std::shared_ptr<CDataSource>& source) {
    int reconnected = 0;
    auto command = std::make_shared<CExtCommandClass>(source, reconnected);
    if (!command->Select(L"bench", L"id, amount, name, stamp", L"", L""))
        Fail("Select");
    CRowSet& rowset = *command->GetRowSet();
    const size_t id = rowset.GetColumnsOrdinal(L"id");
    const size_t amount = rowset.GetColumnsOrdinal(L"amount");
    const size_t name = rowset.GetColumnsOrdinal(L"name");
    const size_t stamp = rowset.GetColumnsOrdinal(L"stamp");
    const CRowSet::db_col_access_helper& idHelper = rowset.GetColMetaData(id);
    const CRowSet::db_col_access_helper& amountHelper = rowset.GetColMetaData(amount);
    const CRowSet::db_col_access_helper& nameHelper = rowset.GetColMetaData(name);
    const CRowSet::db_col_access_helper& stampHelper = rowset.GetColMetaData(stamp);
    Sum sum;
    while (rowset.FetchNext()) {
        const wchar_t* text = rowset.GetCurrColumnsWchar(name, nameHelper);
        const COleDateTime date = rowset.GetCurrColumnsOleDateTime(stamp, stampHelper, nullptr);
        sum.Add(rowset.GetCurrColumnsInt64(id, idHelper),
                rowset.GetCurrColumnsLONG(amount, amountHelper), text, text ? std::wcslen(text) : 0,
                static_cast<double>(date));
    }
    return sum;
}

// ------------------------------------------------------------ benchmarks

void RawStep(benchmark::State& state) {
    benchsupport::TimeRawLoop(state, g_file, g_rows, Fail, ReadRaw);
}

void LibrarySelect(benchmark::State& state) {
    const auto source = Connect();
    benchsupport::TimeEach(state, g_rows, [&] { return ReadLibrary(source); });
}

BENCHMARK(RawStep)->Unit(benchmark::kMillisecond);
BENCHMARK(LibrarySelect)->Unit(benchmark::kMillisecond);

bool SameValues() {
    return benchsupport::SameValues(Program, "library", benchsupport::ReadOnce(g_file, ReadRaw),
                                    ReadLibrary(Connect()), g_rows);
}

void Summarise(const benchsupport::SummaryReporter& reporter) {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    benchsupport::PrintRatio(g_rows, "library", reporter.Time("LibrarySelect"),
                             reporter.Time("RawStep"),
                             ", peak memory " + std::to_string(usage.ru_maxrss) + " KiB");
}

} // namespace

int main(int argc, char** argv) {
    return benchsupport::RunComparison(argc, argv, Program, g_rows, g_file, Fail, SameValues,
                                       Summarise);
}
