#include "Texts.h"

#include "haldendb/haldendb.h"

namespace {

struct Entry {
    CTexts::Id id;
    const char* english;
    const char* german;
};

constexpr Entry kTexts[] = {
    {CTexts::Id::RowsAffected, "%s rows affected", "%s Zeilen betroffen"},
    {CTexts::Id::OneRowAffected, "1 row affected", "1 Zeile betroffen"},
    {CTexts::Id::RowCount, "(%s rows)", "(%s Zeilen)"},
    {CTexts::Id::OneRow, "(1 row)", "(1 Zeile)"},
    {CTexts::Id::Characters, "chars", "Zeichen"},
    {CTexts::Id::Bytes, "bytes", "Bytes"},
    {CTexts::Id::Password, "Password: ", "Passwort: "},
    {CTexts::Id::UsageError, "Usage error", "Aufruffehler"},
    {CTexts::Id::ProgramError, "Error", "Fehler"},
    {CTexts::Id::CannotOpenFile, "Cannot open file '%s'", "Kann die Datei '%s' nicht öffnen"},
    {CTexts::Id::Unterminated, "The input ended inside a statement; it was run as it stands.",
     "Die Eingabe endete mitten in einer Anweisung; sie wurde so ausgeführt."},
    {CTexts::Id::Canceled, "The statement was cancelled.", "Die Anweisung wurde abgebrochen."},
    {CTexts::Id::Catalogs, "Databases", "Datenbanken"},
};

} // namespace

bool CTexts::IsGerman() {
    return PRIMARYLANGID(CMessageTable::CurrentLanguage()) == LANG_GERMAN;
}

const char* CTexts::Get(Id id) {
    const bool german = IsGerman();
    for (const Entry& entry : kTexts)
        if (entry.id == id)
            return german ? entry.german : entry.english;
    return "";
}

std::string CTexts::Format(Id id, const std::string& argument) {
    std::string text = Get(id);
    for (size_t at = text.find("%s"); at != std::string::npos; at = text.find("%s", at)) {
        text.replace(at, 2, argument);
        at += argument.size();
    }
    return text;
}
