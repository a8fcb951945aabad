// The parts of the backend contract's value storage that are not inline.
#include "Backend.h"

#include "StringConversion.h"

namespace hdb::backend {

void RowBuffer::SetUtf8(size_t column, const char* text, size_t bytes) {
    // Decoded straight into the arena: room for the worst case (one wide
    // character per byte), trimmed after. Each byte of an ill-formed sequence
    // becomes a U+FFFD of its own, so the consumer sees how many were bad.
    size_t offset = (m_arena.size() + alignof(wchar_t) - 1) & ~(alignof(wchar_t) - 1);
    m_arena.resize(offset + bytes * sizeof(wchar_t));
    auto* out = reinterpret_cast<wchar_t*>(m_arena.data() + offset);
    const size_t n = hdbtext::DecodeUtf8Into({text, bytes}, out, hdbtext::Utf8Repair::perByte);
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
