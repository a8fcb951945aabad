// Query optimizer hints: three pieces of text the select builders splice
// into every SELECT they write, before the field list, after it and after the
// whole statement. They carry the command's row limit to the server so that
// it plans for a small, fast first result.
//
// A command owns its optimizer and the optimizer never outlives it, so the
// back pointer needs no reference count. Only SQL Server databases of the
// plain eSQLServer type get one (see CCommandClass).
#pragma once

#include "haldendb/Platform.h"

class CCommandClass;

class HALDENDB_API CQueryOptimizer {
public:
    // `command` may be null: every hint is then empty.
    explicit CQueryOptimizer(CCommandClass* command) : m_pCommand(command) {}
    CQueryOptimizer(const CQueryOptimizer&) = delete;
    CQueryOptimizer& operator=(const CQueryOptimizer&) = delete;
    virtual ~CQueryOptimizer() = default;

    // Written right after "SELECT ", directly followed by the field list
    // (no blank of its own: the caller's field text decides the spacing).
    virtual CBasicString<wchar_t> GetBeforeFieldStatement() = 0;
    // Written right after the field list.
    virtual CBasicString<wchar_t> GetAfterFieldStatement() = 0;
    // Written after the whole statement.
    virtual CBasicString<wchar_t> GetAfterSelectStatement() = 0;

protected:
    CCommandClass* m_pCommand;
};

// TOP n before the fields when the command has a row limit, and the FAST
// hint after the statement: FAST n with the limit, FAST 20 (one fetch's
// worth of rows) without one, nothing for a limit of 0.
class HALDENDB_API CSQLServerQueryOptimizer : public CQueryOptimizer {
public:
    using CQueryOptimizer::CQueryOptimizer;

    CBasicString<wchar_t> GetBeforeFieldStatement() override;
    CBasicString<wchar_t> GetAfterFieldStatement() override;
    CBasicString<wchar_t> GetAfterSelectStatement() override;
};
