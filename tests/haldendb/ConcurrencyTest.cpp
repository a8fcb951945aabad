// One data source shared between threads, on a real SQLite file: connects
// racing each other, commands made while another thread releases and
// reconnects, and provider objects asked while they are replaced. What
// reached the file is counted with SQLite's own client. Callbacks stay
// unset where several threads would report at once: a collector is not
// made for that.
#include "CommandSupport.h"

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace hdbtest;

namespace {

// A connection of SQLite's own client to the test's file.
class SqliteClient {
public:
    explicit SqliteClient(const std::wstring& path) {
        sqlite3_open(std::string(path.begin(), path.end()).c_str(), &m_db);
    }
    ~SqliteClient() { sqlite3_close(m_db); }
    SqliteClient(const SqliteClient&) = delete;
    SqliteClient& operator=(const SqliteClient&) = delete;

    bool Exec(const char* sql) { return sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) == 0; }
    // The first column of the first row as a number; -1 when the query fails.
    long long Number(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        long long value = -1;
        if (sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW)
            value = sqlite3_column_int64(statement, 0);
        sqlite3_finalize(statement);
        return value;
    }

private:
    sqlite3* m_db = nullptr;
};

// Runs `work(i)` on `count` threads that start together.
template <class Work> void OnThreads(int count, Work work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
            ++ready;
            while (ready.load() < count)
                std::this_thread::yield();
            work(i);
        });
    for (auto& thread : threads)
        thread.join();
}

class ConcurrencyTest : public testing::Test {
protected:
    SettingsIsolation settings;
    TempFolder folder;
    const std::wstring path = folder.File("shared.db");
    std::shared_ptr<CDataSource> source = std::make_shared<CDataSource>();
};

// ------------------------------------------------------------------ connect

TEST_F(ConcurrencyTest, ASecondConnectTakesTheConnectionOfTheOneAtWork) {
    SqliteClient client(path);
    ASSERT_TRUE(client.Exec("CREATE TABLE t (v INTEGER)"));
    std::atomic<int> logins{0};
    source->SetCallBackAfterSuccessfullLoginToDB(
        [](CDataSource*, void* count) { ++*static_cast<std::atomic<int>*>(count); });
    source->SetCallBackObjectAfterSuccessfullLoginToDB(&logins);

    // The provider's connect reads the file, which waits while the client
    // holds it locked: the first connect stays at work until the lock goes.
    ASSERT_TRUE(client.Exec("BEGIN EXCLUSIVE"));
    auto first = std::async(std::launch::async, [&] {
        return source->Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L"");
    });
    while (source->GetConnectionState() != CDataSource::eConnecting)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::atomic<bool> secondCalled{false};
    std::thread unlocker([&] {
        while (!secondCalled.load())
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        client.Exec("COMMIT");
    });
    secondCalled = true;
    EXPECT_TRUE(source->Connect());
    unlocker.join();
    EXPECT_TRUE(first.get());

    // One connection, made once, serves both callers.
    EXPECT_EQ(logins.load(), 1);
    EXPECT_TRUE(source->IsConnected());
    EXPECT_EQ(Execute(*source, L"INSERT INTO t VALUES (1)"), S_OK);
    EXPECT_EQ(client.Number("SELECT count(*) FROM t"), 1);
}

TEST_F(ConcurrencyTest, RacingConnectsAllSucceedOnOneLiveConnection) {
    SqliteClient client(path);
    ASSERT_TRUE(client.Exec("CREATE TABLE t (v INTEGER)"));
    // Several data sources race at once, so that threads lose the processor
    // in the middle of a connect often enough.
    constexpr int Sources = 4;
    constexpr int Threads = 4;
    constexpr int Rounds = 20;
    std::vector<std::shared_ptr<CDataSource>> sources;
    for (int i = 0; i < Sources; ++i) {
        sources.push_back(std::make_shared<CDataSource>());
        ASSERT_TRUE(sources.back()->Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L""));
    }
    std::atomic<int> failed{0};
    for (int round = 0; round < Rounds; ++round) {
        for (const auto& source : sources)
            source->Release();
        std::vector<std::atomic<bool>> connected(Threads * Sources);
        OnThreads(Threads * Sources,
                  [&](int i) { connected[i] = sources[i % Sources]->Connect(); });
        for (int i = 0; i < Sources; ++i) {
            CDataSource& source = *sources[i];
            bool sound = source.IsConnected();
            for (int t = 0; t < Threads; ++t)
                sound = sound && connected[t * Sources + i];
            sound = sound && source.GetConnectionState() == CDataSource::eConnected &&
                    Execute(source, L"INSERT INTO t VALUES (" +
                                        std::to_wstring(round * Sources + i) + L")") == S_OK;
            failed += sound ? 0 : 1;
        }
    }
    EXPECT_EQ(failed.load(), 0);
    EXPECT_EQ(client.Number("SELECT count(DISTINCT v) FROM t"), Rounds * Sources);
}

} // namespace
