// What the benchmarks share: the table both sides read, the raw loop's text
// helpers, the program's own --rows option, a temporary folder for the file,
// the frame of a program that compares a side with the raw loop, and the
// summary of each benchmark's time and their ratio.
#pragma once

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace benchsupport {

// Called with what failed; does not return.
using Failure = void (*)(const char* what);

// Creates table bench (id INTEGER, amount REAL, name VARCHAR(20), stamp
// TIMESTAMP) in `file` with `rows` rows of made-up values.
inline void CreateDatabase(const std::string& file, size_t rows, Failure fail) {
    sqlite3* db = nullptr;
    if (sqlite3_open(file.c_str(), &db) != SQLITE_OK)
        fail("sqlite3_open");
    const char* schema = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
                         "CREATE TABLE bench (id INTEGER, amount REAL, name VARCHAR(20),"
                         " stamp TIMESTAMP); BEGIN;";
    if (sqlite3_exec(db, schema, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail("creating the table");
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_prepare_v2(db, "INSERT INTO bench VALUES (?, ?, ?, ?)", -1, &insert, nullptr) !=
        SQLITE_OK)
        fail("preparing the insert");
    char name[32], stamp[32];
    for (size_t i = 0; i < rows; ++i) {
        const size_t seconds = i * 37;
        std::snprintf(name, sizeof name, "customer %zu", i % 1000003);
        std::snprintf(stamp, sizeof stamp, "20%02zu-%02zu-%02zu %02zu:%02zu:%02zu", 10 + i % 15,
                      1 + i % 12, 1 + i % 28, seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
        sqlite3_bind_int64(insert, 1, static_cast<sqlite3_int64>(i) * 7 + 1);
        sqlite3_bind_double(insert, 2, static_cast<double>(i % 100000) * 0.25);
        sqlite3_bind_text(insert, 3, name, -1, SQLITE_STATIC);
        sqlite3_bind_text(insert, 4, stamp, -1, SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE)
            fail("inserting");
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
        fail("committing");
    sqlite3_close(db);
}

// UTF-8 into wide text, at most capacity - 1 characters and a terminator;
// answers the characters written.
inline size_t Widen(const unsigned char* text, int bytes, wchar_t* out, size_t capacity) {
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

// The number written with `count` decimal digits at p.
inline int Digits(const unsigned char* p, int count) {
    int v = 0;
    for (int i = 0; i < count; ++i)
        v = v * 10 + (p[i] - '0');
    return v;
}

// Takes --rows=N out of the arguments into `rows`; answers the others, for
// benchmark::Initialize.
inline std::vector<char*> TakeRowsOption(int argc, char** argv, size_t& rows) {
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], "--rows=", 7) == 0)
            rows = std::strtoull(argv[i] + 7, nullptr, 10);
        else
            args.push_back(argv[i]);
    }
    return args;
}

// A folder of its own under the temporary directory, removed with all it
// holds when the object goes.
class TempFolder {
public:
    explicit TempFolder(const std::string& prefix)
        : m_dir(std::filesystem::temp_directory_path() /
                (prefix + "-" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(m_dir);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string File(const std::string& name) const { return (m_dir / name).string(); }

private:
    std::filesystem::path m_dir;
};

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
    // The time of benchmark name, 0 when it did not run.
    double Time(const std::string& name) const {
        if (auto median = medians.find(name); median != medians.end())
            return median->second;
        auto time = times.find(name);
        return time != times.end() ? time->second : 0;
    }

private:
    std::map<std::string, double> times, medians;
};

// Prints "<rows> rows: <side> <t> ms, raw sqlite3_step <t> ms, ratio <r>"
// followed by `more` and a line end, when both benchmarks ran; answers
// whether it printed.
inline bool PrintRatio(size_t rows, const char* side, double time, double raw,
                       const std::string& more = std::string()) {
    if (raw <= 0 || time <= 0)
        return false;
    std::printf("%zu rows: %s %.1f ms, raw sqlite3_step %.1f ms, ratio %.2f%s\n", rows, side, time,
                raw, time / raw, more.c_str());
    return true;
}

// Times read() per iteration, counting rows items an iteration.
template <class Read> void TimeEach(benchmark::State& state, size_t rows, Read read) {
    for (auto _ : state)
        benchmark::DoNotOptimize(read());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * rows));
}

// Times read(db) per iteration on one read-only connection to file.
template <class Read>
void TimeRawLoop(benchmark::State& state, const std::string& file, size_t rows, Failure fail,
                 Read read) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
        fail("sqlite3_open_v2");
    TimeEach(state, rows, [&] { return read(db); });
    sqlite3_close(db);
}

// What read(db) answers on a read-only connection to file, for one run
// outside the benchmarks.
template <class Read> auto ReadOnce(const std::string& file, Read read) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    const auto totals = read(db);
    sqlite3_close(db);
    return totals;
}

// Whether a side read the very values of the raw loop, every row of the
// table; says on stderr what differs when not.
template <class Totals>
bool SameValues(const char* program, const char* side, const Totals& raw, const Totals& read,
                size_t rows) {
    if (raw == read && raw.rows == rows)
        return true;
    std::fprintf(stderr, "%s: the %s read other values than sqlite3 (%llu rows against %llu)\n",
                 program, side, read.rows, raw.rows);
    return false;
}

// The frame of a program that compares a side with the raw loop: takes
// --rows into rows, creates the table in a temporary folder and names it in
// file, runs the benchmarks only when sameValues() finds that both sides read
// the same values (their times mean nothing otherwise), and then summarise
// with their times. Answers the program's exit status.
inline int RunComparison(int argc, char** argv, const char* program, size_t& rows,
                         std::string& file, Failure fail, const std::function<bool()>& sameValues,
                         const std::function<void(const SummaryReporter&)>& summarise) {
    std::vector<char*> args = TakeRowsOption(argc, argv, rows);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());

    const TempFolder dir(program);
    file = dir.File("bench.db");
    CreateDatabase(file, rows, fail);

    const int status = sameValues() ? 0 : 1;
    if (status == 0) {
        SummaryReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        summarise(reporter);
    }
    benchmark::Shutdown();
    return status;
}

} // namespace benchsupport
