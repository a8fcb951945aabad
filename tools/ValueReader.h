// Reads the values of a rowset's current row as text, column by column,
// whatever type each column is bound as. A value comes back whole (long
// columns are read from their streams to the end) together with its length,
// so that a printer can cut it for display and still say how long it is.
#pragma once

#include "haldendb/haldendb.h"

#include <string>
#include <vector>

class CValueReader {
public:
    struct Value {
        bool isNull = false;
        bool isBinary = false;
        std::wstring text;
        // Characters of the full value (bytes for binary values). Larger than
        // the text when the provider cut the value to its buffer.
        size_t length = 0;
    };

    // Describes the rowset's columns (the bookmark left out) and prepares the
    // access to each by its column number, so that columns without a name or
    // with the name of another column are read correctly.
    explicit CValueReader(CRowSet& rowset);

    size_t ColumnCount() const { return m_ordinals.size(); }
    // Column `index` (from 0); "?column?" style names are not made up: an
    // unnamed column gets its number.
    std::wstring ColumnName(size_t index) const;
    // Whether the column's values are numbers (printed right-aligned).
    bool IsNumeric(size_t index) const;
    Value Read(size_t index);

private:
    struct Field {
        DBBYTEOFFSET status = 0;
        DBBYTEOFFSET length = 0;
        DBBYTEOFFSET data = 0;
    };

    Value ReadStream(size_t ordinal, DBTYPE databaseType);
    static std::wstring Hex(const BYTE* bytes, size_t count);

    CRowSet& m_rowset;
    std::vector<size_t> m_ordinals;
    std::vector<Field> m_fields;
};
