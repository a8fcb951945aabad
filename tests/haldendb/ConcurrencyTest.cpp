// One data source shared between threads, on a real SQLite file: connects
// racing each other, commands made while another thread releases and
// reconnects, and provider objects asked while they are replaced. What
// reached the file is counted with SQLite's own client. Callbacks stay
// unset where several threads would report at once: a collector is not
// made for that.
#include "CommandSupport.h"

#include "haldendb/TransactionClass.h"

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace hdbtest;

namespace {

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

// The rows a command's rowset delivers.
int RowsOf(CCommandClass& command) {
    CRowSet* rowset = command.GetRowSet();
    int rows = 0;
    while (rowset != nullptr && rowset->FetchNext())
        ++rows;
    return rows;
}

// A rowset that describes no columns: nothing can be built on it.
class RowsetWithoutColumns : public TestObject<RowsetWithoutColumns, IRowset> {
public:
    bool Answers(REFIID iid, IRowset*) const { return iid == IID_IRowset; }
    HRESULT STDMETHODCALLTYPE AddRefRows(DBCOUNTITEM, const HROW[], DBREFCOUNT[],
                                         DBROWSTATUS[]) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetData(HROW, HACCESSOR, void*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNextRows(HCHAPTER, DBROWOFFSET, DBROWCOUNT, DBCOUNTITEM*,
                                          HROW**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ReleaseRows(DBCOUNTITEM, const HROW[], DBROWOPTIONS[], DBREFCOUNT[],
                                          DBROWSTATUS[]) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RestartPosition(HCHAPTER) override { return E_NOTIMPL; }
};

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
    // It waited for the first instead of answering while that one was at work.
    EXPECT_EQ(source->GetConnectionState(), CDataSource::eConnected);
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

// ------------------------------------------------------------------ task allocator

TEST(CommandAllocatorTest, ACommandThatReconnectsItsDataSourceReadsEveryRow) {
    commandtest::SqliteSource db;
    ASSERT_TRUE(db.connected);
    SqliteClient client(db.path);
    ASSERT_TRUE(client.Exec("CREATE TABLE t (v INTEGER); INSERT INTO t VALUES (1), (2)"));
    ASSERT_TRUE(db.source->Release());

    auto command = db.Command();
    ASSERT_TRUE(db.source->IsConnected());
    ASSERT_TRUE(command->SelectExecute(L"SELECT v FROM t"));
    EXPECT_EQ(RowsOf(*command), client.Number("SELECT count(*) FROM t"));
    EXPECT_EQ(RowsOf(*command), 0); // read to the end
    ASSERT_TRUE(command->SelectExecuteNoStreams(L"SELECT v FROM t"));
    EXPECT_EQ(RowsOf(*command), 2);
}

TEST(CommandAllocatorTest, ARowsetThatCannotBeBuiltFailsWithAReport) {
    commandtest::SqliteSource db;
    ASSERT_TRUE(db.connected);
    auto command = db.Command();
    RowsetWithoutColumns rowset;
    rowset.AddRef(); // handed to the command
    EXPECT_FALSE(command->CreateRowSet(&rowset, true));
    EXPECT_EQ(command->GetRowSet(), nullptr);
    EXPECT_EQ(rowset.references.load(), 0u);
    EXPECT_EQ(ReportsCaptioned(db.errors, 15519).size(), 1u);
}

TEST_F(ConcurrencyTest, CommandsMadeWhileTheDataSourceReconnectsReadEveryRow) {
    SqliteClient client(path);
    ASSERT_TRUE(client.Exec("CREATE TABLE t (v INTEGER); INSERT INTO t VALUES (1), (2)"));
    ASSERT_TRUE(source->Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L""));
    constexpr int Rounds = 20;
    std::atomic<int> wrong{0};
    for (int round = 0; round < Rounds; ++round) {
        source->Release();
        // Each command finds the data source released; one reconnects it,
        // the others take that connection.
        OnThreads(3, [&](int) {
            int reconnected = 0;
            auto command = std::make_shared<CExtCommandClass>(source, reconnected);
            if (!command->SelectExecute(L"SELECT v FROM t") || RowsOf(*command) != 2)
                ++wrong;
        });
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(client.Number("SELECT count(*) FROM t"), 2);
}

// ------------------------------------------------------------------ locks

TEST_F(ConcurrencyTest, TheDataSourceObjectIsAskedSafelyWhileAnotherThreadReconnects) {
    SqliteClient client(path);
    ASSERT_TRUE(client.Exec("CREATE TABLE t (v INTEGER)"));
    auto open = std::make_shared<OpenDataSource>();
    ASSERT_TRUE(open->Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L""));
    // Every reconnect releases the data source object and makes a new one
    // while the other thread keeps asking it and borrowing sessions.
    std::atomic<bool> stop{false};
    std::atomic<int> lent{0};
    std::thread asker([&] {
        while (!stop.load()) {
            open->IsConnected();
            if (boost::shared_ptr<CommandLiveChecker> checker =
                    open->GetCurrentDatabaseSessionCommand()) {
                ++lent;
                checker->SetInUse(false);
            }
            open->isPooledConnection();
            open->SetFastLoadProperty(true);
            open->SetMultipleConnectionProperty(true);
            open->GetStructuredStorageProperty();
            CTransactionClass transaction(open);
        }
    });
    int connects = 0;
    for (int round = 0; round < 100; ++round)
        connects += open->Connect() ? 1 : 0;
    // The reconnects may leave the asker no moment with a session; once
    // connected for good it must get one.
    for (int wait = 0; wait < 200 && lent.load() == 0; ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    stop = true;
    asker.join();
    EXPECT_EQ(connects, 100);
    EXPECT_GT(lent.load(), 0);

    CTransactionClass transaction(open);
    ASSERT_TRUE(transaction.StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
    auto command = std::make_shared<CCommandClass>(transaction);
    EXPECT_TRUE(command->Execute(L"INSERT INTO t VALUES (1)", nullptr));
    EXPECT_TRUE(transaction.CommitTransaction(false, XACTTC_SYNC, 0));
    EXPECT_EQ(client.Number("SELECT count(*) FROM t"), 1);
}

TEST_F(ConcurrencyTest, PrepareAndCancelOfOneCommandOnTwoThreads) {
    SqliteClient client(path);
    ASSERT_TRUE(client.Exec("CREATE TABLE t (v INTEGER)"));
    ASSERT_TRUE(source->Connect(CLSID_HDB_EMBEDDED, path, L"", L"", L""));
    boost::shared_ptr<CommandLiveChecker> session = source->GetCurrentDatabaseSessionCommand();
    ASSERT_TRUE(session);
    ComPtr<ICommandText> command;
    ASSERT_EQ(static_cast<IDBCreateCommand*>(*session)->CreateCommand(nullptr, IID_ICommandText,
                                                                      command.OutUnknown()),
              S_OK);
    ASSERT_EQ(command->SetCommandText(DBGUID_DEFAULT, L"INSERT INTO t VALUES (1)"), S_OK);
    ComPtr<ICommandPrepare> prepare;
    ASSERT_EQ(command->QueryInterface(IID_ICommandPrepare, prepare.OutVoid()), S_OK);
    // Between executions a cancel looks for a statement still being read.
    ASSERT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), S_OK);

    std::atomic<bool> stop{false};
    std::thread canceller([&] {
        while (!stop.load())
            command->Cancel();
    });
    int prepared = 0;
    for (int round = 0; round < 200; ++round)
        prepared += prepare->Prepare(0) == S_OK ? 1 : 0;
    stop = true;
    canceller.join();
    EXPECT_EQ(prepared, 200);
    // The statement prepared last runs, once.
    EXPECT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(client.Number("SELECT count(*) FROM t"), 2);
    command.Reset();
    session->SetInUse(false);
}

} // namespace
