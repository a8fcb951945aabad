// The scripted provider seen by a consumer: every scripted fault must reach
// the caller through the OLE DB interfaces (result codes, error records with
// SQL state and native error, reference counts), because the library's tests
// rely on exactly that.
#include "scripted/ScriptedProvider.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "hdbplatform/ComPtr.h"
#include "hdbplatform/OleDbSupplement.h"

using namespace hdbscripted;
using namespace std::chrono_literals;

namespace {

using hdbcom::ComPtr;

struct Record {
    std::wstring description, source, sqlState;
    LONG nativeError = 0;
};

std::vector<Record> TakeRecords() {
    std::vector<Record> out;
    ComPtr<IErrorInfo> info;
    if (GetErrorInfo(0, info.Out()) != S_OK || !info.Get())
        return out;
    ComPtr<IErrorRecords> records;
    info->QueryInterface(IID_IErrorRecords, records.OutVoid());
    ULONG count = 0;
    if (records.Get())
        records->GetRecordCount(&count);
    for (ULONG i = 0; i < count; ++i) {
        Record r;
        ComPtr<IErrorInfo> one;
        if (SUCCEEDED(records->GetErrorInfo(i, 0, one.Out()))) {
            BSTR text = nullptr;
            one->GetDescription(&text);
            r.description = text ? text : L"";
            SysFreeString(text);
            text = nullptr;
            one->GetSource(&text);
            r.source = text ? text : L"";
            SysFreeString(text);
        }
        ComPtr<ISQLErrorInfo> sql;
        if (SUCCEEDED(records->GetCustomErrorObject(i, IID_ISQLErrorInfo, sql.OutUnknown())) &&
            sql.Get()) {
            BSTR state = nullptr;
            sql->GetSQLInfo(&state, &r.nativeError);
            r.sqlState = state ? state : L"";
            SysFreeString(state);
        }
        out.push_back(r);
    }
    return out;
}

// A scripted provider with one connected data source and a session.
class ScriptedTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(provider.Registered());
        ASSERT_EQ(S_OK, provider.NewDataSource(IID_IDBInitialize, dso.OutVoid()));
        ASSERT_EQ(S_OK, dso->Initialize());
        ComPtr<IDBCreateSession> factory;
        ASSERT_EQ(S_OK, dso->QueryInterface(IID_IDBCreateSession, factory.OutVoid()));
        ASSERT_EQ(S_OK,
                  factory->CreateSession(nullptr, IID_IDBCreateCommand, session.OutUnknown()));
    }

    ComPtr<ICommandText> Command(const wchar_t* sql) {
        ComPtr<ICommandText> command;
        EXPECT_EQ(S_OK, session->CreateCommand(nullptr, IID_ICommandText, command.OutUnknown()));
        EXPECT_EQ(S_OK, command->SetCommandText(DBGUID_DEFAULT, sql));
        return command;
    }
    HRESULT Run(const wchar_t* sql, DBROWCOUNT* affected = nullptr) {
        return Command(sql)->Execute(nullptr, IID_NULL, nullptr, affected, nullptr);
    }
    ITransactionLocal* Transactions() {
        session->QueryInterface(IID_ITransactionLocal, transaction.OutVoid());
        return transaction.Get();
    }

    ScriptedProvider provider;
    ComPtr<IDBInitialize> dso;
    ComPtr<IDBCreateCommand> session;
    ComPtr<ITransactionLocal> transaction;
};

