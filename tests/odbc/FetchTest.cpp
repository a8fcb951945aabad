// Block fetches of bound columns, long values read in pieces on any row of a
// block, and text outside the Basic Multilingual Plane, on both servers.
#include <optional>

#include "OdbcParameterArrays.h"
#include "OdbcTestSupport.h"

using namespace odbctest;

namespace {

using FetchTest = OdbcServerTest;

constexpr std::size_t kPiece = 4096;

std::u16string Utf16(const std::wstring& text) {
    return hdbtext::Utf16FromWide(text);
}

// A long value read to its end by readPiece(value, diag), which appends a
// piece and answers what the read answered; nothing for NULL.
template <class Value, class ReadPiece> std::optional<Value> ReadToEnd(ReadPiece readPiece) {
    Value value;
    OdbcDiagnostics diag;
    for (;;) {
        switch (readPiece(value, diag)) {
        case OdbcRead::null:
            return std::nullopt;
        case OdbcRead::end:
            return value;
        case OdbcRead::error:
            ADD_FAILURE() << Describe(diag);
            return value;
        case OdbcRead::data:
            break;
        }
    }
}

std::optional<std::wstring> ReadText(OdbcStatement& statement, std::size_t row,
                                     std::uint16_t column) {
    std::wstring piece;
    return ReadToEnd<std::wstring>([&](std::wstring& value, OdbcDiagnostics& diag) {
        const OdbcRead read = statement.ReadLongText(row, column, kPiece, piece, diag);
        if (read == OdbcRead::data) {
            EXPECT_LE(piece.size(), kPiece);
            value += piece;
        }
        return read;
    });
}

std::optional<std::vector<std::byte>> ReadBinary(OdbcStatement& statement, std::size_t row,
                                                 std::uint16_t column) {
    std::vector<std::byte> piece(kPiece);
    return ReadToEnd<std::vector<std::byte>>(
        [&](std::vector<std::byte>& value, OdbcDiagnostics& diag) {
            std::size_t read = 0;
            const OdbcRead answer = statement.ReadLongBinary(row, column, piece, read, diag);
            if (answer == OdbcRead::data)
                value.insert(value.end(), piece.begin(),
                             piece.begin() + static_cast<std::ptrdiff_t>(read));
            return answer;
        });
}

} // namespace

TEST_P(FetchTest, BlocksOf64CarryEveryValueOfAThousandRows) {
    const Server& server = GetParam();
    const std::wstring table = Table(L"id INT, r " + std::wstring(server.doubleType) +
                                     L", s VARCHAR(20), ts " + server.timestamp);
    Run(L"INSERT INTO " + table + L" (id, r, s, ts) SELECT seq, seq / 4.0, CONCAT('row ', seq), " +
        server.timestampOfN + L" FROM " + server.series);
    const std::wstring query = L"SELECT id, r, s, ts FROM " + table + L" ORDER BY id";

    auto statement = NewStatement();
    OdbcDiagnostics diag;
    OdbcExecution execution;
    ASSERT_TRUE(statement->ExecuteDirect(query, execution, diag)) << Describe(diag);
    EXPECT_TRUE(execution.hasResult);
    std::vector<OdbcColumn> columns;
    ASSERT_TRUE(statement->DescribeColumns(columns, diag)) << Describe(diag);
    ASSERT_EQ(columns.size(), 4u);
    EXPECT_EQ(columns[2].name, L"s");
    EXPECT_EQ(columns[2].size, 20u);

    OdbcRowBlock block(64);
    const std::size_t id = block.Bind(1, OdbcValueType::int64);
    const std::size_t r = block.Bind(2, OdbcValueType::real64);
    const std::size_t s = block.Bind(3, OdbcValueType::wideText, 21 * sizeof(char16_t));
    const std::size_t ts = block.Bind(4, OdbcValueType::timestamp);
    ASSERT_TRUE(statement->BindColumns(block, diag)) << Describe(diag);
    EXPECT_EQ(statement->RowsPerFetch(), 64u);
    std::int64_t n = 1;
    std::size_t fetches = 0;
    while (statement->Fetch(diag) == OdbcFetch::rows) {
        ++fetches;
        for (std::size_t row = 0; row < block.Rows(); ++row, ++n) {
            ASSERT_EQ(block.Status(row), OdbcRowStatus::ok);
            ASSERT_EQ(block.Value(id, row).Int64(), n);
            EXPECT_EQ(block.Value(r, row).Real64(), static_cast<double>(n) / 4);
            EXPECT_EQ(hdbtext::WideFromUtf16(block.Value(s, row).WideText()),
                      L"row " + std::to_wstring(n));
            const OdbcTimestamp t = block.Value(ts, row).Timestamp();
            const std::int64_t second = 3 * 3600 + 4 * 60 + 5 + n;
            EXPECT_EQ(std::vector<std::int64_t>(
                          {t.year, t.month, t.day, t.hour, t.minute, t.second, t.fraction}),
                      std::vector<std::int64_t>(
                          {2024, 1, 2, second / 3600, second / 60 % 60, second % 60, n * 1000}));
        }
    }
    EXPECT_TRUE(diag.empty()) << Describe(diag);
    EXPECT_EQ(n, 1001);
    EXPECT_EQ(fetches, 16u);

    // A row limit ends the result early.
    auto limited = NewStatement();
    ASSERT_TRUE(limited->SetMaxRows(10, diag)) << Describe(diag);
    ASSERT_TRUE(limited->ExecuteDirect(query, execution, diag)) << Describe(diag);
    OdbcRowBlock ids(64);
    ids.Bind(1, OdbcValueType::int64);
    ASSERT_TRUE(limited->BindColumns(ids, diag)) << Describe(diag);
    std::size_t rows = 0;
    while (limited->Fetch(diag) == OdbcFetch::rows)
        rows += ids.Rows();
    EXPECT_EQ(rows, 10u) << Describe(diag);
}

