// Empty text and binary columns read through a select of the library, with
// long columns bound in the row and as streams: empty values, not NULL, and
// no row of the result lost over them.
#include "CommandSupport.h"

using commandtest::SqliteSource;

namespace {

// The bytes left in a stream a column hands out; the stream is released.
std::string Drain(ISequentialStream* stream) {
    std::string all;
    char chunk[64];
    ULONG read = 0;
    while (SUCCEEDED(stream->Read(chunk, sizeof chunk, &read)) && read != 0)
        all.append(chunk, read);
    stream->Release();
    return all;
}

TEST(EmptyValues, ReadAsEmptyWithAndWithoutStreams) {
    SqliteSource db;
    ASSERT_TRUE(db.connected);
    db.Exec(L"CREATE TABLE t (id INTEGER, s TEXT, b BLOB)");
    db.Exec(L"INSERT INTO t VALUES (1, '', X''), (2, 'a', X'61'), (3, NULL, NULL)");
    for (bool streams : {false, true}) {
        SCOPED_TRACE(streams);
        auto command = db.Command();
        const wchar_t* sql = L"SELECT id, s, b FROM t ORDER BY id";
        ASSERT_TRUE(streams ? command->SelectExecute(sql) : command->SelectExecuteNoStreams(sql));
        CRowSet& r = *command->GetRowSet();
        const size_t s = r.GetColumnsOrdinal(HdbLiteralView(L"s"));
        const size_t b = r.GetColumnsOrdinal(HdbLiteralView(L"b"));
        ASSERT_EQ(r.IsStreamInterface(s), streams);
        // What each row holds in s and b; nullopt for NULL.
        const std::optional<std::string> expected[3][2] = {
            {"", ""}, {"a", "a"}, {std::nullopt, std::nullopt}};
        for (const auto& row : expected) {
            ASSERT_TRUE(r.FetchNext());
            for (size_t column : {s, b}) {
                const auto& want = row[column == s ? 0 : 1];
                SCOPED_TRACE(column);
                const DBSTATUS status = r.GetCurrColumnsStatus(column, r.GetColMetaData(column));
                if (!want) {
                    EXPECT_EQ(status, DBSTATUS_S_ISNULL);
                    continue;
                }
                EXPECT_EQ(status, DBSTATUS_S_OK);
                if (streams) {
                    ISequentialStream* stream = r.GetCurrColumnsSequentialStream(column);
                    ASSERT_NE(stream, nullptr);
                    const std::string bytes = Drain(stream);
                    // Text streams carry wide characters.
                    const size_t width = column == s ? sizeof(wchar_t) : 1;
                    ASSERT_EQ(bytes.size(), want->size() * width);
                    if (!want->empty()) {
                        EXPECT_EQ(bytes[0], (*want)[0]);
                    }
                } else if (column == s) {
                    EXPECT_EQ(std::string(r.GetCurrColumnsChar(column)), *want);
                } else if (!want->empty()) {
                    const auto* bytes = static_cast<const char*>(
                        r.GetCurrColumnsData(column, r.GetColMetaData(column)));
                    ASSERT_NE(bytes, nullptr);
                    EXPECT_EQ(bytes[0], (*want)[0]);
                }
            }
        }
        EXPECT_FALSE(r.FetchNext());
    }
    EXPECT_TRUE(db.errors.reports.empty());
}

} // namespace
