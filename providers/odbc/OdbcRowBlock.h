// The column-wise arrays a block fetch fills: one array of values and one of
// length indicators per bound column, a status per row.
//
// Columns that are not bound (long values) stay with the cursor and are read
// in pieces through OdbcStatement::ReadLongText/ReadLongBinary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "OdbcTypes.h"
#include "OdbcValue.h"

namespace hdb::odbc {

class OdbcRowBlock {
public:
    // A block of up to capacity rows (at least one).
    explicit OdbcRowBlock(std::size_t capacity);

    // Binds result column `column` (from 1) as type and returns the slot the
    // accessors below take. elementBytes is the room for one value of the
    // variable-length types, terminator included (two bytes for wideText,
    // one for narrowText); the fixed-size types ignore it. Bindings are made
    // before OdbcStatement::BindColumns.
    std::size_t Bind(std::uint16_t column, OdbcValueType type, std::size_t elementBytes = 0);
    void Clear();

    std::size_t Capacity() const { return m_capacity; }
    std::size_t Slots() const { return m_bindings.size(); }
    std::uint16_t Column(std::size_t slot) const { return m_bindings[slot].column; }
    OdbcValueType Type(std::size_t slot) const { return m_bindings[slot].type; }

    // Rows the last fetch delivered.
    std::size_t Rows() const { return static_cast<std::size_t>(m_rowsFetched); }
    OdbcRowStatus Status(std::size_t row) const;

    // A value of the last fetch; slot and row must be in range.
    OdbcValue Value(std::size_t slot, std::size_t row) const {
        const Binding& b = m_bindings[slot];
        return {b.type, b.data.data() + row * b.elementBytes, b.elementBytes, b.indicators[row]};
    }

    // ------------------------------------------------ for OdbcStatement
    struct Binding {
        std::uint16_t column = 0;
        OdbcValueType type = OdbcValueType::int64;
        std::size_t elementBytes = 0;
        std::vector<std::byte> data;
        std::vector<std::int64_t> indicators; // SQLLEN
    };
    std::vector<Binding>& Bindings() { return m_bindings; }
    std::uint64_t* RowsFetchedPointer() { return &m_rowsFetched; } // SQLULEN
    std::uint16_t* StatusPointer() { return m_status.data(); }     // SQLUSMALLINT
    void ForgetRows() { m_rowsFetched = 0; }

private:
    std::size_t m_capacity;
    std::vector<Binding> m_bindings;
    std::vector<std::uint16_t> m_status;
    std::uint64_t m_rowsFetched = 0;
};

} // namespace hdb::odbc