TEST_F(ScriptedTest, DeadlockVictimFailsTheFirstExecutionsWithItsRecordThenSucceeds) {
    auto rule = provider.OnStatement(L"UPDATE").FailFirst(3, DeadlockVictim()).RowsAffected(2);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(E_FAIL, Run(L"UPDATE t SET a = 1"));
        auto records = TakeRecords();
        ASSERT_EQ(1u, records.size());
        EXPECT_EQ(1205, records[0].nativeError);
        EXPECT_EQ(L"40001", records[0].sqlState);
        EXPECT_EQ(DeadlockVictim().message, records[0].description);
        EXPECT_EQ(L"haldendb scripted provider", records[0].source);
    }
    DBROWCOUNT affected = 0;
    EXPECT_EQ(S_OK, Run(L"UPDATE t SET a = 1", &affected));
    EXPECT_EQ(2, affected);
    EXPECT_EQ(4, rule.Executions());
    // A statement no rule names runs as on an empty database.
    EXPECT_EQ(S_OK, Run(L"DELETE FROM t", &affected));
    EXPECT_EQ(0, affected);
    EXPECT_EQ(4, rule.Executions());
    EXPECT_EQ(5u, provider.Executed().size());
    EXPECT_EQ(L"DELETE FROM t", provider.Executed().back());
}

TEST_F(ScriptedTest, FaultKindsPickTheResultCodeAndSevereErrorsKeepTheirNumber) {
    provider.OnStatement(L"CHECKDB").FailAlways(SevereError());
    provider.OnStatement(L"SELEC ").FailAlways({L"near SELEC", L"42000", 1, FaultKind::syntax});
    provider.OnStatement(L"INSERT").FailAlways({L"dup", L"23000", 2627, FaultKind::constraint});
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(E_FAIL, Run(L"DBCC CHECKDB"));
        auto records = TakeRecords();
        ASSERT_EQ(1u, records.size());
        EXPECT_EQ(824, records[0].nativeError);
    }
    EXPECT_EQ(DB_E_ERRORSINCOMMAND, Run(L"SELEC 1"));
    EXPECT_EQ(L"42000", TakeRecords().at(0).sqlState);
    EXPECT_EQ(DB_E_INTEGRITYVIOLATION, Run(L"INSERT INTO t VALUES (1)"));
    EXPECT_EQ(2627, TakeRecords().at(0).nativeError);
    // The kinds of a server's failures.
    const struct {
        const wchar_t* text;
        Fault fault;
        HRESULT expected;
    } serverFaults[] = {
        {L"WAITFOR 1", {L"timed out", L"HYT00", 0, FaultKind::timeout}, DB_E_ABORTLIMITREACHED},
        {L"WAITFOR 2", {L"link down", L"08S01", 2013, FaultKind::connectionLost}, E_FAIL},
        {L"WAITFOR 3", DeadlockVictim(), E_FAIL},
    };
    for (const auto& f : serverFaults) {
        provider.OnStatement(f.text).FailAlways(f.fault);
        EXPECT_EQ(f.expected, Run(f.text)) << f.fault.sqlState;
        EXPECT_EQ(f.fault.nativeError, TakeRecords().at(0).nativeError);
    }
}

TEST_F(ScriptedTest, WarningsOfASuccessfulExecuteAndItsOptionsCrossTheBackendEdge) {
    provider.OnStatement(L"UPDATE").Warns({L"value rounded", L"01S07", 7, FaultKind::general});
    auto command = Command(L"UPDATE t SET a = 1.5");
    ComPtr<ICommandProperties> properties;
    ASSERT_EQ(S_OK, command->QueryInterface(IID_ICommandProperties, properties.OutVoid()));
    DBPROP props[2]{};
    props[0].dwPropertyID = DBPROP_COMMANDTIMEOUT;
    props[1].dwPropertyID = DBPROP_MAXROWS;
    props[0].vValue.vt = props[1].vValue.vt = VT_I4;
    props[0].vValue.lVal = 7;
    props[1].vValue.lVal = 3;
    DBPROPSET set{props, 2, DBPROPSET_ROWSET};
    ASSERT_EQ(S_OK, properties->SetProperties(1, &set));
    ASSERT_EQ(S_OK, command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr));
    auto records = TakeRecords();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(L"01S07", records[0].sqlState);
    EXPECT_EQ(L"value rounded", records[0].description);
    EXPECT_EQ((std::pair<LONG, DBCOUNTITEM>{7, 3}), provider.LastStatementOptions());
    // A statement without warnings leaves no record behind.
    EXPECT_EQ(S_OK, Run(L"DELETE FROM t"));
    EXPECT_TRUE(TakeRecords().empty());
}

