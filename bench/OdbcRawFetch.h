// The raw side of bench_odbc_fetch: the table both sides read, made on a
// server through plain ODBC, and the block-fetch loop a careful ODBC program
// writes. Plain types only, since the unixODBC headers and the platform's
// OLE DB headers do not go into one source.
#pragma once

#include <cstddef>
#include <string>

#include "FetchTotals.h"

namespace odbcbench {

using benchsupport::Totals;
using benchsupport::Values;

// The query both sides run.
std::wstring SelectText(const std::string& table);

// A connection of the raw side. Every failure ends the program with the
// driver's message.
class RawConnection {
public:
    explicit RawConnection(const std::string& connectionString);
    ~RawConnection();
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    // Creates table (id INTEGER, amount DOUBLE PRECISION, name VARCHAR(20),
    // stamp TIMESTAMP) with rows made-up rows, made by the server itself.
    void CreateTable(const std::string& table, size_t rows, bool mariadb);
    void DropTable(const std::string& table);

    // The select through a block cursor of batch rows: column-wise arrays
    // bound as SQL_C_SLONG, SQL_C_DOUBLE, SQL_C_WCHAR and
    // SQL_C_TYPE_TIMESTAMP, the text widened to wchar_t.
    Totals Read(const std::string& table, size_t batch);

private:
    void Run(const std::string& sql);
    void* m_env = nullptr;
    void* m_dbc = nullptr;
};

} // namespace odbcbench
