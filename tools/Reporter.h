// Receives the library's reports and writes them to standard error: the
// caption on one line, the text on the lines below it, in UTF-8. It counts the
// error reports so that the program can tell whether something failed, and it
// can hold reports back for a moment (see Hold / Release).
#pragma once

#include "haldendb/haldendb.h"

#include <cstdio>
#include <string>
#include <vector>

class CReporter {
public:
    explicit CReporter(std::FILE* stream = stderr) : m_stream(stream) {}

    // Installs both callbacks on `object`; objects made from it inherit them.
    void Attach(CBaseOLEDBClass& object);

    // Writes an error report of the program itself (it counts as an error).
    void Write(const std::string& caption, const std::string& text);

    // From now on, reports are kept instead of written.
    void Hold();
    // Writes what was kept, except the last `dropLast` reports, and goes back
    // to writing at once.
    void Release(size_t dropLast = 0);

    // Error reports written (held reports count once they are written).
    int ErrorCount() const { return m_errors; }

    static void OnError(const CBasicString<wchar_t>& message, const CBasicString<wchar_t>& caption,
                        HRESULT hr, const LoggingSourcePos& position, bool uiEnabled,
                        void* userObject);
    static void OnSuccess(const CBasicString<wchar_t>& message,
                          const CBasicString<wchar_t>& caption, HRESULT hr,
                          const LoggingSourcePos& position, bool uiEnabled, void* userObject);

private:
    struct Held {
        std::string caption;
        std::string text;
        bool error;
    };
    void Receive(std::string caption, std::string text, bool error);
    // The library writes Windows line ends and sometimes a trailing one.
    static std::string Tidy(const std::wstring& text);

    std::FILE* m_stream;
    int m_errors = 0;
    bool m_holding = false;
    std::vector<Held> m_held;
};
