#include "haldendb/MessageTable.h"

#include <algorithm>
#include <iterator>

namespace {

struct MessageEntry {
    unsigned int id;
    const wchar_t* english;
    const wchar_t* german;
};

// Sorted by number; the texts are the library's published wording, odd
// spelling included, and must not be corrected.
constexpr MessageEntry messages[] = {
    {15500, L"HResult of 0x%lx (%ld) returned\r\n",
     L"Ein Fehlerwert von 0x%lx (%ld) wurde zurückgegeben\r\n"},
    {15501, L"OLE DB Error: Can't release accessor",
     L"OLE DB Fehler: Kann das Zugriffsobjekt nicht freigeben"},
    {15502, L"OLE DB Error: Can't create accessor",
     L"OLE DB Fehler: Kann das Zugriffsobjekt nicht erstellen"},
    {15503, L"OLE DB Error: Can't release memory allocator",
     L"OLE DB Fehler: Kann den Speicherverwaltungsobjekt nicht freigeben"},
    {15504, L"OLE DB Error: Can't set data to row",
     L"OLE DB Fehler: Kann keine Daten in diese Zeile schreiben"},
    {15505, L"OLE DB Error: Can't query for ColumnsInfo",
     L"OLE DB Fehler: Kann nicht nach dem Objekt ColumnsInfo suchen"},
    {15506, L"OLE DB Error: Can't get ColumnsInfo",
     L"OLE DB Fehler: Kann das Objekt ColumnsInfo nicht erhalten"},
    {15507, L"OLE DB Error: Can't query for session object",
     L"OLE DB Fehler: Kann nicht nach einem Sitzungsobjekt suchen."},
    {15508, L"OLE DB Error: Can't create session", L"OLE DB Fehler: Kann keine Sitzung anlegen."},
    {15509, L"OLE DB Error: Can't find prepared interface",
     L"OLE DB Fehler: Kann das vorbereitende Interface nicht finden."},
    {15510, L"OLE DB Error: Can't execute command",
     L"OLE DB Fehler: Kann das Kommando nicht ausführen"},
    {15511, L"OLE DB Error: Can't create command",
     L"OLE DB Fehler: Kann das Kommando nicht erstellen"},
    {15512, L"OLE DB Error: Can't set command text",
     L"OLE DB Fehler: Kann das Kommando nicht setzen"},
    {15513, L"OLE DB Error: Can't query command properties",
     L"OLE DB Fehler: Kann die Kommando-Eingeschaften nicht abfragen"},
    {15514, L"OLE DB Error: Can't allocate needed memory",
     L"OLE DB Fehler: Kann den benötigten Speicher nicht bereitstellen"},
    {15515, L"OLE DB Error: Can't create instance",
     L"OLE DB Fehler: Kann die Instanz nicht erstellen"},
    {15516, L"OLE DB Error: Can't release instance",
     L"OLE DB Fehler: Kann die Instanz nicht freigeben"},
    {15517, L"OLE DB Error: Can't connect to database",
     L"OLE DB Fehler: Kann keine Verbindung zur Datenbank herstellen"},
    {15518, L"OLE DB Error: Can't disconnect from database",
     L"OLE DB Fehler: Kann die Verbindung zur Datenbank nicht lösen."},
    {15519, L"OLE DB Error: Can't open rowset", L"OLE DB Fehler: Kann keine Ergebnismenge öffnen"},
    {15520, L"OLE DB Error: Can't insert row", L"OLE DB Fehler: Kann keine Daten einfügen"},
    {15521, L"OLE DB Error: Can't commit insert of rows",
     L"OLE DB Fehler: Kann die eingefügten Daten nicht speichern."},
    {15522, L"OLE DB Error: Can't open index-rowset",
     L"OLE DB Fehler: Kann kein indizierte Ergebnismege öffnen"},
    {15523, L"OLE DB Error: Can't find interface IID_ICommandWithParameters",
     L"OLE DB Fehler: Kann das Objekt  IID_ICommandWithParameters nicht finden"},
    {15524, L"OLE DB Error: Can't set parameters",
     L"OLE DB Fehler: Kann die Parameter nicht setzen"},
    {15525, L"OLE DB Error: Can't release rowset",
     L"OLE DB Fehler: Kann die Ergebnismenge nicht freigeben"},
    {15526, L"OLE DB Error: Can't release rows from rowset",
     L"OLE DB Fehler: Kann die Ergebenisse nicht aus der Ergebnismenge löschen"},
    {15527, L"OLE DB Error: Can't get next rows from rowset",
     L"OLE DB Fehler: Kann keine weiteren Ergebnisse aus der Ergebnismenge erhalten"},
    {15528, L"OLE DB Error: Can't get data from row",
     L"OLE DB Fehler: Kann keine Daten aus dem Ergebnis erhalten"},
    {15529, L"OLE DB Error: Can't allocate enough memory to import the file.",
     L"OLE DB Fehler: Kann keinen ausreichenden Speicherbereich für den Import der Datei "
     L"bereitstellen."},
    {15530, L"OLE DB Error: Can't get interface to store blob data.",
     L"OLE DB Fehler: Kann kein Interface zum Speichern der BLOB-Daten erhalten."},
    {15531, L"Error", L"Fehler"},
    {15532,
     L"Information '%s' is too long for the database column '%s'. Information was shorted to the "
     L"maximum length of the column.",
     L"Die Information '%s' ist zu groß für die Datenbankspalte '%s' und wurde daher auf die "
     L"maximale Länge gekürzt."},
    {15533, L"Data to big for this database column.",
     L"Daten sind zu groß für diese Datenbankspalte."},
    {15534, L"OLE DB Error: Couldn't create DB_Properties object.",
     L"OLE DB Fehler: Kann DB_Properties-Objekt nicht erstellen"},
    {15535, L"OLE DB Error: Couldn't read DB_Properties.",
     L"OLE DB Fehler: Konnte die DB_Properties nicht auslesen"},
    {15536, L"Bad bindinfo found for column: %I64u.",
     L"Falsche Bindinfo gesetzt für die Abfrage in Spalte: %I64u."},
    {15537, L"A none supported conversion is defined for column: %I64u.",
     L"Eine nicht untestützte Konvertierung wurde für die Spalte: %I64u definiert."},
    {15538, L"Wrong column ordinal: %I64u given.",
     L"Eine falsche Spaltennummer: %I64u wurde übergben."},
    {15539, L"Bas storage flag given for column: %I64u.",
     L"Falsche Speicherungsflags wurden für die Spalte: %I64u übergeben."},
    {15540, L"No interface found for column: %I64u.",
     L"Kein Interface gefunden für Spalte: %I64u."},
    {15541, L"Multiple storages defined for column: %I64u.",
     L"Mehrfache Storages für Spalte: %I64u angegeben."},
    {15542, L"Success", L"Erfolg"},
    {15543, L"Couldn't get any additional error information.",
     L" Keine zusätzlichen Fehlerinformationen vorhanden."},
    {15544, L"Error setting the language: %d", L"Fehler beim Setzen der Sprache: %d"},
    {15545, L"Error of database column data type: Can't convert data from SQL data to native data.",
     L"DB Spaltendatentyp-Fehler: Kann die Daten mit den vorgegebenen Datentypen nicht aus der "
     L"SQL-Spalte lesen."},
};

bool IsGerman(LANGID language) {
    return PRIMARYLANGID(language) == LANG_GERMAN;
}

} // namespace

LANGID CMessageTable::CurrentLanguage() {
    return GetThreadUILanguage();
}

const wchar_t* CMessageTable::Find(unsigned int id, LANGID language) {
    const auto* entry =
        std::lower_bound(std::begin(messages), std::end(messages), id,
                         [](const MessageEntry& e, unsigned int n) { return e.id < n; });
    if (entry == std::end(messages) || entry->id != id)
        return nullptr;
    return IsGerman(language) ? entry->german : entry->english;
}

const wchar_t* CMessageTable::Find(unsigned int id) {
    return Find(id, CurrentLanguage());
}

const wchar_t* CMessageTable::TextOrUnknown(unsigned int id) {
    const wchar_t* text = Find(id);
    return text ? text : UnknownResourceText;
}
