// The program's own words (prompts, counts, usage errors) in English and
// German. The library's reports come in the thread's language already; these
// follow the same choice, so one run never mixes the two.
#pragma once

#include <string>

class CTexts {
public:
    enum class Id {
        RowsAffected,   // "%s rows affected"
        OneRowAffected, // "1 row affected"
        RowCount,       // "(%d rows)"
        OneRow,         // "(1 row)"
        Characters,     // "chars": the unit of a cut text's full length
        Bytes,          // "bytes": the unit of a cut binary value's full length
        Password,       // password prompt
        UsageError,     // caption of a wrong command line
        ProgramError,   // caption of the program's own failures
        CannotOpenFile, // "Cannot open file '%s'"
        Unterminated,   // the input ended inside a statement
        Catalogs,       // header of --catalogs
        Canceled,       // a statement stopped by Ctrl-C
    };

    // German when the calling thread's user-interface language is German.
    static bool IsGerman();
    static const char* Get(Id id);
    // Get(id) with every "%s" replaced by `argument` in turn.
    static std::string Format(Id id, const std::string& argument);
};
