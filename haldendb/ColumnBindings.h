// The binding array of a result set and the layout of its row buffer.
//
// Each bound column occupies one field group, in binding order, starting at
// the running offset `off` (the sum of the groups before it):
//
//   status  (DBSTATUS)  off        8 bytes reserved, 4 used
//   length  (DBLENGTH)  off + 8    8 bytes
//   value               off + 16   cbMaxLen bytes
//
// The next group starts right behind the value, with no alignment padding:
// applications and the other rowset kinds read buffers by these offsets.
// cbMaxLen by column kind:
//   DBTYPE_STR of size n          n + 1 (the terminator); 8001 when unbounded
//   DBTYPE_WSTR of size n         n * sizeof(wchar_t) + sizeof(wchar_t);
//                                 8000 * sizeof(wchar_t) + sizeof(wchar_t)
//                                 when unbounded (wchar_t is 4 bytes on Linux)
//   long BYTES/STR/WSTR, streams  8 (an ISequentialStream pointer), bound as
//                                 DBTYPE_IUNKNOWN
//   long BYTES/STR/WSTR, no       the long column length (65000 by default),
//   streams                       bound as BYTES for binary and as STR for
//                                 both text kinds (a long wide column then
//                                 arrives as 8-bit text)
//   any other                     the column size the provider reports
//
// Column numbers count from 1 over the columns the caller sees. Binding index
// of column number c: c - 1, unless the bookmark is bound and the result set
// has one; then c, and the bookmark is column number 0.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"

class CColumnsInfo;
class CRowSet;

class HALDENDB_API CColumnBindings : public CBaseOLEDBClass {
public:
    // The long column length after construction.
    static constexpr ULONG DefaultLongColumnLength = 65000;
    // Bytes in front of every value: status and length, 8 each.
    static constexpr DBLENGTH FieldHeaderSize = 16;

    // Copies the rowset's reporting frame and uses its column descriptions
    // (not owned). Nothing is bound until CreateBindings.
    explicit CColumnBindings(const CRowSet& rowSet);
    ~CColumnBindings() override;

    // Builds the binding and object arrays from the column descriptions:
    // every column in order, the bookmark only when `withBookmark`. False
    // without descriptions, for a result without columns, or when memory
    // runs out (no report). Throws CColumnsInfo::CColumnsInfoException when
    // the descriptions have no array.
    bool CreateBindings(bool withBookmark, bool longColumnsAsStreams, ULONG longColumnLength);

    // Sets cbMaxLen of a column's binding and adds the difference to the
    // columns size. The following groups do not move: use it on the last
    // column, or where the caller sizes the buffer.
    void ChangeColumnSize(DBORDINAL column, ULONG newSize);

    // Bound columns: the descriptions' count, less the bookmark when it is
    // present and not bound.
    DBORDINAL GetColumnCount() const;
    operator DBBINDING*() const { return m_pBindings; }
    // Sum of all field groups: the size of a one-row buffer.
    DBLENGTH GetColumnsSize() const { return m_nColumnsSize; }

    // Per binding index; 0 without bindings. `row` is not used: the buffer
    // holds one row.
    DBLENGTH GetColumnsSize(DBCOUNTITEM row, DBORDINAL index) const;
    DBBYTEOFFSET GetDataPosition(DBCOUNTITEM row, DBORDINAL index) const;
    DBBYTEOFFSET GetLengthPosition(DBCOUNTITEM row, DBORDINAL index) const;
    DBBYTEOFFSET GetStatusPosition(DBCOUNTITEM row, DBORDINAL index) const;
    // wType of the binding (the type in the buffer).
    DBTYPE GetFieldType(DBCOUNTITEM row, DBORDINAL index) const;
    // wType of the column description with that ordinal (the type in the
    // database); 0 when not found.
    DBTYPE GetDatabaseFieldType(DBCOUNTITEM row, DBORDINAL ordinal) const;

    // The row stride where the provider needs one (fast load): the columns
    // size plus 16 more bytes per bound column, rounded down to a multiple
    // of 8 after adding 7, in 32-bit arithmetic. The extra 16 bytes per
    // column are part of the contract: fast-load buffers are sized by it.
    ULONG GetDataRowSize() const;

