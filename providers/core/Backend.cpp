// The parts of the backend contract's value storage that are not inline.
#include "Backend.h"

namespace hdb::backend {

void RowBuffer::SetUtf8(size_t column, const char* text, size_t bytes) {
    // Room for the worst case (one wide character per byte), trimmed after.
    size_t offset = (m_arena.size() + alignof(wchar_t) - 1) & ~(alignof(wchar_t) - 1);
    m_arena.resize(offset + bytes * sizeof(wchar_t));
    auto* out = reinterpret_cast<wchar_t*>(m_arena.data() + offset);
    const auto* in = reinterpret_cast<const unsigned char*>(text);
    size_t n = 0;
    for (size_t i = 0; i < bytes;) {
        unsigned char c = in[i];
        if (c < 0x80) {
            out[n++] = c;
            ++i;
            continue;
        }
        int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : -1;
        char32_t cp = extra == 3 ? c & 0x07 : extra == 2 ? c & 0x0F : c & 0x1F;
        bool valid = extra > 0 && c < 0xF5 && static_cast<size_t>(extra) < bytes - i;
        for (int k = 1; valid && k <= extra; ++k) {
            if ((in[i + k] & 0xC0) != 0x80)
                valid = false;
            else
                cp = (cp << 6) | (in[i + k] & 0x3F);
        }
        const char32_t least[] = {0, 0x80, 0x800, 0x10000};
        if (valid && (cp < least[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)))
            valid = false;
        if (valid) {
            out[n++] = static_cast<wchar_t>(cp);
            i += extra + 1;
        } else {
            out[n++] = static_cast<wchar_t>(0xFFFD);
            ++i;
        }
    }
    m_arena.resize(offset + n * sizeof(wchar_t));
    Cell& c = m_cells[column];
    c.type = DBTYPE_WSTR;
    c.deferred = false;
    c.offset = offset;
    c.length = n * sizeof(wchar_t);
}

namespace {

bool NoOutputParameters(Diagnostics& diag) {
    diag.push_back({L"This database has no output parameters; bind the parameters as input "
                    L"only.",
                    L"HYC00", 0, Failure::general});
    return false;
}

} // namespace

bool Statement::BindOutputs(const std::vector<OutputParameter>& outputs, Diagnostics& diag) {
    return outputs.empty() || NoOutputParameters(diag);
}

bool Statement::ReadOutputs(size_t, RowBuffer&, Diagnostics& diag) {
    return NoOutputParameters(diag);
}

} // namespace hdb::backend
