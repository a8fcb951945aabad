// hdb: runs SQL through haldendb and prints what comes back.
#include "LineEditor.h"
#include "Options.h"
#include "Reporter.h"
#include "Shell.h"
#include "Texts.h"

#include "haldendb/haldendb.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int ExitOk = 0;
constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;

void ChooseLanguage(COptions::Language language) {
    if (language == COptions::Language::German)
        SetThreadUILanguage(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN));
    else if (language == COptions::Language::English)
        SetThreadUILanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
}

// Terminal widths of wide characters need a UTF-8 character type; output is
// UTF-8 whatever the locale says.
void ChooseCharacterType() {
    if (std::setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

std::string Password(const COptions& options) {
    if (options.promptPassword)
        return CLineEditor::ReadHidden(CTexts::Get(CTexts::Id::Password)).value_or("");
    const char* fromEnvironment = std::getenv(COptions::PasswordVariable);
    return fromEnvironment ? fromEnvironment : "";
}

int Run(const COptions& options, CReporter& reporter) {
    CShell shell(options, reporter);
    if (!shell.Connect(Password(options)))
        return ExitFailed;
    bool ok = true;
    if (options.catalogs)
        ok = shell.ListCatalogs() && ok;
    for (const COptions::Source& source : options.sources)
        ok = (source.isFile ? shell.RunFile(source.text) : shell.RunText(source.text)) && ok;
    if (options.sources.empty() && !options.catalogs)
        ok = (CLineEditor::IsInteractive() ? shell.RunInteractive() : shell.RunFile("-")) && ok;
    return ok ? ExitOk : ExitFailed;
}

} // namespace

int main(int argc, char** argv) {
    ChooseCharacterType();
    COptions options;
    std::string error;
    const bool parsed = options.Parse(argc, argv, error);
    ChooseLanguage(options.language);
    CReporter reporter;
    if (!parsed) {
        reporter.Write(CTexts::Get(CTexts::Id::UsageError), error + " (hdb --help)");
        return ExitUsage;
    }
    if (options.help) {
        std::fputs(COptions::Usage().c_str(), stdout);
        return ExitOk;
    }
    try {
        return Run(options, reporter);
    } catch (const severe_sql_error&) {
        // The library reported the severe error before it threw.
        return ExitFailed;
    }
}
