// Printers of result sets: an aligned table for people, RFC 4180 CSV for
// programs. Both receive the columns first, then the rows one by one, then
// the end of the result.
#pragma once

#include "ValueReader.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

class CResultPrinter {
public:
    struct Column {
        std::wstring name;
        bool numeric = false;
    };

    explicit CResultPrinter(std::FILE* out) : m_out(out) {}
    virtual ~CResultPrinter() = default;

    virtual void Begin(const std::vector<Column>& columns) = 0;
    virtual void Row(const std::vector<CValueReader::Value>& values) = 0;
    virtual void End() = 0;

protected:
    void Write(const std::wstring& text);
    std::FILE* m_out;
};

class CTablePrinter : public CResultPrinter {
public:
    // The text a NULL shows as; text values never get this form, they are
    // printed as they are.
    static constexpr const wchar_t* NullText = L"<NULL>";

    // Values wider than `valueWidth` terminal columns are cut; a cut value
    // ends in "…" and says its full length. `showCount` adds "(n rows)".
    CTablePrinter(std::FILE* out, int valueWidth, bool showCount)
        : CResultPrinter(out), m_valueWidth(valueWidth), m_showCount(showCount) {}

    void Begin(const std::vector<Column>& columns) override;
    void Row(const std::vector<CValueReader::Value>& values) override;
    void End() override;

    // Terminal columns the text takes.
    static size_t DisplayWidth(const std::wstring& text);
    // The text of one value as a table shows it: control characters as
    // escapes, cut to `width` columns with its full length stated.
    static std::wstring Shown(const CValueReader::Value& value, int width);

    // Rows kept before they are printed: enough to align the columns, few
    // enough that a large result does not fill the memory.
    static constexpr size_t RowsPerBatch = 1000;

private:
    void Flush();
    void Line(const std::vector<std::wstring>& cells, bool header);

    std::vector<Column> m_columns;
    std::vector<std::vector<std::wstring>> m_rows;
    // Fixed by the first batch; empty until then.
    std::vector<size_t> m_widths;
    size_t m_rowCount = 0;
    int m_valueWidth;
    bool m_showCount;
};

class CCsvPrinter : public CResultPrinter {
public:
    explicit CCsvPrinter(std::FILE* out) : CResultPrinter(out) {}

    void Begin(const std::vector<Column>& columns) override;
    void Row(const std::vector<CValueReader::Value>& values) override;
    void End() override;

    // One field: quoted when it holds a comma, a quote, a line break or
    // surrounding blanks, or when it is empty (so that an empty text differs
    // from NULL, which is an empty unquoted field).
    static std::wstring Field(const CValueReader::Value& value);

private:
    void Line(const std::vector<std::wstring>& fields);
};
