#include "hdbplatform/StringArray.h"

#include "hdbplatform/AtlException.h"

std::size_t CStringArray::Checked(INT_PTR index) const {
    if (index < 0 || index >= GetSize())
        AtlThrow(E_INVALIDARG);
    return static_cast<std::size_t>(index);
}

void CStringArray::SetSize(INT_PTR newSize, INT_PTR /*growBy*/) {
    if (newSize < 0)
        AtlThrow(E_INVALIDARG);
    m_items.resize(static_cast<std::size_t>(newSize));
}

const CString& CStringArray::GetAt(INT_PTR index) const {
    return m_items[Checked(index)];
}

void CStringArray::SetAt(INT_PTR index, const CString& item) {
    m_items[Checked(index)] = item;
}

CString& CStringArray::ElementAt(INT_PTR index) {
    return m_items[Checked(index)];
}

INT_PTR CStringArray::Add(const CString& item) {
    m_items.push_back(item);
    return GetUpperBound();
}

INT_PTR CStringArray::Append(const CStringArray& other) {
    const INT_PTR first = GetSize();
    if (&other == this) {
        const std::vector<CString> copy(m_items);
        m_items.insert(m_items.end(), copy.begin(), copy.end());
    } else {
        m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
    }
    return first;
}

void CStringArray::Copy(const CStringArray& other) {
    if (&other != this)
        m_items = other.m_items;
}

void CStringArray::InsertAt(INT_PTR index, const CString& item, INT_PTR count) {
    if (index < 0 || count < 0)
        AtlThrow(E_INVALIDARG);
    const CString value(item); // item may be an element of this array
    if (index > GetSize())
        SetSize(index);
    m_items.insert(m_items.begin() + index, static_cast<std::size_t>(count), value);
}

void CStringArray::InsertAt(INT_PTR start, const CStringArray* other) {
    if (!other || start < 0 || start > GetSize())
        AtlThrow(E_INVALIDARG);
    const std::vector<CString> copy(other->m_items);
    m_items.insert(m_items.begin() + start, copy.begin(), copy.end());
}

void CStringArray::RemoveAt(INT_PTR index, INT_PTR count) {
    if (index < 0 || count < 0 || count > GetSize() - index)
        AtlThrow(E_INVALIDARG);
    m_items.erase(m_items.begin() + index, m_items.begin() + index + count);
}