TEST_P(FetchTest, LongValuesAreReadInPiecesOnAnyRowOfTheBlock) {
    const Server& server = GetParam();
    const std::wstring table =
        Table(L"id INT, body " + std::wstring(server.longText) + L", data " + server.longBinary);
    // Row 3's values take many pieces, and a piece ends inside its emoji.
    const std::wstring longText =
        std::wstring(kPiece - 1, L'a') + L"\U0001F600" + std::wstring(100000, L'\u00fc') + L"end";
    std::vector<std::byte> longBinary(200000);
    for (std::size_t i = 0; i < longBinary.size(); ++i)
        longBinary[i] = static_cast<std::byte>(i * 7 % 251);
    struct Row {
        std::optional<std::wstring> body;
        std::optional<std::vector<std::byte>> data;
    };
    const std::vector<Row> rows = {
        {L"short", std::vector<std::byte>{std::byte{1}, std::byte{2}}},
        {L"two", std::nullopt},
        {longText, longBinary},
        {L"", std::vector<std::byte>{}},
        {std::nullopt, std::vector<std::byte>{std::byte{9}}},
    };

    OdbcParameterArrays arrays;
    arrays.Reset(rows.size());
    arrays.AddParameter({OdbcValueType::int64, OdbcSqlType::integer});
    arrays.AddParameter({OdbcValueType::wideText, OdbcSqlType::wlongVarchar});
    arrays.AddParameter({OdbcValueType::binary, OdbcSqlType::longVarbinary});
    for (std::size_t set = 0; set < rows.size(); ++set) {
        arrays.SetInt64(0, set, static_cast<std::int64_t>(set + 1));
        if (rows[set].body)
            arrays.SetWideText(1, set, Utf16(*rows[set].body));
        if (rows[set].data)
            arrays.SetBinary(2, set, *rows[set].data);
    }
    ASSERT_TRUE(RunSets(L"INSERT INTO " + table + L" VALUES (?, ?, ?)", arrays));
    EXPECT_EQ(Scalar(L"SELECT CHAR_LENGTH(body) FROM " + table + L" WHERE id = 3"),
              std::to_wstring(kPiece + 100003));
    EXPECT_EQ(Scalar(L"SELECT LENGTH(data) FROM " + table + L" WHERE id = 3"), L"200000");

    auto statement = NewStatement();
    OdbcDiagnostics diag;
    OdbcExecution execution;
    ASSERT_TRUE(statement->ExecuteDirect(L"SELECT id, body, data FROM " + table + L" ORDER BY id",
                                         execution, diag))
        << Describe(diag);
    OdbcRowBlock block(4);
    block.Bind(1, OdbcValueType::int64);
    ASSERT_TRUE(statement->BindColumns(block, diag)) << Describe(diag);
    EXPECT_EQ(statement->RowsPerFetch(),
              m_connection.Capabilities().positionedBlockReads ? 4u : 1u);
    std::size_t seen = 0;
    while (statement->Fetch(diag) == OdbcFetch::rows) {
        for (std::size_t row = 0; row < block.Rows(); ++row, ++seen) {
            const auto id = block.Value(0, row).Int64();
            ASSERT_EQ(id, static_cast<std::int64_t>(seen + 1));
            if (id == 2)
                continue; // unread, so the next read moves past a row
            SCOPED_TRACE(id);
            EXPECT_EQ(ReadText(*statement, row, 2), rows[seen].body);
            EXPECT_EQ(ReadBinary(*statement, row, 3), rows[seen].data);
        }
    }
    EXPECT_EQ(seen, rows.size()) << Describe(diag);
}

TEST_P(FetchTest, TextOutsideTheBasicPlaneRoundTrips) {
    const std::wstring table = Table(L"id INT, s VARCHAR(40)");
    const std::wstring texts[] = {L"plain", L"Grüße aus Köln", L"smile \U0001F600 \U00010348",
                                  L"\U0001F600"};
    OdbcParameterArrays arrays;
    arrays.Reset(std::size(texts));
    arrays.AddParameter({OdbcValueType::int64, OdbcSqlType::integer});
    arrays.AddParameter({OdbcValueType::wideText, OdbcSqlType::wvarchar, 40});
    for (std::size_t set = 0; set < std::size(texts); ++set) {
        arrays.SetInt64(0, set, static_cast<std::int64_t>(set));
        arrays.SetWideText(1, set, Utf16(texts[set]));
    }
    ASSERT_TRUE(RunSets(L"INSERT INTO " + table + L" VALUES (?, ?)", arrays));
    // The server holds one character, not a pair of halves.
    EXPECT_EQ(Scalar(L"SELECT CHAR_LENGTH(s) FROM " + table + L" WHERE id = 3"), L"1");
    EXPECT_EQ(Column(L"SELECT s FROM " + table + L" ORDER BY id"),
              std::vector<std::wstring>(std::begin(texts), std::end(texts)));
}

INSTANTIATE_TEST_SUITE_P(Servers, FetchTest, testing::ValuesIn(kServers), ServerName);
