// A server session killed under the provider: the next statement fails as a
// lost connection with the driver's record, and the data source's status
// says the connection failed, so that a consumer knows to connect again.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

using LostConnection = Conformance;

TEST_P(LostConnection, AStatementOnAKilledSessionFailsAndTheDataSourceSaysSo) {
    const bool maria = GetParam() == "mariadb";
    const std::vector<Row> id =
        Query(m_session.Get(), maria ? L"SELECT CONNECTION_ID()" : L"SELECT pg_backend_pid()");
    ASSERT_EQ(id.size(), 1u);
    m_context->CheckerExec(maria ? L"KILL " + *id[0][0]
                                 : L"SELECT pg_terminate_backend(" + *id[0][0] + L")");
    EXPECT_EQ(Exec(m_session.Get(), L"SELECT 1"), E_FAIL);
    const std::vector<Record> records = TakeErrorRecords();
    ASSERT_FALSE(records.empty());
    // The driver's own record: MariaDB states the lost connection (08S01),
    // psqlODBC a general failure with the server's FATAL message.
    EXPECT_EQ(records[0].sqlState, maria ? L"08S01" : L"HY000") << Describe(records);

    EXPECT_EQ(DataSourceProperty(DBPROPSET_DATASOURCEINFO, DBPROP_CONNECTIONSTATUS).lVal,
              DBPROPVAL_CS_COMMUNICATIONFAILURE);
}

INSTANTIATE_TEST_SUITE_P(Servers, LostConnection, ::testing::Values("mariadb", "postgres"),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace conformance