TEST_F(ScriptedTest, LongValuesComeForwardInChunksFromAnyRowOfTheLatestFetch) {
    auto text = [](wchar_t c) { return std::wstring(3000, c) + L"|end"; };
    provider.OnStatement(L"SELECT").Returns(
        {{L"id", DBTYPE_I8}, {L"body", DBTYPE_WSTR, 0, true}},
        {{1LL, text(L'a')}, {2LL, text(L'b')}, {3LL, text(L'c')}, {4LL, text(L'd')}});
    ComPtr<IRowset> rowset;
    ASSERT_EQ(S_OK, Command(L"SELECT id, body FROM t")
                        ->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()));
    ComPtr<IAccessor> accessors;
    ASSERT_EQ(S_OK, rowset->QueryInterface(IID_IAccessor, accessors.OutVoid()));
    struct Row {
        DBSTATUS status;
        DBLENGTH length;
        union {
            ISequentialStream* stream;
            wchar_t text[3100];
        };
    };
    DBOBJECT object{STGM_READ, IID_ISequentialStream};
    DBBINDING binding{};
    binding.iOrdinal = 2;
    binding.obStatus = offsetof(Row, status);
    binding.obLength = offsetof(Row, length);
    binding.obValue = offsetof(Row, stream);
    binding.dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
    binding.wType = DBTYPE_IUNKNOWN;
    binding.pObject = &object;
    HACCESSOR asStream = 0, asText = 0;
    ASSERT_EQ(S_OK, accessors->CreateAccessor(DBACCESSOR_ROWDATA, 1, &binding, sizeof(Row),
                                              &asStream, nullptr));
    binding.wType = DBTYPE_WSTR;
    binding.pObject = nullptr;
    binding.cbMaxLen = sizeof(Row::text);
    ASSERT_EQ(S_OK, accessors->CreateAccessor(DBACCESSOR_ROWDATA, 1, &binding, sizeof(Row), &asText,
                                              nullptr));
    auto readAll = [](ISequentialStream* stream, HRESULT& last) {
        std::wstring out;
        wchar_t piece[250];
        ULONG read = 0;
        while ((last = stream->Read(piece, sizeof piece, &read)) == S_OK ||
               (last == S_FALSE && read))
            out.append(piece, read / sizeof(wchar_t));
        return out;
    };

    DBCOUNTITEM obtained = 0;
    HROW handles[3];
    HROW* rows = handles;
    ASSERT_EQ(S_OK, rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 3, &obtained, &rows));
    ASSERT_EQ(3u, obtained);
    Row row{};
    // The second row of the batch, through a stream, in pieces smaller than the value.
    ASSERT_EQ(S_OK, rowset->GetData(rows[1], asStream, &row));
    HRESULT last = S_OK;
    EXPECT_EQ(text(L'b'), readAll(row.stream, last));
    EXPECT_EQ(S_FALSE, last);
    row.stream->Release();
    // The third row bound as text: read whole (larger than the core's chunk).
    ASSERT_EQ(S_OK, rowset->GetData(rows[2], asText, &row));
    EXPECT_EQ(text(L'c'), std::wstring(row.text));
    // Going back is refused by the database, and says so.
    ASSERT_EQ(DB_E_ERRORSOCCURRED, rowset->GetData(rows[0], asText, &row));
    EXPECT_EQ(DBSTATUS_E_UNAVAILABLE, row.status);
    // A stream of a row of the batch outlives the next fetch but can no longer read.
    ASSERT_EQ(S_OK, rowset->GetData(rows[2], asStream, &row));
    ISequentialStream* stale = row.stream;
    HROW next[1];
    rows = next;
    ASSERT_EQ(DB_S_ENDOFROWSET, rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 3, &obtained, &rows));
    ASSERT_EQ(1u, obtained);
    wchar_t piece[8];
    ULONG read = 0;
    EXPECT_EQ(DB_E_BADROWHANDLE, stale->Read(piece, sizeof piece, &read));
    EXPECT_EQ(0u, read);
    EXPECT_NE(std::wstring::npos, TakeRecords().at(0).description.find(L"earlier fetch"));
    stale->Release();
    ASSERT_EQ(S_OK, rowset->GetData(next[0], asText, &row));
    EXPECT_EQ(text(L'd'), std::wstring(row.text));
    rowset->ReleaseRows(3, handles, nullptr, nullptr, nullptr);
    rowset->ReleaseRows(1, next, nullptr, nullptr, nullptr);
    accessors->ReleaseAccessor(asStream, nullptr);
    accessors->ReleaseAccessor(asText, nullptr);
}

