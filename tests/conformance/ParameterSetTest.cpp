// Parameter sets of one call take effect together or not at all, on every
// backend, alone and inside a caller's transaction.
#include <cstring>

#include "conformance/Conformance.h"

namespace conformance {
namespace {

class ParameterSets : public Conformance {
protected:
    void SetUp() override {
        Conformance::SetUp();
        Run(L"CREATE TABLE " + m_table + L" (id INTEGER PRIMARY KEY, name VARCHAR(20))");
        m_command = NewCommand(m_session.Get(), L"INSERT INTO " + m_table + L" VALUES (?, ?)");
        m_layout.Add(1, DBTYPE_I4, sizeof(LONG));
        m_layout.Add(2, DBTYPE_WSTR, 21 * sizeof(wchar_t));
        m_accessor = m_layout.Create(m_command.Get(), DBACCESSOR_PARAMETERDATA);
    }
    void TearDown() override {
        if (m_command)
            m_command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(m_accessor, nullptr);
        m_command.Reset();
        Conformance::TearDown();
    }
    // Inserts ids first.. first+3 in one call.
    HRESULT InsertFour(LONG first, DBROWCOUNT& affected) {
        const size_t sets = 4;
        std::vector<BYTE> data(m_layout.Size() * sets, 0);
        for (size_t set = 0; set < sets; ++set) {
            BYTE* row = data.data() + set * m_layout.Size();
            const LONG id = first + static_cast<LONG>(set);
            m_layout.Status(row, 0) = m_layout.Status(row, 1) = DBSTATUS_S_OK;
            m_layout.Value<LONG>(row, 0) = id;
            const std::wstring name = L"n" + std::to_wstring(id);
            std::wcscpy(&m_layout.Value<wchar_t>(row, 1), name.c_str());
            m_layout.Length(row, 1) = name.size() * sizeof(wchar_t);
        }
        DBPARAMS params{data.data(), sets, m_accessor};
        affected = 0;
        return m_command->Execute(nullptr, IID_NULL, &params, &affected, nullptr);
    }
    std::vector<Row> Ids() {
        return m_context->CheckerQuery(L"SELECT id FROM " + m_table + L" ORDER BY id");
    }

    Ptr<ICommandText> m_command;
    Layout m_layout;
    HACCESSOR m_accessor = 0;
};

TEST_P(ParameterSets, AFailingSetLeavesNoRowOfTheCall) {
    m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES (13, 'there')");
    DBROWCOUNT affected = 0;
    EXPECT_EQ(InsertFour(11, affected), DB_E_INTEGRITYVIOLATION);
    const std::vector<Record> records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].sqlState.substr(0, 2), L"23") << Describe(records);
    EXPECT_EQ(Ids(), (std::vector<Row>{{L"13"}}));
    // The same command runs a good call afterwards, counting every set's row.
    EXPECT_EQ(InsertFour(1, affected), S_OK) << Describe(TakeErrorRecords());
    EXPECT_EQ(affected, 4);
    EXPECT_EQ(Ids().size(), 5u);
}

TEST_P(ParameterSets, AFailingSetInsideATransactionKeepsTheCallersEarlierWork) {
    Ptr<ITransactionLocal> tx = m_session.As<ITransactionLocal>(IID_ITransactionLocal);
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_READCOMMITTED, 0, nullptr, nullptr), S_OK);
    Run(L"INSERT INTO " + m_table + L" VALUES (3, 'before')");
    DBROWCOUNT affected = 0;
    EXPECT_EQ(InsertFour(1, affected), DB_E_INTEGRITYVIOLATION);
    TakeErrorRecords();
    // A good call inside the same transaction keeps its rows with the earlier one.
    EXPECT_EQ(InsertFour(11, affected), S_OK) << Describe(TakeErrorRecords());
    ASSERT_EQ(tx->Commit(FALSE, XACTTC_SYNC, 0), S_OK) << Describe(TakeErrorRecords());
    EXPECT_EQ(Ids(), (std::vector<Row>{{L"3"}, {L"11"}, {L"12"}, {L"13"}, {L"14"}}));
}

INSTANTIATE_TEST_SUITE_P(Backends, ParameterSets, ::testing::ValuesIn(BackendNames()),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace conformance
