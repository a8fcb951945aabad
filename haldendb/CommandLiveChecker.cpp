#include "haldendb/CommandLiveChecker.h"

CommandLiveChecker::CommandLiveChecker(IDBCreateCommand* createCommand)
    : m_pCreateCommand(createCommand) {
    if (m_pCreateCommand)
        m_pCreateCommand->AddRef();
}

CommandLiveChecker::~CommandLiveChecker() {
    if (m_pCreateCommand)
        m_pCreateCommand->Release();
}

bool CommandLiveChecker::TryTake() noexcept {
    bool expected = false;
    return m_bInUse.compare_exchange_strong(expected, true);
}
