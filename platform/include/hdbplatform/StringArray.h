// CStringArray: the class framework's growable array of CString, indexed by
// INT_PTR. An index outside 0..GetUpperBound() throws
// CAtlException(E_INVALIDARG) instead of reading or writing past the end.
#pragma once

#include "hdbplatform/String.h"

#include <vector>

class CStringArray {
public:
    CStringArray() = default;

    INT_PTR GetSize() const noexcept { return static_cast<INT_PTR>(m_items.size()); }
    INT_PTR GetCount() const noexcept { return GetSize(); }
    INT_PTR GetUpperBound() const noexcept { return GetSize() - 1; }
    bool IsEmpty() const noexcept { return m_items.empty(); }

    // Resizes to newSize elements (new ones empty). growBy is a capacity hint
    // of the framework and has no effect here.
    void SetSize(INT_PTR newSize, INT_PTR growBy = -1);

    const CString& GetAt(INT_PTR index) const;
    void SetAt(INT_PTR index, const CString& item);
    CString& ElementAt(INT_PTR index);
    const CString& operator[](INT_PTR index) const { return GetAt(index); }
    CString& operator[](INT_PTR index) { return ElementAt(index); }

    // Appends; the index of the new element.
    INT_PTR Add(const CString& item);
    // Appends all of other; the index of its first element here.
    INT_PTR Append(const CStringArray& other);
    // Makes this a copy of other.
    void Copy(const CStringArray& other);
    // Inserts count copies of item before index; an index at or past the end
    // appends, growing the array with empty strings up to index first.
    void InsertAt(INT_PTR index, const CString& item, INT_PTR count = 1);
    // Inserts all of other before start (0..GetSize()).
    void InsertAt(INT_PTR start, const CStringArray* other);
    // Removes count elements from index; the range must lie inside the array.
    void RemoveAt(INT_PTR index, INT_PTR count = 1);
    void RemoveAll() noexcept { m_items.clear(); }

    // Iteration for range-based for.
    auto begin() noexcept { return m_items.begin(); }
    auto end() noexcept { return m_items.end(); }
    auto begin() const noexcept { return m_items.begin(); }
    auto end() const noexcept { return m_items.end(); }

private:
    std::size_t Checked(INT_PTR index) const;

    std::vector<CString> m_items;
};