    // Type tests on the binding of a column number.
    bool IsBOOL(DBORDINAL column) const { return CompareType(column, DBTYPE_BOOL); }
    bool IsByte(DBORDINAL column) const { return CompareType(column, DBTYPE_I1); }
    bool IsUnsignedByte(DBORDINAL column) const { return CompareType(column, DBTYPE_UI1); }
    bool IsInteger(DBORDINAL column) const { return CompareType(column, DBTYPE_I2); }
    bool IsUnsignedInteger(DBORDINAL column) const { return CompareType(column, DBTYPE_UI2); }
    bool IsLong(DBORDINAL column) const { return CompareType(column, DBTYPE_I4); }
    bool IsUnsignedLong(DBORDINAL column) const { return CompareType(column, DBTYPE_UI4); }
    bool IsInt64(DBORDINAL column) const { return CompareType(column, DBTYPE_I8); }
    bool IsUnsignedInt64(DBORDINAL column) const { return CompareType(column, DBTYPE_UI8); }
    bool IsFloat(DBORDINAL column) const { return CompareType(column, DBTYPE_R4); }
    bool IsDouble(DBORDINAL column) const { return CompareType(column, DBTYPE_R8); }
    bool IsNumeric(DBORDINAL column) const { return CompareType(column, DBTYPE_NUMERIC); }
    bool IsVarNumeric(DBORDINAL column) const { return CompareType(column, DBTYPE_VARNUMERIC); }
    bool IsString(DBORDINAL column) const { return CompareType(column, DBTYPE_STR); }
    bool IsUnicodeString(DBORDINAL column) const { return CompareType(column, DBTYPE_WSTR); }
    bool IsDate(DBORDINAL column) const { return CompareType(column, DBTYPE_DBDATE); }
    bool IsTime(DBORDINAL column) const { return CompareType(column, DBTYPE_DBTIME); }
    bool IsTimeStamp(DBORDINAL column) const { return CompareType(column, DBTYPE_DBTIMESTAMP); }
    bool IsDateOrTime(DBORDINAL column) const {
        return CompareType(column, DBTYPE_DBTIMESTAMP) || CompareType(column, DBTYPE_DBDATE) ||
               CompareType(column, DBTYPE_DBTIME);
    }
    bool IsStreamInterface(DBORDINAL column) const { return CompareType(column, DBTYPE_IUNKNOWN); }
    bool IsDatabaseTypeUnicodeString(DBORDINAL column) const {
        return CompareDatabaseType(column, DBTYPE_WSTR);
    }

    // Frees both arrays.
    bool Release() override;

protected:
    // The rowset converts its column numbers with GetColumnValue.
    friend class CRowSet;

    // Fills one binding from a column description at `offset` and returns
    // the size of its field group.
    DBLENGTH InitDBBindingStruct(DBBINDING& binding, const DBCOLUMNINFO& column,
                                 DBBYTEOFFSET offset, DWORD objectFlags, bool longColumnsAsStreams,
                                 DBPARAMIO direction);
    // Binding index of a column number (see the file comment).
    DBORDINAL GetColumnValue(DBORDINAL column) const;
    // The binding of a column number has wType `type`; false without
    // bindings or for a column beyond them.
    bool CompareType(DBORDINAL column, DBTYPE type) const;
    // The description whose ordinal equals the column's binding index (not
    // its column number) has wType `type`; when none has, true only for
    // DBTYPE_EMPTY. IsDatabaseTypeUnicodeString answers by this look-up.
    bool CompareDatabaseType(DBORDINAL column, DBTYPE type) const;
    // A BYTES, STR or WSTR column flagged long.
    bool IsBLOB(DBTYPE databaseType, DBORDINAL ordinal) const;

private:
    bool HasBinding(DBORDINAL index) const { return m_pBindings && index < m_nBindings; }
    void FreeArrays();

    const CColumnsInfo* m_pColumnsInfo = nullptr;
    DBBINDING* m_pBindings = nullptr;
    // One slot per column: slot k belongs to ordinal k + 1.
    DBOBJECT* m_pObjects = nullptr;
    DBLENGTH m_nColumnsSize = 0;
    ULONG m_nLongColumnLength = DefaultLongColumnLength;
    bool m_bWithBookmark = true;
    // Entries allocated in each array.
    DBORDINAL m_nBindings = 0;
};
