// The exception the library raises for server errors that the application's
// severity map rates 17 or higher: errors after which the connection or the
// server cannot be trusted to carry on. It is thrown only after the error has
// been reported to the error callback.
#pragma once

#include "haldendb/Platform.h"

#include <exception>
#include <string>

class HALDENDB_API severe_sql_error : public std::exception {
public:
    severe_sql_error() = default;
    severe_sql_error(const severe_sql_error& other) = default;
    // Converts the wide text to the process's narrow ("ANSI") encoding;
    // characters it cannot represent become '?'.
    explicit severe_sql_error(const CBasicStringView<wchar_t>& message);
    severe_sql_error& operator=(const severe_sql_error& other) = default;
    ~severe_sql_error() override = default;

    const char* what() const noexcept override { return m_message.c_str(); }

private:
    std::string m_message;
};
