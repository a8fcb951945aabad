#include "ResultPrinter.h"

#include "Texts.h"

#include "StringConversion.h"

#include <algorithm>
#include <cwchar>

void CResultPrinter::Write(const std::wstring& text) {
    const std::string utf8 = hdbtext::Utf8FromWide(text);
    std::fwrite(utf8.data(), 1, utf8.size(), m_out);
}

// ---------------------------------------------------------------- table

namespace {

int CharWidth(wchar_t c) {
    if (c < 0x20)
        return 0;
    const int width = ::wcwidth(c);
    // Outside a UTF-8 locale wcwidth knows no wide characters; count one.
    return width < 0 ? 1 : width;
}

std::wstring Escaped(const std::wstring& text) {
    std::wstring shown;
    shown.reserve(text.size());
    for (wchar_t c : text) {
        switch (c) {
        case L'\n':
            shown += L"\\n";
            break;
        case L'\r':
            shown += L"\\r";
            break;
        case L'\t':
            shown += L"\\t";
            break;
        default:
            if (c < 0x20) {
                wchar_t buffer[8];
                std::swprintf(buffer, 8, L"\\x%02x", static_cast<unsigned>(c));
                shown += buffer;
            } else {
                shown += c;
            }
        }
    }
    return shown;
}

std::wstring Widen(const char* utf8) {
    return hdbtext::WideFromUtf8(utf8);
}

} // namespace

size_t CTablePrinter::DisplayWidth(const std::wstring& text) {
    size_t width = 0;
    for (wchar_t c : text)
        width += CharWidth(c);
    return width;
}

std::wstring CTablePrinter::Shown(const CValueReader::Value& value, int width) {
    if (value.isNull)
        return NullText;
    const std::wstring escaped = Escaped(value.text);
    // A value the provider cut to its buffer is never shown as if it were whole.
    const bool complete = value.isBinary ? value.text.size() >= 2 + 2 * value.length
                                         : value.text.size() >= value.length;
    if (complete && DisplayWidth(escaped) <= static_cast<size_t>(width))
        return escaped;
    const std::wstring note =
        L" (" + std::to_wstring(value.length) + L" " +
        Widen(CTexts::Get(value.isBinary ? CTexts::Id::Bytes : CTexts::Id::Characters)) + L")";
    // The cut text, the ellipsis and the note share the width; a narrow
    // column still shows a few characters.
    const size_t room = std::max<size_t>(
        static_cast<size_t>(width) > note.size() + 1 ? width - note.size() - 1 : 0, 3);
    std::wstring shown;
    size_t used = 0;
    for (wchar_t c : escaped) {
        const int w = CharWidth(c);
        if (used + w > room)
            break;
        shown += c;
        used += w;
    }
    return shown + L"…" + note;
}

void CTablePrinter::Begin(const std::vector<Column>& columns) {
    m_columns = columns;
    m_rows.clear();
    m_widths.clear();
    m_rowCount = 0;
}

void CTablePrinter::Row(const std::vector<CValueReader::Value>& values) {
    std::vector<std::wstring> shown;
    shown.reserve(values.size());
    for (const auto& value : values)
        shown.push_back(Shown(value, m_valueWidth));
    m_rows.push_back(std::move(shown));
    ++m_rowCount;
    if (m_rows.size() >= RowsPerBatch)
        Flush();
}

void CTablePrinter::Line(const std::vector<std::wstring>& cells, bool header) {
    std::wstring text;
    for (size_t i = 0; i < m_widths.size(); ++i) {
        const std::wstring& cell = i < cells.size() ? cells[i] : std::wstring();
        const size_t width = DisplayWidth(cell);
        const std::wstring pad(m_widths[i] > width ? m_widths[i] - width : 0, L' ');
        text += i == 0 ? L" " : L" | ";
        const bool right = !header && m_columns[i].numeric && cell != NullText;
        text += right ? pad + cell : (i + 1 < m_widths.size() ? cell + pad : cell);
    }
    Write(text + L"\n");
}

// The first batch decides the column widths and brings the header; later
// batches keep those widths (a wider value pushes only its own line out).
void CTablePrinter::Flush() {
    if (m_widths.empty()) {
        std::vector<std::wstring> names;
        for (const auto& column : m_columns) {
            names.push_back(Escaped(column.name));
            m_widths.push_back(DisplayWidth(names.back()));
        }
        for (const auto& row : m_rows)
            for (size_t i = 0; i < row.size() && i < m_widths.size(); ++i)
                m_widths[i] = std::max(m_widths[i], DisplayWidth(row[i]));
        Line(names, true);
        std::wstring rule;
        for (size_t i = 0; i < m_widths.size(); ++i)
            rule += (i == 0 ? L"" : L"+") + std::wstring(m_widths[i] + 2, L'-');
        Write(rule + L"\n");
    }
    for (const auto& row : m_rows)
        Line(row, false);
    m_rows.clear();
}

void CTablePrinter::End() {
    Flush();
    if (m_showCount) {
        const std::string count =
            m_rowCount == 1 ? CTexts::Get(CTexts::Id::OneRow)
                            : CTexts::Format(CTexts::Id::RowCount, std::to_string(m_rowCount));
        Write(Widen(count.c_str()) + L"\n");
    }
    Write(L"\n");
}

// ---------------------------------------------------------------- CSV

std::wstring CCsvPrinter::Field(const CValueReader::Value& value) {
    if (value.isNull)
        return std::wstring();
    const std::wstring& text = value.text;
    const bool quote = text.empty() || text.find_first_of(L",\"\r\n") != std::wstring::npos ||
                       text.front() == L' ' || text.back() == L' ';
    if (!quote)
        return text;
    std::wstring field = L"\"";
    for (wchar_t c : text) {
        if (c == L'"')
            field += L'"';
        field += c;
    }
    return field + L"\"";
}

void CCsvPrinter::Line(const std::vector<std::wstring>& fields) {
    std::wstring line;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i > 0)
            line += L',';
        line += fields[i];
    }
    // RFC 4180 ends every record with CRLF.
    Write(line + L"\r\n");
}

void CCsvPrinter::Begin(const std::vector<Column>& columns) {
    std::vector<std::wstring> names;
    for (const auto& column : columns) {
        CValueReader::Value name;
        name.text = column.name;
        names.push_back(Field(name));
    }
    Line(names);
}

void CCsvPrinter::Row(const std::vector<CValueReader::Value>& values) {
    std::vector<std::wstring> fields;
    fields.reserve(values.size());
    for (const auto& value : values)
        fields.push_back(Field(value));
    Line(fields);
}

void CCsvPrinter::End() {
    std::fflush(m_out);
}
