#include "Reporter.h"

#include "StringConversion.h"

void CReporter::Attach(CBaseOLEDBClass& object) {
    object.SetCallBackForErrorMessages(&CReporter::OnError, this);
    object.SetCallBackForSuccessMessages(&CReporter::OnSuccess, this);
}

std::string CReporter::Tidy(const std::wstring& text) {
    std::string utf8 = hdbtext::Utf8FromWide(text);
    std::string tidy;
    tidy.reserve(utf8.size());
    for (char c : utf8)
        if (c != '\r')
            tidy += c;
    while (!tidy.empty() && tidy.back() == '\n')
        tidy.pop_back();
    return tidy;
}

void CReporter::OnError(const CBasicString<wchar_t>& message, const CBasicString<wchar_t>& caption,
                        HRESULT, const LoggingSourcePos&, bool, void* userObject) {
    static_cast<CReporter*>(userObject)
        ->Receive(Tidy(std::wstring(caption)), Tidy(std::wstring(message)), true);
}

void CReporter::OnSuccess(const CBasicString<wchar_t>& message,
                          const CBasicString<wchar_t>& caption, HRESULT, const LoggingSourcePos&,
                          bool, void* userObject) {
    static_cast<CReporter*>(userObject)
        ->Receive(Tidy(std::wstring(caption)), Tidy(std::wstring(message)), false);
}

void CReporter::Write(const std::string& caption, const std::string& text) {
    Receive(caption, text, true);
}

void CReporter::Receive(std::string caption, std::string text, bool error) {
    if (m_holding) {
        m_held.push_back({std::move(caption), std::move(text), error});
        return;
    }
    if (error)
        ++m_errors;
    std::fflush(stdout); // keep the order of results and reports on a shared terminal
    std::fprintf(m_stream, "%s\n%s\n", caption.c_str(), text.c_str());
    std::fflush(m_stream);
}

void CReporter::Hold() {
    m_holding = true;
}

void CReporter::Release(size_t dropLast) {
    m_holding = false;
    std::vector<Held> held;
    held.swap(m_held);
    const size_t keep = held.size() > dropLast ? held.size() - dropLast : 0;
    for (size_t i = 0; i < keep; ++i)
        Receive(std::move(held[i].caption), std::move(held[i].text), held[i].error);
}
