#include "haldendb/severe_sql_error.h"

#include "StringConversion.h"

severe_sql_error::severe_sql_error(const CBasicStringView<wchar_t>& message)
    : m_message(message.empty()
                    ? std::string()
                    : hdbtext::AnsiFromWide(std::wstring_view(message.data(), message.size()))) {}
