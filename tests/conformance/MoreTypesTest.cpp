// The column types beyond the common ones: a time of day, a single-precision
// real, fixed-length text and a unique identifier, written by the independent
// client and read through the provider, and written through the provider as
// parameters and read back by the client.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

TEST_P(Conformance, TimeRealCharAndGuidColumnsKeepTheirValues) {
    const std::wstring guid = m_context->GuidType();
    m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (id INTEGER, t TIME, r REAL, c CHAR(5)" +
                           (guid.empty() ? L"" : L", g " + guid) + L")");
    m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES (1, '10:11:12', 1.5, 'ab'" +
                           (guid.empty() ? L"" : L", '6f9619ff-8b86-d011-b42d-00c04fc964ff'") +
                           L")");
    Row expected{L"1", L"10:11:12", L"1.5", m_context->CharText(L"ab", 5)};
    if (!guid.empty())
        expected.push_back(m_context->GuidText(L"6f9619ff-8b86-d011-b42d-00c04fc964ff"));
    EXPECT_EQ(Query(m_session.Get(), L"SELECT * FROM " + m_table), (std::vector<Row>{expected}));

    // The same values as parameters, of the types the provider offers for them.
    Ptr<ICommandText> command = NewCommand(
        m_session.Get(), L"INSERT INTO " + m_table + L" (id, t, r, c) VALUES (2, ?, ?, ?)");
    Layout layout;
    layout.Add(1, DBTYPE_DBTIME, sizeof(DBTIME));
    layout.Add(2, DBTYPE_R4, sizeof(float));
    layout.Add(3, DBTYPE_WSTR, 6 * sizeof(wchar_t));
    const HACCESSOR accessor = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    std::vector<BYTE> data(layout.Size(), 0);
    for (size_t i = 0; i < 3; ++i)
        layout.Status(data.data(), i) = DBSTATUS_S_OK;
    layout.Value<DBTIME>(data.data(), 0) = DBTIME{23, 59, 58};
    layout.Value<float>(data.data(), 1) = -2.25f;
    std::wcscpy(&layout.Value<wchar_t>(data.data(), 2), L"xyz");
    layout.Length(data.data(), 2) = 3 * sizeof(wchar_t);
    DBPARAMS params{data.data(), 1, accessor};
    EXPECT_EQ(command->Execute(nullptr, IID_NULL, &params, nullptr, nullptr), S_OK)
        << Describe(TakeErrorRecords());
    command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
    EXPECT_EQ(m_context->CheckerQuery(L"SELECT t, r, c FROM " + m_table + L" WHERE id = 2"),
              (std::vector<Row>{{L"23:59:58", L"-2.25", m_context->CharText(L"xyz", 5)}}));
}

} // namespace
} // namespace conformance
