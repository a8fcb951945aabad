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
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "haldendb/haldendb.h"

namespace {

size_t g_rows = 1000000;
std::string g_file;

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "bench_select: %s failed\n", what);
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

// ------------------------------------------------------------ the file

void CreateDatabase() {
    sqlite3* db = nullptr;
    if (sqlite3_open(g_file.c_str(), &db) != SQLITE_OK)
        Fail("sqlite3_open");
    const char* schema = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
                         "CREATE TABLE bench (id INTEGER, amount REAL, name VARCHAR(20),"
                         " stamp TIMESTAMP); BEGIN;";
    if (sqlite3_exec(db, schema, nullptr, nullptr, nullptr) != SQLITE_OK)
        Fail("creating the table");
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_prepare_v2(db, "INSERT INTO bench VALUES (?, ?, ?, ?)", -1, &insert, nullptr) !=
        SQLITE_OK)
        Fail("preparing the insert");
    char name[32], stamp[32];
    for (size_t i = 0; i < g_rows; ++i) {
        const size_t seconds = i * 37;
        std::snprintf(name, sizeof name, "customer %zu", i % 1000003);
        std::snprintf(stamp, sizeof stamp, "20%02zu-%02zu-%02zu %02zu:%02zu:%02zu", 10 + i % 15,
                      1 + i % 12, 1 + i % 28, seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
        sqlite3_bind_int64(insert, 1, static_cast<sqlite3_int64>(i) * 7 + 1);
        sqlite3_bind_double(insert, 2, static_cast<double>(i % 100000) * 0.25);
        sqlite3_bind_text(insert, 3, name, -1, SQLITE_STATIC);
        sqlite3_bind_text(insert, 4, stamp, -1, SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE)
            Fail("inserting");
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
        Fail("committing");
    sqlite3_close(db);
}

// ------------------------------------------------------------ raw loop

// UTF-8 into wide text; answers the characters written.
size_t Widen(const unsigned char* text, int bytes, wchar_t* out, size_t capacity) {
    size_t n = 0;
    for (int i = 0; i < bytes && n + 1 < capacity;) {
        const unsigned char c = text[i];
        char32_t cp;
        if (c < 0x80) {
            cp = c;
            i += 1;
        } else if (c < 0xE0 && i + 1 < bytes) {
            cp = (c & 0x1F) << 6 | (text[i + 1] & 0x3F);
            i += 2;
        } else if (c < 0xF0 && i + 2 < bytes) {
            cp = (c & 0x0F) << 12 | (text[i + 1] & 0x3F) << 6 | (text[i + 2] & 0x3F);
            i += 3;
        } else if (i + 3 < bytes) {
            cp = (c & 0x07) << 18 | (text[i + 1] & 0x3F) << 12 | (text[i + 2] & 0x3F) << 6 |
                 (text[i + 3] & 0x3F);
            i += 4;
        } else {
            cp = 0xFFFD;
            i = bytes;
        }
        out[n++] = static_cast<wchar_t>(cp);
    }
    out[n] = L'\0';
    return n;
}

int Digits(const unsigned char* p, int count) {
    int v = 0;
    for (int i = 0; i < count; ++i)
        v = v * 10 + (p[i] - '0');
    return v;
}

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
        const size_t length =
            Widen(sqlite3_column_text(stmt, 2), sqlite3_column_bytes(stmt, 2), name, 64);
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
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(g_file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
        Fail("sqlite3_open_v2");
    for (auto _ : state)
        benchmark::DoNotOptimize(ReadRaw(db));
    sqlite3_close(db);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * g_rows));
}

void LibrarySelect(benchmark::State& state) {
    const auto source = Connect();
    for (auto _ : state)
        benchmark::DoNotOptimize(ReadLibrary(source));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * g_rows));
}

BENCHMARK(RawStep)->Unit(benchmark::kMillisecond);
BENCHMARK(LibrarySelect)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's time per iteration for the summary: the median of
// the repetitions when there are several, else the one run.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred)
                continue;
            const std::string& name = run.run_name.function_name;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                medians[name] = run.GetAdjustedRealTime();
            else if (run.run_type == Run::RT_Iteration)
                times[name] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double Time(const std::string& name) const {
        if (auto median = medians.find(name); median != medians.end())
            return median->second;
        auto time = times.find(name);
        return time != times.end() ? time->second : 0;
    }

private:
    std::map<std::string, double> times, medians;
};

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], "--rows=", 7) == 0)
            g_rows = std::strtoull(argv[i] + 7, nullptr, 10);
        else
            args.push_back(argv[i]);
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());

    const auto dir =
        std::filesystem::temp_directory_path() / ("hdb-select-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    g_file = (dir / "select.db").string();
    CreateDatabase();

    // Both sides must read the very same values before their times mean
    // anything.
    int status = 0;
    {
        sqlite3* db = nullptr;
        sqlite3_open_v2(g_file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
        const Sum raw = ReadRaw(db);
        sqlite3_close(db);
        const Sum read = ReadLibrary(Connect());
        if (!(raw == read) || raw.rows != g_rows) {
            std::fprintf(stderr,
                         "bench_select: the library read other values than sqlite3 "
                         "(%llu rows against %llu)\n",
                         read.rows, raw.rows);
            status = 1;
        }
    }

    if (status == 0) {
        SummaryReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        const double raw = reporter.Time("RawStep");
        const double library = reporter.Time("LibrarySelect");
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        if (raw > 0 && library > 0)
            std::printf("%zu rows: library %.1f ms, raw sqlite3_step %.1f ms, ratio %.2f, "
                        "peak memory %ld KiB\n",
                        g_rows, library, raw, library / raw, usage.ru_maxrss);
    }
    benchmark::Shutdown();
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    return status;
}
