// Output parameters: the values a routine hands back reach the consumer's
// parameter buffer on the servers; a database without them refuses them
// with a message that says so, before anything runs.
#include "conformance/Conformance.h"

namespace conformance {
namespace {

class OutputParameters : public Conformance {
protected:
    void TearDown() override {
        if (m_context && !m_routine.drop.empty())
            m_context->CheckerExec(m_routine.drop);
        Conformance::TearDown();
    }

    Context::Routine m_routine;
};

TEST_P(OutputParameters, ComeBackIntoTheParameterBuffer) {
    m_routine = m_context->OutputRoutine(m_table);
    const bool hasRoutines = !m_routine.create.empty();
    if (hasRoutines) {
        m_context->CheckerExec(m_routine.drop);
        m_context->CheckerExec(m_routine.create);
    }
    Layout layout;
    layout.Add(1, DBTYPE_I4, sizeof(LONG)).eParamIO = DBPARAMIO_OUTPUT;
    layout.Add(2, DBTYPE_I4, sizeof(LONG)).eParamIO = DBPARAMIO_INPUT;
    Ptr<ICommandText> command =
        NewCommand(m_session.Get(), hasRoutines ? m_routine.call : L"SELECT ?, ?");
    const HACCESSOR accessor = layout.Create(command.Get(), DBACCESSOR_PARAMETERDATA);
    std::vector<BYTE> data(layout.Size(), 0);
    BYTE* row = data.data();
    layout.Status(row, 0) = layout.Status(row, 1) = DBSTATUS_S_OK;
    layout.Value<LONG>(row, 0) = -1;
    layout.Value<LONG>(row, 1) = 21;
    DBPARAMS params{row, 1, accessor};
    const HRESULT hr = command->Execute(nullptr, IID_NULL, &params, nullptr, nullptr);
    const std::vector<Record> records = TakeErrorRecords();
    if (hasRoutines) {
        ASSERT_EQ(hr, S_OK) << Describe(records);
        EXPECT_EQ(layout.Status(row, 0), DBSTATUS_S_OK);
        EXPECT_EQ(layout.Value<LONG>(row, 0), 42);
        EXPECT_EQ(layout.Length(row, 0), sizeof(LONG));
    } else {
        EXPECT_TRUE(FAILED(hr));
        ASSERT_FALSE(records.empty());
        EXPECT_NE(records[0].description.find(L"output parameters"), std::wstring::npos)
            << Describe(records);
        EXPECT_EQ(layout.Value<LONG>(row, 0), -1); // nothing was written
    }
    command.As<IAccessor>(IID_IAccessor)->ReleaseAccessor(accessor, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Backends, OutputParameters, ::testing::ValuesIn(BackendNames()),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace conformance
