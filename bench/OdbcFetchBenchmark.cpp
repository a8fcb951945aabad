// Fetching rows from the MariaDB and PostgreSQL servers through the ODBC
// bridge provider against a raw ODBC block-fetch loop on the same driver,
// with the same connection string, in the same run.
//
// Both sides read one table of an integer, a double, a short text and a
// timestamp into the same native forms: a 32-bit integer, a double, wide
// text (wchar_t) with its length and a timestamp structure. The provider side
// is what a consumer does: a command, an accessor binding the columns as I4,
// R8, WSTR and DBTIMESTAMP, GetNextRows in batches and GetData per row. The
// raw side binds column-wise arrays of the same batch size to the same C
// types (SQL_C_SLONG, SQL_C_DOUBLE, SQL_C_WCHAR, SQL_C_TYPE_TIMESTAMP).
//
//   bench_odbc_fetch [--rows=N] [benchmark options]
//
// The servers' connection strings come from HDB_MARIADB and HDB_POSTGRES
// (scripts/servers.sh env); a missing one fails the program. --rows sets the
// table size (one million by default). The summary gives, per server, the
// provider's time as a multiple of the raw loop's and the peak memory of the
// process; for the peak of one side alone, run it alone with
// --benchmark_filter=Provider or =Raw.
#include "BenchSupport.h"
#include "OdbcRawFetch.h"
#include "ProviderSupport.h"

#include <sys/resource.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

#include "haldendb/ProviderClassIds.h"

namespace {

using odbcbench::Totals;

constexpr DBCOUNTITEM BatchRows = 100;

size_t g_rows = 1000000;

struct Server {
    const char* name;
    const char* variable;
    bool mariadb;
    std::string connection;
    std::string table;
};

Server g_servers[] = {{"MariaDB", "HDB_MARIADB", true, {}, {}},
                      {"PostgreSQL", "HDB_POSTGRES", false, {}, {}}};

Totals ReadProvider(benchsupport::ProviderSession& provider, const std::string& table) {
    return benchsupport::ReadFetchedTotals<LONG>(provider, odbcbench::SelectText(table), DBTYPE_I4,
                                                 BatchRows);
}

std::unique_ptr<benchsupport::ProviderSession> OpenProvider(const Server& server) {
    return std::make_unique<benchsupport::ProviderSession>(
        CLSID_HDB_MSDASQL, std::wstring(server.connection.begin(), server.connection.end()));
}

void RawFetch(benchmark::State& state, const Server* server) {
    odbcbench::RawConnection raw(server->connection);
    benchsupport::TimeEach(state, g_rows, [&] { return raw.Read(server->table, BatchRows); });
}

void ProviderFetch(benchmark::State& state, const Server* server) {
    auto provider = OpenProvider(*server);
    benchsupport::TimeEach(state, g_rows, [&] { return ReadProvider(*provider, server->table); });
}

double PeakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> args = benchsupport::TakeRowsOption(argc, argv, g_rows);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());

    int status = 0;
    for (Server& server : g_servers) {
        const char* connection = std::getenv(server.variable);
        if (connection == nullptr || *connection == '\0') {
            std::fprintf(stderr, "bench_odbc_fetch: %s is not set (scripts/servers.sh env)\n",
                         server.variable);
            return 1;
        }
        server.connection = connection;
        server.table = "bench_fetch_" + std::to_string(::getpid());
        odbcbench::RawConnection raw(server.connection);
        raw.CreateTable(server.table, g_rows, server.mariadb);
        // Both sides must read the very same values before their times mean
        // anything.
        const Totals expected = raw.Read(server.table, BatchRows);
        const Totals fetched = ReadProvider(*OpenProvider(server), server.table);
        if (!(expected == fetched) || expected.rows != g_rows) {
            std::fprintf(stderr,
                         "bench_odbc_fetch: %s: the provider read other values than the raw loop "
                         "(%llu rows against %llu)\n",
                         server.name, fetched.rows, expected.rows);
            status = 1;
        }
        benchmark::RegisterBenchmark((std::string("Raw") + server.name).c_str(), RawFetch, &server)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("Provider") + server.name).c_str(), ProviderFetch,
                                     &server)
            ->Unit(benchmark::kMillisecond);
    }

    if (status == 0) {
        benchsupport::SummaryReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        for (const Server& server : g_servers) {
            const double provider = reporter.Time(std::string("Provider") + server.name);
            const double raw = reporter.Time(std::string("Raw") + server.name);
            if (provider > 0 && raw > 0)
                std::printf("%s, %zu rows: provider %.1f ms, raw ODBC %.1f ms, ratio %.2f\n",
                            server.name, g_rows, provider, raw, provider / raw);
        }
        std::printf("peak memory of the process: %.1f MiB\n", PeakMiB());
    }
    for (const Server& server : g_servers)
        odbcbench::RawConnection(server.connection).DropTable(server.table);
    benchmark::Shutdown();
    return status;
}