TEST_F(ScriptedTest, ScriptedRowsReachTheConsumerAndAFetchFaultEndsThem) {
    provider.OnStatement(L"SELECT")
        .Returns({{L"id", DBTYPE_I8}, {L"name", DBTYPE_WSTR, 20}},
                 {{1LL, std::wstring(L"one")}, {2LL, std::monostate{}}, {3LL, L"three"}})
        .FailFetchAfter(2, {L"connection lost", L"08S01", 10054, FaultKind::general});
    ComPtr<IRowset> rowset;
    ASSERT_EQ(S_OK, Command(L"SELECT id, name FROM t")
                        ->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()));
    struct Row {
        DBSTATUS idStatus;
        LONG id;
        DBSTATUS nameStatus;
        DBLENGTH nameLength;
        wchar_t name[21];
    };
    DBBINDING bindings[2]{};
    bindings[0].iOrdinal = 1;
    bindings[0].obStatus = offsetof(Row, idStatus);
    bindings[0].obValue = offsetof(Row, id);
    bindings[0].dwPart = DBPART_VALUE | DBPART_STATUS;
    bindings[0].wType = DBTYPE_I4;
    bindings[0].cbMaxLen = sizeof(LONG);
    bindings[1].iOrdinal = 2;
    bindings[1].obStatus = offsetof(Row, nameStatus);
    bindings[1].obLength = offsetof(Row, nameLength);
    bindings[1].obValue = offsetof(Row, name);
    bindings[1].dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
    bindings[1].wType = DBTYPE_WSTR;
    bindings[1].cbMaxLen = sizeof(Row::name);
    ComPtr<IAccessor> accessors;
    ASSERT_EQ(S_OK, rowset->QueryInterface(IID_IAccessor, accessors.OutVoid()));
    HACCESSOR accessor = 0;
    ASSERT_EQ(S_OK, accessors->CreateAccessor(DBACCESSOR_ROWDATA, 2, bindings, sizeof(Row),
                                              &accessor, nullptr));

    DBCOUNTITEM obtained = 0;
    HROW handles[5];
    HROW* rows = handles;
    ASSERT_EQ(S_OK, rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 2, &obtained, &rows));
    ASSERT_EQ(2u, obtained);
    Row row{};
    ASSERT_EQ(S_OK, rowset->GetData(rows[0], accessor, &row));
    EXPECT_EQ(1, row.id);
    EXPECT_EQ(std::wstring(L"one"), row.name);
    EXPECT_EQ(3 * sizeof(wchar_t), row.nameLength);
    ASSERT_EQ(S_OK, rowset->GetData(rows[1], accessor, &row));
    EXPECT_EQ(2, row.id);
    EXPECT_EQ(DBSTATUS_S_ISNULL, row.nameStatus);
    rowset->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);

    EXPECT_EQ(E_FAIL, rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 5, &obtained, &rows));
    EXPECT_EQ(0u, obtained);
    auto records = TakeRecords();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(L"08S01", records[0].sqlState);
    EXPECT_EQ(10054, records[0].nativeError);
    accessors->ReleaseAccessor(accessor, nullptr);
}

