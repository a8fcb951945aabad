// Local transactions the database ends by itself, on every backend: the
// session follows the database, tells the caller, and starts transactions
// again afterwards.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

TEST_P(Conformance, ATransactionEndedByTheCallersOwnStatementIsFollowed) {
    Run(L"CREATE TABLE " + m_table + L" (id INTEGER PRIMARY KEY)");
    Ptr<ITransactionLocal> tx = m_session.As<ITransactionLocal>(IID_ITransactionLocal);
    auto ids = [&] {
        return m_context->CheckerQuery(L"SELECT id FROM " + m_table + L" ORDER BY id");
    };
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, nullptr), S_OK);
    Run(L"INSERT INTO " + m_table + L" VALUES (1)");
    Run(L"COMMIT");
    EXPECT_EQ(ids(), (std::vector<Row>{{L"1"}}));
    EXPECT_EQ(tx->Abort(nullptr, FALSE, FALSE), XACT_E_NOTRANSACTION);
    EXPECT_EQ(TakeErrorRecords().size(), 1u);
    // Later statements commit by themselves, and a new transaction works.
    Run(L"INSERT INTO " + m_table + L" VALUES (2)");
    EXPECT_EQ(ids(), (std::vector<Row>{{L"1"}, {L"2"}}));
    ASSERT_EQ(tx->StartTransaction(ISOLATIONLEVEL_SERIALIZABLE, 0, nullptr, nullptr), S_OK);
    Run(L"INSERT INTO " + m_table + L" VALUES (3)");
    ASSERT_EQ(tx->Commit(FALSE, XACTTC_SYNC, 0), S_OK);
    EXPECT_EQ(ids(), (std::vector<Row>{{L"1"}, {L"2"}, {L"3"}}));
}

} // namespace
} // namespace conformance
