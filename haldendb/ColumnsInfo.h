// The description of the columns of one result set: the DBCOLUMNINFO array
// the provider hands out, the provider's buffer that owns the column names,
// and a cache from column name to ordinal.
//
// Two ways of addressing a column are used, and each operation keeps to the
// one its comment names:
//   by ordinal: the first entry whose iOrdinal equals the argument;
//   by index:   the position in the array.
// The bookmark column, when the provider returns one, has ordinal 0 and sits
// at index 0; the other columns count from 1.
//
// Look-ups by ordinal answer neutral values (false, 0, null, an empty view)
// when nothing is found. Only operator[] throws CColumnsInfoException, for an
// object that holds no array.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"

#include <exception>
#include <map>
#include <string>

class CRowSet;

class HALDENDB_API CColumnsInfo : public CBaseOLEDBClass {
public:
    // Thrown where a column record is needed and no array exists.
    class CColumnsInfoException : public std::exception {
    public:
        CColumnsInfoException() = default;
    };

    // Copies the rowset's reporting frame and holds a reference to its
    // IRowset; no columns until CreateColumnInfos.
    explicit CColumnsInfo(const CRowSet& rowSet);
    ~CColumnsInfo() override;

    // (Re)reads the columns from the provider: releases what was held, asks
    // the rowset for IColumnsInfo (report 15505) and calls GetColumnInfo
    // (report 15506), then fills the name cache. False after a report, or
    // without an object to ask.
    bool CreateColumnInfos();

    // The ordinal of a column by name, 0 when not found (0 is also the
    // bookmark's ordinal: callers read 0 as "not found"). The cache answers
    // exact, case-sensitive repeats. Otherwise the array is scanned in order
    // and the first column whose name starts with `name`, compared without
    // case over the length of `name`, wins: a short name also finds a longer
    // column that begins with it. A column whose name pointer is the view's
    // own text matches as well, so a view without text finds the first
    // column without a name. The text found this way is cached.
    DBORDINAL GetColumnsOrdinal(const CBasicStringView<wchar_t>& name) const;

    // Whether the first column is a bookmark; computed once and kept for the
    // life of the object (also across Release). False without an array.
    bool HasBookmarks() const;
    bool IsBookmark(DBORDINAL ordinal) const;
    // The column with that ordinal is a long (BLOB) column.
    bool IsBLOB(DBORDINAL ordinal) const;

    // The entry at `index`, unchecked; throws CColumnsInfoException without
    // an array.
    const DBCOLUMNINFO& operator[](DBORDINAL index) const;

    // wType of the column with that ordinal; DBTYPE_EMPTY when not found.
    DBTYPE GetDataType(DBORDINAL ordinal) const;
    // bPrecision / bScale of the entry at `index`: 16 / 0 without an array or
    // for an index above the count. An index equal to the count passes the
    // test (callers that pass the count rely on the same answer).
    BYTE GetPrecision(DBORDINAL index) const;
    BYTE GetScale(DBORDINAL index) const;
    // The name of the column with that ordinal, up to its terminator; an
    // empty view when not found or when the column has no name.
    CBasicStringView<wchar_t> GetColumnName(DBORDINAL ordinal) const;
    // Number of entries, bookmark included.
    DBORDINAL GetColumnCount() const { return m_nColumns; }
    DBORDINAL GetColumnCountWithoutBookmark() const;

    // Frees the array and the names buffer and empties the cache. The
    // bookmark state is kept.
    bool Release() override;

protected:
    // The column with that ordinal has any of the bits of `flags`.
    bool HasColumnFlag(DBORDINAL ordinal, DBCOLUMNFLAGS flags) const;
    // The entry with that ordinal, or null.
    const DBCOLUMNINFO* GetColInfo(DBORDINAL ordinal) const;

private:
    // Names compare code unit by code unit as unsigned values, a prefix
    // before the longer key.
    struct CodeUnitLess {
        bool operator()(const std::wstring& a, const std::wstring& b) const;
    };

    void FillCache() const;
    // Frees the provider's memory; shared by Release and the destructor.
    void FreeColumnMemory();

    mutable std::map<std::wstring, DBORDINAL, CodeUnitLess> m_NameCache;
    IRowset* m_pIRowset = nullptr;
    // The provider object of a fast-load target, asked for its columns when
    // there is no rowset.
    IUnknown* m_pIFastLoad = nullptr;
    DBCOLUMNINFO* m_pColumnInfo = nullptr;
    DBORDINAL m_nColumns = 0;
    OLECHAR* m_pStringsBuffer = nullptr;
    // -1 not yet known, 0 no bookmark column, 1 bookmark column present.
    mutable LONG m_nBookmarkState = -1;
};
