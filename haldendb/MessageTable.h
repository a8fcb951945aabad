// The library's string table: numbered message texts 15500..15545 in English
// and German, compiled into the library so that every platform looks them up
// the same way, without resource files.
#pragma once

#include "haldendb/Platform.h"

class HALDENDB_API CMessageTable {
public:
    // The text given for a number that the table does not hold.
    static constexpr const wchar_t* UnknownResourceText =
        L"Unknown ResourceId\r\nCheck Installation";

    // The language the calling thread's reports use: German when the primary
    // language of the thread's user-interface language is German, else English.
    static LANGID CurrentLanguage();

    // The text of `id` in `language` (German for any German language id,
    // English for every other); null when the table has no such number.
    static const wchar_t* Find(unsigned int id, LANGID language);

    // The text of `id` in the calling thread's language; null when unknown.
    static const wchar_t* Find(unsigned int id);

    // The text of `id` in the calling thread's language, or UnknownResourceText.
    static const wchar_t* TextOrUnknown(unsigned int id);
};
