// Several parameter sets in one Execute take effect together or not at all,
// a failure names its set and the status it blames, and rows the call
// returns hold it open only until their cursor ends. (The same rules on
// every backend, and inside a caller's transaction, are conformance
// scenarios.)
#include "ProviderTest.h"

using namespace providertest;

namespace {

class ParameterSetTest : public ProviderTest {
protected:
    static constexpr size_t Sets = 4;

    void SetUp() override {
        ProviderTest::SetUp();
        ASSERT_EQ(Exec(m_session.Get(), L"CREATE TABLE u (id INTEGER PRIMARY KEY, "
                                        L"name TEXT UNIQUE, v INTEGER CHECK (v >= 0))"),
                  S_OK);
        m_command = NewCommand(m_session.Get(), L"INSERT INTO u VALUES (?, ?, ?)");
        m_layout.Add(1, DBTYPE_I4, sizeof(LONG));
        m_layout.Add(2, DBTYPE_WSTR, 8 * sizeof(wchar_t));
        m_layout.Add(3, DBTYPE_I4, sizeof(LONG));
        m_accessor = m_layout.Create(m_command.Get(), DBACCESSOR_PARAMETERDATA);
    }

    // Rows firstId, firstId + 1, ... named "n<id>" with v = id; change
    // spoils the third set.
    enum class Fault { none, unique, check, badStatus };
    HRESULT Insert(LONG firstId, Fault fault, DBROWCOUNT& affected, Ptr<IRowset>* rows = nullptr) {
        m_data.assign(m_layout.Size() * Sets, 0);
        for (size_t s = 0; s < Sets; ++s) {
            BYTE* row = m_data.data() + s * m_layout.Size();
            const LONG id = firstId + static_cast<LONG>(s);
            std::wstring name = L"n" + std::to_wstring(id);
            LONG v = id;
            if (s == 2 && fault == Fault::unique)
                name = L"n" + std::to_wstring(firstId);
            if (s == 2 && fault == Fault::check)
                v = -1;
            for (size_t i = 0; i < 3; ++i)
                m_layout.Status(row, i) = DBSTATUS_S_OK;
            if (s == 2 && fault == Fault::badStatus)
                m_layout.Status(row, 2) = DBSTATUS_S_TRUNCATED;
            m_layout.Value<LONG>(row, 0) = id;
            std::wcscpy(&m_layout.Value<wchar_t>(row, 1), name.c_str());
            m_layout.Length(row, 1) = name.size() * sizeof(wchar_t);
            m_layout.Value<LONG>(row, 2) = v;
        }
        DBPARAMS params{m_data.data(), Sets, m_accessor};
        affected = 12345;
        return m_command->Execute(nullptr, rows ? IID_IRowset : IID_NULL, &params, &affected,
                                  rows ? rows->OutUnknown() : nullptr);
    }
    DBSTATUS StatusOf(size_t set, size_t binding) {
        return m_layout.Status(m_data.data() + set * m_layout.Size(), binding);
    }

    Ptr<ICommandText> m_command;
    Layout m_layout;
    HACCESSOR m_accessor = DB_NULL_HACCESSOR;
    std::vector<BYTE> m_data;
};

TEST_F(ParameterSetTest, AFailingSetLeavesNoRowOfTheCall) {
    struct Case {
        Fault fault;
        HRESULT expected;
    } cases[] = {
        {Fault::unique, DB_E_INTEGRITYVIOLATION},
        {Fault::check, DB_E_INTEGRITYVIOLATION},
        {Fault::badStatus, DB_E_ERRORSOCCURRED},
    };
    LONG firstId = 1;
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.fault));
        DBROWCOUNT affected = 0;
        ASSERT_EQ(Insert(firstId, c.fault, affected), c.expected);
        EXPECT_EQ(affected, DB_COUNTUNAVAILABLE);
        auto records = TakeErrorRecords();
        ASSERT_FALSE(records.empty());
        EXPECT_NE(records[0].description.find(L"parameter set 3 of 4"), std::wstring::npos)
            << std::string(records[0].description.begin(), records[0].description.end());
        EXPECT_EQ(Scalar("SELECT count(*) FROM u"), "0");
        if (c.fault == Fault::badStatus) {
            EXPECT_EQ(StatusOf(2, 2), DBSTATUS_E_BADSTATUS);
        }
        firstId += 10;
    }
    // The same command runs a good call afterwards, counting every set's row.
    DBROWCOUNT affected = 0;
    ASSERT_EQ(Insert(firstId, Fault::none, affected), S_OK);
    EXPECT_EQ(affected, 4);
    EXPECT_EQ(Scalar("SELECT group_concat(name) FROM u"), "n31,n32,n33,n34");
}

TEST_F(ParameterSetTest, ReturnedRowsHoldTheCallOpenOnlyUntilTheirCursorEndsAndNeverRepeatIt) {
    ASSERT_EQ(
        m_command->SetCommandText(DBGUID_DEFAULT, L"INSERT INTO u VALUES (?, ?, ?) RETURNING name"),
        S_OK);
    DBROWCOUNT affected = 0;
    Ptr<IRowset> rowset;
    EXPECT_EQ(Insert(1, Fault::check, affected, &rowset), DB_E_INTEGRITYVIOLATION);
    EXPECT_FALSE(rowset);
    for (bool readToEnd : {true, false}) {
        SCOPED_TRACE(readToEnd);
        const LONG first = readToEnd ? 1 : 11;
        ASSERT_EQ(Insert(first, Fault::none, affected, &rowset), S_OK);
        if (readToEnd) {
            auto rows = ReadAll(rowset.Get());
            ASSERT_EQ(rows.size(), 1u); // the last set's
            EXPECT_EQ(rows[0][0], L"n" + std::to_wstring(first + 3));
            // Going back would run the change again: refused.
            EXPECT_EQ(rowset->RestartPosition(DB_NULL_HCHAPTER), DB_E_CANNOTRESTART);
            EXPECT_FALSE(TakeErrorRecords().empty());
        }
        rowset.Reset();
        // Nothing of the call is left open: another client writes at once.
        const std::string insert =
            "INSERT INTO u VALUES (" + std::to_string(first + 100) + ", NULL, 0)";
        EXPECT_EQ(sqlite3_exec(Db(), insert.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    }
    EXPECT_EQ(Scalar("SELECT count(*) FROM u"), "10");
}

} // namespace
