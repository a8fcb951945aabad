// Parameter arrays of one, many and no sets with the outcome of each set,
// and long values sent in pieces at execution, on both servers.
#include <cstring>
#include <map>
#include <optional>

#include "OdbcParameterArrays.h"
#include "OdbcTestSupport.h"

using namespace odbctest;

namespace {

using ParameterTest = OdbcServerTest;

} // namespace

TEST_P(ParameterTest, ArraysOfOneManyAndNoSetsReportEverySet) {
    const std::wstring table = Table(L"id INT PRIMARY KEY, name VARCHAR(40)");
    struct Case {
        const char* what;
        std::size_t sets;
        std::optional<std::size_t> duplicateAt; // this set repeats set 2's key
    };
    const Case cases[] = {
        {"one set", 1, std::nullopt},
        {"many sets", 100, std::nullopt},
        {"no set", 0, std::nullopt},
        {"a set breaking the key", 10, 6},
    };
    auto statement = NewStatement();
    OdbcDiagnostics diag;
    ASSERT_TRUE(statement->Prepare(L"INSERT INTO " + table + L" VALUES (?, ?)", diag))
        << Describe(diag);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Run(L"DELETE FROM " + table);
        OdbcParameterArrays arrays;
        arrays.Reset(c.sets);
        arrays.AddParameter({OdbcValueType::int64, OdbcSqlType::integer});
        arrays.AddParameter({OdbcValueType::wideText, OdbcSqlType::wvarchar, 40});
        for (std::size_t set = 0; set < c.sets; ++set) {
            arrays.SetInt64(0, set, set == c.duplicateAt ? 3 : static_cast<std::int64_t>(set + 1));
            arrays.SetWideText(1, set, u"name " + hdbtext::Utf16FromWide(std::to_wstring(set)));
        }
        statement->BindParameters(&arrays);
        diag.clear();
        OdbcExecution execution;
        const bool executed = statement->Execute(execution, diag);
        const std::wstring stored = L"SELECT COUNT(*) FROM " + table;
        if (!c.duplicateAt) {
            EXPECT_TRUE(executed) << Describe(diag);
            EXPECT_EQ(execution.rowCount, static_cast<std::int64_t>(c.sets));
            EXPECT_EQ(arrays.SetsProcessed(), c.sets);
            for (std::size_t set = 0; set < c.sets; ++set)
                EXPECT_EQ(arrays.Status(set), OdbcSetStatus::success) << set;
            EXPECT_FALSE(arrays.FirstFailedSet());
            EXPECT_EQ(Scalar(stored), std::to_wstring(c.sets));
            continue;
        }
        EXPECT_TRUE(Has(diag, OdbcFailure::constraint)) << Describe(diag);
        if (GetParam().namesFailingSet) {
            EXPECT_EQ(arrays.FirstFailedSet(), c.duplicateAt) << Describe(diag);
            for (std::size_t set = 0; set < *c.duplicateAt; ++set)
                EXPECT_EQ(arrays.Status(set), OdbcSetStatus::success) << set;
            EXPECT_EQ(Scalar(stored + L" WHERE id <= 6"), L"6");
        } else {
            EXPECT_FALSE(executed);
            EXPECT_FALSE(arrays.FirstFailedSet());
            for (std::size_t set = 0; set < c.sets; ++set)
                EXPECT_EQ(arrays.Status(set), OdbcSetStatus::unavailable) << set;
            EXPECT_EQ(Scalar(stored), L"0");
        }
    }
}

TEST_P(ParameterTest, ValuesSentAtExecutionArriveWhole) {
    const Server& server = GetParam();
    const std::wstring table =
        Table(L"id INT, body " + std::wstring(server.longText) + L", data " + server.longBinary);
    // Set 0 sends a MiB of bytes and a long text in pieces; set 1 has its
    // text in the array and sends an empty binary value.
    std::vector<std::byte> binary(1024 * 1024);
    for (std::size_t i = 0; i < binary.size(); ++i)
        binary[i] = static_cast<std::byte>(i * 13 % 256);
    const std::wstring text = L"\U0001F600" + std::wstring(300000, L'x') + L"\u00e9nd";
    const std::u16string textUnits = hdbtext::Utf16FromWide(text);

    OdbcParameterArrays arrays;
    arrays.Reset(2);
    arrays.AddParameter({OdbcValueType::int64, OdbcSqlType::integer});
    arrays.AddParameter({OdbcValueType::wideText, OdbcSqlType::wlongVarchar});
    arrays.AddParameter({OdbcValueType::binary, OdbcSqlType::longVarbinary});
    arrays.SetInt64(0, 0, 1);
    arrays.SetInt64(0, 1, 2);
    arrays.SetAtExecution(1, 0, static_cast<std::int64_t>(textUnits.size() * sizeof(char16_t)));
    arrays.SetWideText(1, 1, u"in the array");
    arrays.SetAtExecution(2, 0); // length unknown
    arrays.SetAtExecution(2, 1, 0);
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> sent;
    arrays.SetChunkSource([&](std::size_t parameter, std::size_t set, std::span<std::byte> buffer,
                              std::size_t& filled, OdbcDiagnostics&) {
        std::span<const std::byte> value;
        if (parameter == 1 && set == 0)
            value = std::as_bytes(std::span(textUnits));
        else if (parameter == 2 && set == 0)
            value = binary;
        std::size_t& offset = sent[{parameter, set}];
        filled = std::min(buffer.size(), value.size() - offset);
        std::memcpy(buffer.data(), value.data() + offset, filled);
        offset += filled;
        return true;
    });
    ASSERT_TRUE(RunSets(L"INSERT INTO " + table + L" VALUES (?, ?, ?)", arrays));
    EXPECT_EQ(sent.size(), 2u); // set 1's empty value needs no pieces

    EXPECT_EQ(Column(L"SELECT LENGTH(data) FROM " + table + L" ORDER BY id"),
              (std::vector<std::wstring>{L"1048576", L"0"}));
    EXPECT_EQ(Column(L"SELECT CHAR_LENGTH(body) FROM " + table + L" ORDER BY id"),
              (std::vector<std::wstring>{std::to_wstring(text.size()), L"12"}));
    auto check = NewStatement();
    OdbcDiagnostics diag;
    OdbcExecution execution;
    ASSERT_TRUE(check->ExecuteDirect(L"SELECT body, data FROM " + table + L" WHERE id = 1",
                                     execution, diag))
        << Describe(diag);
    OdbcRowBlock block(1);
    ASSERT_TRUE(check->BindColumns(block, diag));
    ASSERT_EQ(check->Fetch(diag), OdbcFetch::rows) << Describe(diag);
    std::wstring body;
    std::wstring piece;
    while (check->ReadLongText(0, 1, 65536, piece, diag) == OdbcRead::data)
        body += piece;
    EXPECT_TRUE(body == text) << body.size();
    std::vector<std::byte> data(binary.size() + 1);
    std::size_t read = 0;
    EXPECT_EQ(check->ReadLongBinary(0, 2, data, read, diag), OdbcRead::data) << Describe(diag);
    data.resize(read);
    EXPECT_TRUE(data == binary) << read;
}

INSTANTIATE_TEST_SUITE_P(Servers, ParameterTest, testing::ValuesIn(kServers), ServerName);
