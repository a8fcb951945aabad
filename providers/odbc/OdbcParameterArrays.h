// The values of one or many parameter sets in column-wise arrays, as one
// execution sends them (SQL_ATTR_PARAMSET_SIZE), and each set's outcome.
//
// Values are set before OdbcStatement::Execute, which binds the arrays as
// they are then. A long value may instead be sent at execution, in pieces a
// chunk source supplies, so that it never has to be held whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "OdbcTypes.h"
#include "OdbcValue.h"

namespace hdb::odbc {

// Supplies the next piece of a value sent at execution: fills buffer (in the
// parameter's C form, so UTF-16 for wideText) and sets filled, 0 at the end
// of the value. Returning false abandons the execution; diag says why.
using OdbcChunkSource =
    std::function<bool(std::size_t parameter, std::size_t set, std::span<std::byte> buffer,
                       std::size_t& filled, OdbcDiagnostics& diag)>;

struct OdbcParameterBinding {
    OdbcValueType type = OdbcValueType::wideText;
    OdbcSqlType sqlType = OdbcSqlType::wvarchar;
    // Characters of text, bytes of binary, precision of numbers. 0 takes the
    // longest value given (at least 1) for text, binary and decimal text,
    // and the type's own width for the others.
    std::uint64_t columnSize = 0;
    // Scale of decimals, digits of a timestamp's fraction.
    std::int16_t decimalDigits = 0;
    OdbcParameterDirection direction = OdbcParameterDirection::input;
    // Room for a text, binary or decimal value the driver hands back, in
    // bytes with the terminator; 0 takes a default.
    std::size_t outputBytes = 0;
};

class OdbcParameterArrays {
public:
    // Starts over with setCount sets (0 is allowed: executing then runs
    // nothing) and no parameters.
    void Reset(std::size_t setCount);
    // Adds a parameter (the next marker) whose values are all NULL; returns
    // its index.
    std::size_t AddParameter(const OdbcParameterBinding& binding);

    std::size_t SetCount() const { return m_setCount; }
    std::size_t ParameterCount() const { return m_columns.size(); }

    // Each setter returns false, changing nothing, when the parameter or set
    // is out of range or the parameter has another type.
    bool SetNull(std::size_t parameter, std::size_t set);
    bool SetInt64(std::size_t parameter, std::size_t set, std::int64_t value);
    bool SetReal64(std::size_t parameter, std::size_t set, double value);
    bool SetBoolean(std::size_t parameter, std::size_t set, bool value);
    bool SetWideText(std::size_t parameter, std::size_t set, std::u16string_view value);
    bool SetNarrowText(std::size_t parameter, std::size_t set, std::string_view value);
    bool SetBinary(std::size_t parameter, std::size_t set, std::span<const std::byte> value);
    bool SetDate(std::size_t parameter, std::size_t set, const OdbcDate& value);
    bool SetTime(std::size_t parameter, std::size_t set, const OdbcTime& value);
    bool SetTimestamp(std::size_t parameter, std::size_t set, const OdbcTimestamp& value);
    bool SetGuid(std::size_t parameter, std::size_t set, const OdbcGuid& value);
    // The value of (parameter, set), wideText or binary, comes from the chunk
    // source during the execution; length is its size in bytes, -1 when
    // unknown. An empty value (length 0) is kept in the array instead: a
    // driver may skip asking for it and store NULL (MariaDB's does).
    bool SetAtExecution(std::size_t parameter, std::size_t set, std::int64_t length = -1);
    void SetChunkSource(OdbcChunkSource source) { m_chunkSource = std::move(source); }
    // Whether some value is sent at execution.
    bool HasAtExecution() const;
    const OdbcChunkSource& ChunkSource() const { return m_chunkSource; }

    // After an execution: the value an output parameter received in a set
    // (parameter and set in range).
    OdbcValue Output(std::size_t parameter, std::size_t set) const {
        const Column& c = m_columns[parameter];
        return {c.binding.type, c.data.data() + set * c.elementBytes, c.elementBytes,
                c.indicators[set]};
    }

    // After an execution: how many sets the driver processed, the outcome of
    // each, and the first that failed.
    std::size_t SetsProcessed() const { return static_cast<std::size_t>(m_processed); }
    OdbcSetStatus Status(std::size_t set) const;
    std::optional<std::size_t> FirstFailedSet() const;

    // ------------------------------------------------ for OdbcStatement
    struct Column {
        OdbcParameterBinding binding;
        std::size_t elementBytes = 0;
        std::size_t longest = 0; // bytes of the longest value, for the column size
        std::vector<std::byte> data;
        std::vector<std::int64_t> indicators; // SQLLEN
    };
    std::vector<Column>& Columns() { return m_columns; }
    // The column size and decimal digits SQLBindParameter gets.
    std::uint64_t ColumnSize(std::size_t parameter) const;
    std::int16_t DecimalDigits(std::size_t parameter) const;
    // Prepares the outcome arrays for an execution.
    void ForgetOutcome();
    std::uint16_t* StatusPointer() { return m_status.data(); } // SQLUSMALLINT
    std::uint64_t* ProcessedPointer() { return &m_processed; } // SQLULEN
    // The parameter and set of a value the driver asks for at execution (the
    // address of its element); false when the address is none of ours.
    bool Locate(const void* element, std::size_t& parameter, std::size_t& set) const;

private:
    std::byte* Element(std::size_t parameter, std::size_t set) {
        Column& c = m_columns[parameter];
        return c.data.data() + set * c.elementBytes;
    }
    bool Fits(std::size_t parameter, std::size_t set, OdbcValueType type) const;
    bool SetFixed(std::size_t parameter, std::size_t set, OdbcValueType type, const void* value);
    bool SetVariable(std::size_t parameter, std::size_t set, OdbcValueType type, const void* value,
                     std::size_t bytes);
    // Makes every element of the column hold at least bytes.
    void Grow(Column& column, std::size_t bytes);

    std::size_t m_setCount = 0;
    std::vector<Column> m_columns;
    std::vector<std::uint16_t> m_status;
    std::uint64_t m_processed = 0;
    OdbcChunkSource m_chunkSource;
};

} // namespace hdb::odbc