TEST_F(ScriptedTest, CancelEndsABlockedExecutionUnlessScriptedToFail) {
    auto rule = provider.OnStatement(L"WAITFOR").Blocks(10s);
    auto command = Command(L"WAITFOR DELAY");
    HRESULT executed = S_OK;
    std::thread runner(
        [&] { executed = command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr); });
    ASSERT_TRUE(rule.WaitUntilBlocked(5s));
    ComPtr<ICommand> asCommand;
    command->QueryInterface(IID_ICommand, asCommand.OutVoid());
    EXPECT_EQ(S_OK, asCommand->Cancel());
    runner.join();
    EXPECT_EQ(DB_E_CANCELED, executed);

    // A failing cancel answers its code with a record and leaves the
    // execution running to its end.
    rule.Blocks(300ms);
    provider.CancelAnswers(DB_E_CANTCANCEL);
    const auto started = std::chrono::steady_clock::now();
    std::thread second(
        [&] { executed = command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr); });
    ASSERT_TRUE(rule.WaitUntilBlocked(5s));
    EXPECT_EQ(DB_E_CANTCANCEL, asCommand->Cancel());
    EXPECT_EQ(1u, TakeRecords().size());
    second.join();
    EXPECT_EQ(S_OK, executed);
    EXPECT_GE(std::chrono::steady_clock::now() - started, 300ms);
    EXPECT_EQ(2, provider.Cancels());
}

TEST_F(ScriptedTest, TransactionsAnswerScriptedSuccessCodesAfterDoingTheWork) {
    ITransactionLocal* local = Transactions();
    ASSERT_NE(nullptr, local);
    provider.StartAnswers(DB_S_ERRORSOCCURRED);
    provider.CommitAnswers(XACT_S_ASYNC);
    EXPECT_EQ(DB_S_ERRORSOCCURRED,
              local->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
    EXPECT_EQ(ISOLEVEL(ISOLATIONLEVEL_READCOMMITTED), provider.LastIsolation());
    EXPECT_EQ(XACT_S_ASYNC, local->Commit(FALSE, XACTTC_SYNC, 0));
    // The commit was done: nothing is left to commit.
    provider.CommitAnswers(S_OK);
    EXPECT_EQ(XACT_E_NOTRANSACTION, local->Commit(FALSE, XACTTC_SYNC, 0));

    provider.StartAnswers(S_OK);
    provider.AbortAnswers(XACT_S_ABORTING);
    ASSERT_EQ(S_OK, local->StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, nullptr));
    EXPECT_EQ(XACT_S_ABORTING, local->Abort(nullptr, FALSE, FALSE));
    provider.AbortAnswers(S_OK);
    EXPECT_EQ(XACT_E_NOTRANSACTION, local->Abort(nullptr, FALSE, FALSE));
    EXPECT_EQ(2, provider.Starts());
    EXPECT_EQ(2, provider.Commits());
    EXPECT_EQ(2, provider.Aborts());
}

TEST_F(ScriptedTest, AFailingCommitLeavesItsRecordAndTheTransactionOpen) {
    ITransactionLocal* local = Transactions();
    ASSERT_EQ(S_OK, local->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
    provider.CommitAnswers(XACT_E_COMMITFAILED, DeadlockVictim());
    EXPECT_EQ(XACT_E_COMMITFAILED, local->Commit(FALSE, XACTTC_SYNC, 0));
    auto records = TakeRecords();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(1205, records[0].nativeError);
    provider.CommitAnswers(S_OK);
    EXPECT_EQ(S_OK, local->Commit(FALSE, XACTTC_SYNC, 0));

    provider.StartAnswers(XACT_E_XTIONEXISTS, {L"busy", L"25000", 3902, FaultKind::general});
    EXPECT_EQ(XACT_E_XTIONEXISTS,
              local->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr));
    EXPECT_EQ(3902, TakeRecords().at(0).nativeError);
}

