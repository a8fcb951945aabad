// CommandLiveChecker: one pooled session's command factory, lent to one
// command at a time.
//
// A data source keeps a list of these; a command borrows one (the in-use flag
// is set when it is handed out) and gives it back by clearing the flag when
// it is done with it, so the session is reused by the next command instead of
// a new session being opened per command. The checker owns one reference to
// the session's IDBCreateCommand for its whole life.
//
// The flag is atomic: the data source sets it under its pool lock, but a
// command clears it from whatever thread destroys the command.
#pragma once

#include "haldendb/Platform.h"

#include <atomic>

class HALDENDB_API CommandLiveChecker {
public:
    // Takes a reference of its own to `createCommand` (which may be null:
    // the checker then hands out null). Starts free.
    explicit CommandLiveChecker(IDBCreateCommand* createCommand);
    CommandLiveChecker(const CommandLiveChecker&) = delete;
    CommandLiveChecker& operator=(const CommandLiveChecker&) = delete;
    // Releases the session's command factory.
    ~CommandLiveChecker();

    // The session's command factory; the reference stays the checker's.
    IDBCreateCommand* GetCreateCommand() const noexcept { return m_pCreateCommand; }
    operator IDBCreateCommand*() const noexcept { return m_pCreateCommand; }

    bool IsInUse() const noexcept { return m_bInUse.load(); }
    void SetInUse(bool inUse) noexcept { m_bInUse.store(inUse); }
    // Marks the checker in use if it is free; true when this call took it.
    bool TryTake() noexcept;

private:
    IDBCreateCommand* m_pCreateCommand;
    std::atomic<bool> m_bInUse{false};
};
