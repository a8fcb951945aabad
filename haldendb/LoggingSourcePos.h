// The source position that accompanies every report of the library.
//
// Every reporting call site builds one from compile-time constants with
// HDB_SOURCE_POS, so a position costs no allocation and its texts live as long
// as the program. An application receives it in its callback and may log it.
#pragma once

#include "haldendb/Platform.h"

#include <cstddef>
#include <cstdint>

struct LoggingSourcePos {
    CBasicStringView<wchar_t> sourceFile;     // name of the source file, without its folder
    std::uint32_t line = 0;                   // line of the call site
    CBasicStringView<wchar_t> buildTimeStamp; // "Wed Aug 13 09:40:44 2025": the file's build time
    CBasicStringView<wchar_t> function;       // full signature of the reporting function
};

#define HDB_WIDEN_LITERAL_(text) L##text
#define HDB_WIDEN_LITERAL(text) HDB_WIDEN_LITERAL_(text)

// A view of a wide string literal, its length known at compile time. Takes
// arrays only, so a pointer passed by mistake does not compile.
template <std::size_t N>
constexpr CBasicStringView<wchar_t> HdbLiteralView(const wchar_t (&literal)[N]) noexcept {
    return CBasicStringView<wchar_t>(literal, N - 1);
}

#ifdef __FILE_NAME__
#define HDB_SOURCE_FILE_NAME __FILE_NAME__
#else
#define HDB_SOURCE_FILE_NAME __FILE__
#endif

// The position of the current line. `signature` is a wide literal holding the
// function's signature as the reports show it on every platform, for example
// L"bool __cdecl CDataSource::Connect(void)".
#define HDB_SOURCE_POS(signature)                                                                  \
    LoggingSourcePos {                                                                             \
        HdbLiteralView(HDB_WIDEN_LITERAL(HDB_SOURCE_FILE_NAME)),                                   \
            static_cast<std::uint32_t>(__LINE__),                                                  \
            HdbLiteralView(HDB_WIDEN_LITERAL(__TIMESTAMP__)), HdbLiteralView(signature)            \
    }