TEST_F(ScriptedTest, HeldReferencesShowInTheConsumersLastRelease) {
    provider.HoldReferences(ObjectKind::dataSource, 1);
    provider.HoldReferences(ObjectKind::rowset, 2);
    provider.OnStatement(L"SELECT").Returns({{L"a", DBTYPE_I8}}, {{1LL}});
    ComPtr<IDBInitialize> other;
    ASSERT_EQ(S_OK, provider.NewDataSource(IID_IDBInitialize, other.OutVoid()));
    ComPtr<IRowset> rowset;
    ASSERT_EQ(
        S_OK,
        Command(L"SELECT a")->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()));
    EXPECT_EQ(2u, rowset.Detach()->Release());
    EXPECT_EQ(1u, other.Detach()->Release());
    EXPECT_EQ(3u, provider.DropHeldReferences());
    EXPECT_EQ(0u, provider.DropHeldReferences());
}

TEST(ScriptedConnect, PropertiesComeBackAsSetAndAConnectFaultReachesTheCaller) {
    // Registered under another provider's class id, reached through the
    // data initialisation service as the library reaches providers.
    const CLSID someProvider = {
        0x0C7FF16C, 0x38E3, 0x11D0, {0x97, 0xAB, 0x00, 0xC0, 0x4F, 0xC2, 0xAD, 0x98}};
    ScriptedProvider provider(someProvider);
    ComPtr<IDataInitialize> services;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IDataInitialize, services.OutVoid()));
    ComPtr<IDBProperties> dso;
    ASSERT_EQ(S_OK, services->CreateDBInstance(someProvider, nullptr, CLSCTX_INPROC_SERVER, nullptr,
                                               IID_IDBProperties, dso.OutUnknown()));

    DBPROP init[2]{};
    init[0].dwPropertyID = DBPROP_INIT_DATASOURCE;
    init[0].vValue.vt = VT_BSTR;
    init[0].vValue.bstrVal = SysAllocString(L"server\\one");
    init[1].dwPropertyID = DBPROP_INIT_PROMPT;
    init[1].vValue.vt = VT_I2;
    init[1].vValue.iVal = DBPROMPT_NOPROMPT;
    DBPROP own[1]{};
    own[0].dwPropertyID = SSPROP_INIT_NETWORKLIBRARY;
    own[0].vValue.vt = VT_BSTR;
    own[0].vValue.bstrVal = SysAllocString(L"dbmssocn");
    DBPROPSET sets[2] = {{init, 2, DBPROPSET_DBINIT}, {own, 1, DBPROPSET_SQLSERVERDBINIT}};
    EXPECT_EQ(S_OK, dso->SetProperties(2, sets));
    for (DBPROP& p : init)
        VariantClear(&p.vValue);
    VariantClear(&own[0].vValue);

    auto calls = provider.PropertyCalls();
    ASSERT_EQ(1u, calls.size());
    ASSERT_EQ(2u, calls[0].size());
    EXPECT_EQ(L"server\\one", calls[0][0].Find(DBPROP_INIT_DATASOURCE)->text);
    EXPECT_EQ(DBPROMPT_NOPROMPT, calls[0][0].Find(DBPROP_INIT_PROMPT)->number);
    EXPECT_TRUE(calls[0][0].Find(DBPROP_INIT_PROMPT)->nullColumn);
    EXPECT_EQ(DBPROPSTATUS_OK, calls[0][1].properties.at(0).status);
    EXPECT_EQ(L"dbmssocn",
              provider.LastSet(DBPROPSET_SQLSERVERDBINIT, SSPROP_INIT_NETWORKLIBRARY)->text);
    EXPECT_FALSE(provider.LastSet(DBPROPSET_DBINIT, DBPROP_AUTH_USERID).has_value());

    provider.FailConnect(
        Fault{L"Login failed for 'sa'.", L"28000", 18456, FaultKind::cannotConnect});
    ComPtr<IDBInitialize> initialize;
    ASSERT_EQ(S_OK, dso->QueryInterface(IID_IDBInitialize, initialize.OutVoid()));
    EXPECT_EQ(E_FAIL, initialize->Initialize());
    auto records = TakeRecords();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(18456, records[0].nativeError);
    EXPECT_EQ(L"28000", records[0].sqlState);
    provider.FailConnect(std::nullopt);
    EXPECT_EQ(S_OK, initialize->Initialize());
    EXPECT_EQ(2, provider.Connects());
}

} // namespace
