#include "haldendb/QueryOptimizer.h"

#include "haldendb/CommandClass.h"

#include <string>

CBasicString<wchar_t> CSQLServerQueryOptimizer::GetBeforeFieldStatement() {
    if (m_pCommand == nullptr)
        return {};
    const ULONGLONG limit = m_pCommand->GetMaxRowCount();
    if (limit == CCommandClass::NoRowLimit)
        return {};
    return CBasicString<wchar_t>(L"TOP ") + CBasicString<wchar_t>(std::to_wstring(limit));
}

CBasicString<wchar_t> CSQLServerQueryOptimizer::GetAfterFieldStatement() {
    return {};
}

CBasicString<wchar_t> CSQLServerQueryOptimizer::GetAfterSelectStatement() {
    if (m_pCommand == nullptr)
        return {};
    const ULONGLONG limit = m_pCommand->GetMaxRowCount();
    if (limit == 0)
        return {};
    // Without a limit the server is asked to hurry the first fetch's rows.
    const ULONGLONG fast =
        limit == CCommandClass::NoRowLimit ? CCommandClass::GetFetchRowCount() : limit;
    return CBasicString<wchar_t>(L" OPTION (FAST ") + CBasicString<wchar_t>(std::to_wstring(fast)) +
           L")";
}
