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

using benchsupport::Digits;
using benchsupport::Totals;

constexpr DBCOUNTITEM BatchRows = 100;
constexpr const char* Program = "bench_fetch";

size_t g_rows = 1000000;
std::string g_file;

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "%s: %s failed\n", Program, what);
    std::exit(1);
}

std::wstring Wide(const std::string& path) {
    return std::wstring(path.begin(), path.end());
}

using Row = benchsupport::FetchedRow<LONGLONG>;

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
            benchsupport::Widen(name, sqlite3_column_bytes(stmt, 2), row.name, Row::NameChars + 1) *
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
    return benchsupport::ReadFetchedTotals<LONGLONG>(
        provider, L"SELECT id, amount, name, stamp FROM bench", DBTYPE_I8, BatchRows);
}

// ------------------------------------------------------------ benchmarks

void RawStep(benchmark::State& state) {
    benchsupport::TimeRawLoop(state, g_file, g_rows, Fail, ReadRaw);
}

void ProviderFetch(benchmark::State& state) {
    benchsupport::ProviderSession provider(CLSID_HDB_EMBEDDED, Wide(g_file));
    benchsupport::TimeEach(state, g_rows, [&] { return ReadProvider(provider); });
}

BENCHMARK(RawStep)->Unit(benchmark::kMillisecond);
BENCHMARK(ProviderFetch)->Unit(benchmark::kMillisecond);

bool SameValues() {
    benchsupport::ProviderSession provider(CLSID_HDB_EMBEDDED, Wide(g_file));
    return benchsupport::SameValues(Program, "provider", benchsupport::ReadOnce(g_file, ReadRaw),
                                    ReadProvider(provider), g_rows);
}

void Summarise(const benchsupport::SummaryReporter& reporter) {
    benchsupport::PrintRatio(g_rows, "provider", reporter.Time("ProviderFetch"),
                             reporter.Time("RawStep"));
}

} // namespace

int main(int argc, char** argv) {
    return benchsupport::RunComparison(argc, argv, Program, g_rows, g_file, Fail, SameValues,
                                       Summarise);
}
