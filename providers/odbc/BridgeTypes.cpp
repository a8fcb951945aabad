// ODBC's SQL types as the core's DBTYPEs, fetched values into row cells,
// parameter values into the layer's arrays, and layer diagnostics into the
// core's.
#include <cstring>
#include <limits>

#include "OdbcBackend.h"
#include "StringConversion.h"
#include "hdbplatform/DataConversion.h"

namespace hdb::bridge {

using odbc::OdbcSqlType;
using odbc::OdbcValueType;

backend::Failure FailureOf(odbc::OdbcFailure failure) {
    switch (failure) {
    case odbc::OdbcFailure::cannotConnect:
    case odbc::OdbcFailure::authentication:
        return backend::Failure::cannotConnect;
    case odbc::OdbcFailure::connectionLost:
        return backend::Failure::connectionLost;
    case odbc::OdbcFailure::constraint:
        return backend::Failure::constraint;
    case odbc::OdbcFailure::deadlock:
        return backend::Failure::deadlock;
    case odbc::OdbcFailure::lockTimeout:
        return backend::Failure::busy;
    case odbc::OdbcFailure::timeout:
        return backend::Failure::timeout;
    case odbc::OdbcFailure::canceled:
        return backend::Failure::canceled;
    case odbc::OdbcFailure::syntax:
        return backend::Failure::syntax;
    case odbc::OdbcFailure::noTable:
        return backend::Failure::noTable;
    case odbc::OdbcFailure::dataValue:
        return backend::Failure::conversion;
    case odbc::OdbcFailure::readOnly:
        return backend::Failure::readOnly;
    case odbc::OdbcFailure::none:
    case odbc::OdbcFailure::general:
        break;
    }
    return backend::Failure::general;
}

void AppendDiagnostics(const odbc::OdbcDiagnostics& from, backend::Diagnostics& to) {
    for (const auto& d : from) {
        backend::Diagnostic out;
        out.message = d.message;
        out.sqlState = d.sqlState;
        out.nativeError = static_cast<LONG>(d.nativeError);
        out.failure = FailureOf(d.failure);
        if (d.row >= 0 && d.failure != odbc::OdbcFailure::none)
            out.parameterSet = static_cast<size_t>(d.row) + 1;
        to.push_back(std::move(out));
    }
}

namespace {

constexpr DBLENGTH Unbounded = ~DBLENGTH(0);
// Text and binary columns longer than this are read in pieces rather than
// bound to the fetch block, whose arrays hold the longest value of every row.
constexpr std::uint64_t LongestBound = 8000;

BYTE Clamp(std::uint64_t value) {
    return static_cast<BYTE>(std::min<std::uint64_t>(value, 255));
}

} // namespace

ColumnPlan PlanColumn(const odbc::OdbcColumn& column) {
    ColumnPlan plan;
    backend::ColumnInfo& info = plan.info;
    info.name = column.name;
    info.flags = column.nullable == odbc::OdbcNullable::no
                     ? 0
                     : DBCOLUMNFLAGS_ISNULLABLE | DBCOLUMNFLAGS_MAYBENULL;
    auto fixed = [&](DBTYPE type, DBLENGTH size, OdbcValueType as) {
        info.type = type;
        info.size = size;
        info.flags |= DBCOLUMNFLAGS_ISFIXEDLENGTH;
        plan.fetchAs = as;
    };
    auto text = [&](std::uint64_t chars, bool fixedLength) {
        info.type = DBTYPE_WSTR;
        if (chars == 0 || chars > LongestBound) {
            plan.isLong = true;
            info.size = Unbounded;
            info.flags |= DBCOLUMNFLAGS_ISLONG;
        } else {
            info.size = chars;
            // UTF-16 units: a character outside the BMP takes two.
            plan.elementBytes = (chars * 2 + 1) * sizeof(char16_t);
            if (fixedLength)
                info.flags |= DBCOLUMNFLAGS_ISFIXEDLENGTH;
        }
        plan.fetchAs = OdbcValueType::wideText;
    };
    auto binary = [&](std::uint64_t bytes, bool fixedLength) {
        info.type = DBTYPE_BYTES;
        if (bytes == 0 || bytes > LongestBound) {
            plan.isLong = true;
            info.size = Unbounded;
            info.flags |= DBCOLUMNFLAGS_ISLONG;
        } else {
            info.size = bytes;
            plan.elementBytes = bytes;
            if (fixedLength)
                info.flags |= DBCOLUMNFLAGS_ISFIXEDLENGTH;
        }
        plan.fetchAs = OdbcValueType::binary;
    };
    switch (column.sqlType) {
    case OdbcSqlType::tinyint:
    case OdbcSqlType::smallint:
    case OdbcSqlType::integer:
        fixed(DBTYPE_I4, 4, OdbcValueType::int64);
        info.precision = column.sqlType == OdbcSqlType::integer ? 10 : 5;
        break;
    case OdbcSqlType::bigint:
        fixed(DBTYPE_I8, 8, OdbcValueType::int64);
        info.precision = 19;
        break;
    case OdbcSqlType::numeric:
    case OdbcSqlType::decimal:
        fixed(DBTYPE_NUMERIC, sizeof(DB_NUMERIC), OdbcValueType::narrowText);
        info.precision = Clamp(column.size == 0 ? 38 : column.size);
        info.scale = static_cast<BYTE>(std::max<std::int16_t>(column.decimalDigits, 0));
        // Sign, digits, point and terminator.
        plan.elementBytes = info.precision + 3;
        break;
    case OdbcSqlType::real:
        fixed(DBTYPE_R4, 4, OdbcValueType::real64);
        info.precision = 7;
        break;
    case OdbcSqlType::float_:
    case OdbcSqlType::double_:
        fixed(DBTYPE_R8, 8, OdbcValueType::real64);
        info.precision = 15;
        break;
    case OdbcSqlType::bit:
        fixed(DBTYPE_BOOL, sizeof(VARIANT_BOOL), OdbcValueType::boolean);
        break;
    case OdbcSqlType::date:
        fixed(DBTYPE_DBDATE, sizeof(DBDATE), OdbcValueType::date);
        break;
    case OdbcSqlType::time:
        fixed(DBTYPE_DBTIME, sizeof(DBTIME), OdbcValueType::time);
        break;
    case OdbcSqlType::timestamp:
        fixed(DBTYPE_DBTIMESTAMP, sizeof(DBTIMESTAMP), OdbcValueType::timestamp);
        info.scale = static_cast<BYTE>(std::max<std::int16_t>(column.decimalDigits, 0));
        break;
    case OdbcSqlType::guid:
        fixed(DBTYPE_GUID, sizeof(GUID), OdbcValueType::guid);
        break;
    case OdbcSqlType::char_:
    case OdbcSqlType::wchar:
        text(column.size, true);
        break;
    case OdbcSqlType::varchar:
    case OdbcSqlType::wvarchar:
        text(column.size, false);
        break;
    case OdbcSqlType::longVarchar:
    case OdbcSqlType::wlongVarchar:
        text(0, false);
        break;
    case OdbcSqlType::binary:
        binary(column.size, true);
        break;
    case OdbcSqlType::varbinary:
        binary(column.size, false);
        break;
    case OdbcSqlType::longVarbinary:
        binary(0, false);
        break;
    default:
        // A type of the driver's own: its text form.
        text(column.size, false);
        break;
    }
    return plan;
}

void StoreValue(const odbc::OdbcValue& value, BYTE precision, BYTE scale, backend::RowBuffer& row,
                size_t column) {
    if (value.IsNull()) {
        row.SetNull(column);
        return;
    }
    switch (value.Type()) {
    case OdbcValueType::int64:
        row.SetI8(column, value.Int64());
        break;
    case OdbcValueType::real64:
        row.SetR8(column, value.Real64());
        break;
    case OdbcValueType::boolean:
        row.SetBool(column, value.Boolean());
        break;
    case OdbcValueType::narrowText: {
        // The exact digits the server sent, converted once at the column's scale.
        const std::string_view digits = value.NarrowText();
        DB_NUMERIC number{};
        DBSTATUS status = DBSTATUS_S_OK;
        DBLENGTH length = 0;
        HdbDataConvert(DBTYPE_STR, DBTYPE_NUMERIC, digits.size(), &length, digits.data(), &number,
                       sizeof number, DBSTATUS_S_OK, &status, precision, scale, 0);
        if (status == DBSTATUS_S_OK) {
            row.SetNumeric(column, number);
        } else {
            const std::wstring wide = hdbtext::WideFromUtf8(digits);
            row.SetWide(column, wide.data(), wide.size());
        }
        break;
    }
    case OdbcValueType::date: {
        const odbc::OdbcDate d = value.Date();
        row.SetDate(column, DBDATE{d.year, d.month, d.day});
        break;
    }
    case OdbcValueType::time: {
        const odbc::OdbcTime t = value.Time();
        row.SetTime(column, DBTIME{t.hour, t.minute, t.second});
        break;
    }
    case OdbcValueType::timestamp: {
        const odbc::OdbcTimestamp t = value.Timestamp();
        row.SetTimestamp(
            column, DBTIMESTAMP{t.year, t.month, t.day, t.hour, t.minute, t.second, t.fraction});
        break;
    }
    case OdbcValueType::wideText: {
        const std::wstring wide = hdbtext::WideFromUtf16(value.WideText());
        row.SetWide(column, wide.data(), wide.size());
        break;
    }
    case OdbcValueType::binary: {
        const auto bytes = value.Binary();
        row.SetBytes(column, bytes.data(), bytes.size());
        break;
    }
    case OdbcValueType::guid: {
        // ODBC's SQLGUID and GUID share their layout.
        const odbc::OdbcGuid g = value.Guid();
        GUID value;
        static_assert(sizeof value == sizeof g);
        std::memcpy(&value, &g, sizeof value);
        row.SetGuid(column, value);
        break;
    }
    }
}

namespace {

// The parameter's SQL type and value form for a value of info's type.
void SetSqlAndValueType(odbc::OdbcParameterBinding& binding, const backend::ParameterInfo& info) {
    switch (info.type) {
    case DBTYPE_I1:
    case DBTYPE_I2:
    case DBTYPE_I4:
    case DBTYPE_I8:
    case DBTYPE_UI1:
    case DBTYPE_UI2:
    case DBTYPE_UI4:
        binding.type = OdbcValueType::int64;
        binding.sqlType = OdbcSqlType::bigint;
        break;
    case DBTYPE_R4:
    case DBTYPE_R8:
        binding.type = OdbcValueType::real64;
        binding.sqlType = OdbcSqlType::double_;
        break;
    case DBTYPE_BOOL:
        binding.type = OdbcValueType::boolean;
        binding.sqlType = OdbcSqlType::bit;
        break;
    case DBTYPE_NUMERIC:
    case DBTYPE_DECIMAL:
        binding.type = OdbcValueType::narrowText;
        binding.sqlType = OdbcSqlType::decimal;
        binding.columnSize = info.precision;
        binding.decimalDigits = info.scale;
        break;
    case DBTYPE_DBDATE:
        binding.type = OdbcValueType::date;
        binding.sqlType = OdbcSqlType::date;
        break;
    case DBTYPE_DBTIME:
        binding.type = OdbcValueType::time;
        binding.sqlType = OdbcSqlType::time;
        break;
    case DBTYPE_DBTIMESTAMP:
        binding.type = OdbcValueType::timestamp;
        binding.sqlType = OdbcSqlType::timestamp;
        binding.decimalDigits = 6;
        break;
    case DBTYPE_BYTES:
        binding.type = OdbcValueType::binary;
        binding.sqlType =
            info.size == ~DBLENGTH(0) ? OdbcSqlType::longVarbinary : OdbcSqlType::varbinary;
        break;
    default:
        binding.type = OdbcValueType::wideText;
        binding.sqlType = OdbcSqlType::wvarchar;
        break;
    }
}

} // namespace

size_t AddParameter(odbc::OdbcParameterArrays& arrays, const backend::ParameterInfo& info,
                    const backend::OutputParameter* output) {
    odbc::OdbcParameterBinding binding;
    SetSqlAndValueType(binding, info);
    if (output != nullptr) {
        binding.direction = output->alsoInput ? odbc::OdbcParameterDirection::inputOutput
                                              : odbc::OdbcParameterDirection::output;
        // Values handed back travel as narrow text, which the core converts
        // to what the consumer bound: drivers convert them less reliably
        // than fetched values (MariaDB Connector/ODBC 3.1 writes the
        // value's text whatever C type is bound). A character takes at most
        // four bytes; one more for the terminator.
        binding.type = OdbcValueType::narrowText;
        binding.outputBytes = std::max<size_t>(static_cast<size_t>(output->bytes), 64) + 1;
    }
    return arrays.AddParameter(binding);
}

bool PutParameter(odbc::OdbcParameterArrays& arrays, size_t parameter, size_t set,
                  const backend::RowBuffer& values, size_t column, backend::Diagnostics& diag) {
    const backend::Cell& cell = values[column];
    const OdbcValueType type = arrays.Columns()[parameter].binding.type;
    if (cell.type == DBTYPE_NULL)
        return arrays.SetNull(parameter, set);
    if (cell.deferred) // read from its source while the statement executes
        return arrays.SetAtExecution(parameter, set);
    // A value of another type than the parameter's is sent in the
    // parameter's form, through the conversion engine.
    auto convert = [&](DBTYPE to, void* out, DBLENGTH room) {
        DBSTATUS status = DBSTATUS_S_OK;
        DBLENGTH length = 0;
        const void* source = cell.type == DBTYPE_WSTR || cell.type == DBTYPE_BYTES
                                 ? static_cast<const void*>(values.Data(cell))
                                 : static_cast<const void*>(&cell.v);
        HdbDataConvert(cell.type == DBTYPE_BOOL ? DBTYPE(DBTYPE_I8) : cell.type, to, cell.length,
                       &length, source, out, room, DBSTATUS_S_OK, &status, 38, 0, 0);
        if (status == DBSTATUS_S_OK || status == DBSTATUS_S_TRUNCATED)
            return length;
        diag.push_back({L"A parameter value cannot be converted to the parameter's type.", L"22018",
                        0, backend::Failure::conversion, set + 1});
        return ~DBLENGTH(0);
    };
    switch (type) {
    case OdbcValueType::int64: {
        LONGLONG v = 0;
        if (cell.type == DBTYPE_I8 || cell.type == DBTYPE_BOOL)
            v = cell.v.i8;
        else if (convert(DBTYPE_I8, &v, sizeof v) == ~DBLENGTH(0))
            return false;
        return arrays.SetInt64(parameter, set, v);
    }
    case OdbcValueType::real64: {
        double v = 0;
        if (cell.type == DBTYPE_R8)
            v = cell.v.r8;
        else if (convert(DBTYPE_R8, &v, sizeof v) == ~DBLENGTH(0))
            return false;
        return arrays.SetReal64(parameter, set, v);
    }
    case OdbcValueType::boolean:
        if (cell.type == DBTYPE_BOOL || cell.type == DBTYPE_I8)
            return arrays.SetBoolean(parameter, set, cell.v.i8 != 0);
        break;
    case OdbcValueType::narrowText: {
        if (cell.type == DBTYPE_WSTR) // an input and output text
            return arrays.SetNarrowText(parameter, set,
                                        hdbtext::Utf8FromWide(std::wstring_view(
                                            reinterpret_cast<const wchar_t*>(values.Data(cell)),
                                            cell.length / sizeof(wchar_t))));
        char text[64];
        const DBLENGTH length = convert(DBTYPE_STR, text, sizeof text);
        if (length == ~DBLENGTH(0))
            return false;
        return arrays.SetNarrowText(parameter, set, std::string_view(text, length));
    }
    case OdbcValueType::date:
        if (cell.type == DBTYPE_DBDATE)
            return arrays.SetDate(parameter, set,
                                  {cell.v.date.year, cell.v.date.month, cell.v.date.day});
        break;
    case OdbcValueType::time:
        if (cell.type == DBTYPE_DBTIME)
            return arrays.SetTime(parameter, set,
                                  {cell.v.time.hour, cell.v.time.minute, cell.v.time.second});
        break;
    case OdbcValueType::timestamp:
        if (cell.type == DBTYPE_DBTIMESTAMP) {
            const DBTIMESTAMP& t = cell.v.timestamp;
            return arrays.SetTimestamp(
                parameter, set, {t.year, t.month, t.day, t.hour, t.minute, t.second, t.fraction});
        }
        break;
    case OdbcValueType::binary:
        if (cell.type == DBTYPE_BYTES)
            return arrays.SetBinary(
                parameter, set,
                std::span(reinterpret_cast<const std::byte*>(values.Data(cell)), cell.length));
        break;
    case OdbcValueType::wideText:
    case OdbcValueType::guid:
        break;
    }
    // Everything else goes as text, which the server converts to the
    // column's type.
    std::wstring wide;
    if (cell.type == DBTYPE_WSTR) {
        wide.assign(reinterpret_cast<const wchar_t*>(values.Data(cell)),
                    cell.length / sizeof(wchar_t));
    } else {
        wchar_t text[128];
        const DBLENGTH length = convert(DBTYPE_WSTR, text, sizeof text);
        if (length == ~DBLENGTH(0))
            return false;
        wide.assign(text, length / sizeof(wchar_t));
    }
    if (type != OdbcValueType::wideText) {
        diag.push_back({L"A parameter value does not match the parameter's type.", L"07006", 0,
                        backend::Failure::conversion, set + 1});
        return false;
    }
    return arrays.SetWideText(parameter, set, hdbtext::Utf16FromWide(wide));
}

} // namespace hdb::bridge
