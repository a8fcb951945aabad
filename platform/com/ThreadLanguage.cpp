// The user-interface language of each thread, as Windows keeps it. A thread
// that has not chosen one follows the process default, which on Linux comes
// from the locale the environment names.
#include "hdbplatform/WinApi.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

constexpr LANGID kGerman = MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN);
constexpr LANGID kEnglishUs = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);

// 0 while the thread follows the process default.
thread_local LANGID t_chosenLanguage = 0;

// The first non-empty of the variables that decide the language of messages,
// in the order the C library consults them.
const char* MessageLocaleName() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value && *value)
            return value;
    }
    return "";
}

LANGID DefaultLanguage() {
    return std::strncmp(MessageLocaleName(), "de", 2) == 0 ? kGerman : kEnglishUs;
}

} // namespace

LANGID GetUserDefaultUILanguage() {
    return DefaultLanguage();
}

LANGID GetThreadUILanguage() {
    return t_chosenLanguage != 0 ? t_chosenLanguage : DefaultLanguage();
}

LANGID SetThreadUILanguage(LANGID LangId) {
    t_chosenLanguage = LangId;
    return LangId != 0 ? LangId : DefaultLanguage();
}
