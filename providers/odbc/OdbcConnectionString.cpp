#include "OdbcConnectionString.h"

#include <cwctype>
#include <initializer_list>

namespace hdb::odbc {

namespace {

struct Attribute {
    std::wstring_view key;
    std::wstring value;
    bool assigned = false; // "key=value" rather than a lone word
};

bool SameKey(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::towupper(a[i]) != std::towupper(b[i]))
            return false;
    return true;
}

std::wstring_view Trimmed(std::wstring_view text) {
    while (!text.empty() && std::iswspace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && std::iswspace(text.back()))
        text.remove_suffix(1);
    return text;
}

// Reads the attribute at pos ("key=value" or "key={va;lue}", '}}' standing
// for '}' inside braces) and moves pos behind its ';'.
Attribute ReadAttribute(std::wstring_view text, std::size_t& pos) {
    Attribute a;
    const std::size_t keyEnd = text.find_first_of(L"=;", pos);
    a.key = Trimmed(text.substr(pos, keyEnd == std::wstring_view::npos ? text.npos : keyEnd - pos));
    if (keyEnd == std::wstring_view::npos || text[keyEnd] == L';') {
        pos = keyEnd == std::wstring_view::npos ? text.size() : keyEnd + 1;
        return a;
    }
    pos = keyEnd + 1;
    a.assigned = true;
    while (pos < text.size() && std::iswspace(text[pos]))
        ++pos;
    if (pos < text.size() && text[pos] == L'{') {
        for (++pos; pos < text.size(); ++pos) {
            if (text[pos] == L'}') {
                if (pos + 1 < text.size() && text[pos + 1] == L'}') {
                    a.value.push_back(L'}');
                    ++pos;
                    continue;
                }
                ++pos;
                break;
            }
            a.value.push_back(text[pos]);
        }
        const std::size_t end = text.find(L';', pos);
        pos = end == std::wstring_view::npos ? text.size() : end + 1;
        return a;
    }
    const std::size_t end = text.find(L';', pos);
    a.value = Trimmed(text.substr(pos, end == std::wstring_view::npos ? text.npos : end - pos));
    pos = end == std::wstring_view::npos ? text.size() : end + 1;
    return a;
}

std::optional<std::wstring> FindAny(std::wstring_view text,
                                    std::initializer_list<std::wstring_view> keys) {
    for (std::wstring_view key : keys)
        if (auto value = OdbcConnectionString::Find(text, key))
            return value;
    return std::nullopt;
}

void Append(std::wstring& text, std::wstring_view key, std::wstring_view value) {
    if (!text.empty() && text.back() != L';')
        text += L';';
    text += key;
    text += L'=';
    text += OdbcConnectionString::Quote(value);
}

} // namespace

std::wstring OdbcConnectionString::Build(const OdbcConnectOptions& options) {
    std::wstring text;
    if (options.dataSource.find(L'=') != std::wstring::npos)
        text = options.dataSource;
    else
        Append(text, L"DSN", options.dataSource);
    if (!options.user.empty() && !FindAny(text, {L"UID", L"USER", L"USERNAME"}))
        Append(text, L"UID", options.user);
    if (!options.password.empty() && !FindAny(text, {L"PWD", L"PASSWORD"}))
        Append(text, L"PWD", options.password);
    if (!options.catalog.empty() && !FindAny(text, {L"DATABASE", L"DB"}))
        Append(text, L"DATABASE", options.catalog);
    return text;
}

std::optional<std::wstring> OdbcConnectionString::Find(std::wstring_view text,
                                                       std::wstring_view key) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        Attribute a = ReadAttribute(text, pos);
        if (a.assigned && SameKey(a.key, key))
            return std::move(a.value);
    }
    return std::nullopt;
}

std::wstring OdbcConnectionString::Password(std::wstring_view text) {
    return FindAny(text, {L"PWD", L"PASSWORD"}).value_or(std::wstring());
}

std::wstring OdbcConnectionString::Quote(std::wstring_view value) {
    const bool plain =
        value.find_first_of(L";{}") == std::wstring_view::npos &&
        (value.empty() || (!std::iswspace(value.front()) && !std::iswspace(value.back())));
    if (plain)
        return std::wstring(value);
    std::wstring quoted = L"{";
    for (wchar_t c : value) {
        quoted.push_back(c);
        if (c == L'}')
            quoted.push_back(L'}');
    }
    quoted.push_back(L'}');
    return quoted;
}

} // namespace hdb::odbc
