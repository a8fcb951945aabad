// Fetching rows through the embedded provider against a raw sqlite3_step
// loop over the same file, in the same run.
//
// Both sides read one table of an integer, a real, a short text and a
// timestamp into the same native forms: a 64-bit integer, a double, wide text
// with its length, and a DBTIMESTAMP parsed from the stored text. The
// provider side is what a consumer does: a command, an accessor binding the
// four columns as I8, R8, WSTR and DBTIMESTAMP, GetNextRows in batches and
// GetData per row. The summary line gives the provider's time as a multiple
// of the raw loop's.
//
//   bench_fetch [--rows=N] [benchmark options]
//
// --rows sets the table size (one million by default); a small count makes
// the program a quick check that both sides read the same values. It exits
// with 1 when they do not. On a machine with other load, compare medians of
// interleaved repetitions:
//
//   bench_fetch --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true
#include "BenchSupport.h"
#include "ProviderSupport.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "haldendb/ProviderClassIds.h"
#include "hdbplatform/OleDbApi.h"

namespace {

using benchsupport::Binding;
using benchsupport::Digits;

constexpr size_t NameChars = 20;
constexpr DBCOUNTITEM BatchRows = 100;

size_t g_rows = 1000000;
std::string g_file;

[[noreturn]] void Fail(const char* what, long code = 0) {
    std::fprintf(stderr, "bench_fetch: %s failed (%ld)\n", what, code);
    std::exit(1);
}

std::wstring Wide(const std::string& path) {
    return std::wstring(path.begin(), path.end());
}

// One fetched row in the consumer's native forms.
struct Row {
    LONGLONG id;
    double amount;
    DBTIMESTAMP stamp;
    DBLENGTH nameLength; // bytes
    wchar_t name[NameChars + 1];
    DBSTATUS status[4];
};

using benchsupport::Totals;

// ------------------------------------------------------------ raw loop

// "YYYY-MM-DD HH:MM:SS" (as the table holds them).
void ParseStamp(const unsigned char* t, int bytes, DBTIMESTAMP& out) {
    out = DBTIMESTAMP{};
    if (bytes < 19)
        return;
    out.year = static_cast<SHORT>(Digits(t, 4));
    out.month = static_cast<USHORT>(Digits(t + 5, 2));
    out.day = static_cast<USHORT>(Digits(t + 8, 2));
    out.hour = static_cast<USHORT>(Digits(t + 11, 2));
    out.minute = static_cast<USHORT>(Digits(t + 14, 2));
    out.second = static_cast<USHORT>(Digits(t + 17, 2));
}

Totals ReadRaw(sqlite3* db) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT id, amount, name, stamp FROM bench", -1, &stmt, nullptr) !=
        SQLITE_OK)
        Fail("preparing the select");
    Totals sum;
    Row row{};
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        row.id = sqlite3_column_int64(stmt, 0);
        row.amount = sqlite3_column_double(stmt, 1);
        const unsigned char* name = sqlite3_column_text(stmt, 2);
        row.nameLength =
            benchsupport::Widen(name, sqlite3_column_bytes(stmt, 2), row.name, NameChars + 1) *
            sizeof(wchar_t);
        const unsigned char* stamp = sqlite3_column_text(stmt, 3);
        ParseStamp(stamp, sqlite3_column_bytes(stmt, 3), row.stamp);
        sum.Add(benchsupport::ValuesOf(row));
    }
    sqlite3_finalize(stmt);
    return sum;
}

// ------------------------------------------------------------ provider

Totals ReadProvider(benchsupport::ProviderSession& provider) {
    const DBBINDING bindings[] = {
        Binding(1, DBTYPE_I8, offsetof(Row, id), sizeof(LONGLONG), offsetof(Row, status)),
        Binding(2, DBTYPE_R8, offsetof(Row, amount), sizeof(double), offsetof(Row, status)),
        Binding(3, DBTYPE_WSTR, offsetof(Row, name), sizeof(Row::name), offsetof(Row, status),
                offsetof(Row, nameLength)),
        Binding(4, DBTYPE_DBTIMESTAMP, offsetof(Row, stamp), sizeof(DBTIMESTAMP),
                offsetof(Row, status)),
    };
    Totals sum;
    benchsupport::ReadEveryRow<Row>(provider, L"SELECT id, amount, name, stamp FROM bench",
                                    bindings, BatchRows,
                                    [&](const Row& row) { sum.Add(benchsupport::ValuesOf(row)); });
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

void ProviderFetch(benchmark::State& state) {
    benchsupport::ProviderSession provider(CLSID_HDB_EMBEDDED, Wide(g_file));
    for (auto _ : state)
        benchmark::DoNotOptimize(ReadProvider(provider));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * g_rows));
}

BENCHMARK(RawStep)->Unit(benchmark::kMillisecond);
BENCHMARK(ProviderFetch)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> args = benchsupport::TakeRowsOption(argc, argv, g_rows);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());

    const benchsupport::TempFolder dir("hdb-bench");
    g_file = dir.File("fetch.db");
    benchsupport::CreateDatabase(g_file, g_rows, [](const char* what) { Fail(what); });

    // Both sides must read the very same values before their times mean
    // anything.
    int status = 0;
    {
        sqlite3* db = nullptr;
        sqlite3_open_v2(g_file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
        const Totals raw = ReadRaw(db);
        sqlite3_close(db);
        benchsupport::ProviderSession provider(CLSID_HDB_EMBEDDED, Wide(g_file));
        const Totals fetched = ReadProvider(provider);
        if (!(raw == fetched) || raw.rows != g_rows) {
            std::fprintf(stderr,
                         "bench_fetch: the provider read other values than sqlite3 "
                         "(%llu rows against %llu)\n",
                         fetched.rows, raw.rows);
            status = 1;
        }
    }

    if (status == 0) {
        benchsupport::SummaryReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        benchsupport::PrintRatio(g_rows, "provider", reporter.Time("ProviderFetch"),
                                 reporter.Time("RawStep"));
    }
    benchmark::Shutdown();
    return status;
}
