// The text SQLDriverConnect gets, made from the connect options.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OdbcTypes.h"

namespace hdb::odbc {

class OdbcConnectionString {
public:
    // options.dataSource as it is when it holds '=' (a connection string),
    // else "DSN=<dataSource>"; then the user, password and catalog of the
    // options, each only when given and when the text names none under any
    // of the keywords drivers accept for it (UID/USER/USERNAME,
    // PWD/PASSWORD, DATABASE/DB).
    static std::wstring Build(const OdbcConnectOptions& options);

    // The value of the first attribute of text named by key (compared
    // without case), braces removed; nothing when there is none.
    static std::optional<std::wstring> Find(std::wstring_view text, std::wstring_view key);

    // The password the text carries (PWD or PASSWORD), empty when none.
    static std::wstring Password(std::wstring_view text);

    // value written as an attribute value: in braces, with '}' doubled, when
    // it holds a character that would end or open one (';', '{', '}') or
    // blanks at either end that a parser would drop.
    static std::wstring Quote(std::wstring_view value);
};

} // namespace hdb::odbc
