// A statement the server answers with a message besides success (ODBC's
// SQL_SUCCESS_WITH_INFO) succeeds, and the consumer finds the message among
// the error records of the successful call. Shown on PostgreSQL, whose
// notices psqlODBC passes on; MariaDB Connector/ODBC 3.1.15 answers plain
// success for the server's warnings, so there is nothing to pass on there.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

using ServerWarning = Conformance;

TEST_P(ServerWarning, AServersMessageWithSuccessReachesTheConsumer) {
    const std::wstring sql =
        GetParam() == "postgres"
            ? L"DO $$ BEGIN RAISE NOTICE 'note from the server'; END $$"
            : L"SIGNAL SQLSTATE '01000' SET MESSAGE_TEXT = 'note from the server'";
    TakeErrorRecords();
    const HRESULT hr = Exec(m_session.Get(), sql);
    EXPECT_TRUE(SUCCEEDED(hr)) << std::hex << hr;
    const std::vector<Record> records = TakeErrorRecords();
    bool found = false;
    for (const Record& r : records)
        found = found || r.description.find(L"note from the server") != std::wstring::npos;
    EXPECT_TRUE(found) << Describe(records);
}

INSTANTIATE_TEST_SUITE_P(Servers, ServerWarning, ::testing::Values("postgres"),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace conformance
