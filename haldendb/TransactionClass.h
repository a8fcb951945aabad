// CTransactionClass: the local transaction of one session of a data source.
//
// The constructor makes sure the data source is connected (re-connecting it
// if not) and opens one session on it; commands built from the transaction
// run in that session, so their statements belong to the transaction. A
// transaction on a data source that cannot connect has no session, and all
// its operations answer false.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/DataSource.h"

#include <memory>

class HALDENDB_API CTransactionClass : public CBaseOLEDBClass {
public:
    // Copies the data source's reporting frame, re-connects the data source
    // when it is not connected, and opens the session (reports 15507 or
    // 15508 when it cannot). Never throws for these failures; a severe
    // server error still raises severe_sql_error.
    explicit CTransactionClass(const std::shared_ptr<CDataSource>& dataSource);
    CTransactionClass(const CTransactionClass&) = delete;
    CTransactionClass& operator=(const CTransactionClass&) = delete;
    // Releases the session's transaction interface and the session factory.
    ~CTransactionClass() override;

    // When the data source is not connected: reports so, connects it, and
    // reports the success when it is connected then.
    void EnsureConnected() const;

    // Each is true only when the provider answers exactly S_OK: a provider
    // that only partly did what was asked answers a success code of its own,
    // and the caller must not go on as if the transaction were in the state
    // it asked for. False without a session. They report nothing.
    bool StartTransaction(ISOLEVEL isolationLevel, ULONG isolationFlags,
                          ITransactionOptions* options, ULONG* transactionLevel) const;
    bool CommitTransaction(bool retaining, DWORD commitFlags, DWORD resourceManagerFlags) const;
    bool RollbackTransaction(BOID* reason, bool retaining, bool asynchronous) const;

    const std::shared_ptr<CDataSource>& GetDataSource() const { return m_spDataSource; }
    // The session's transaction interface (null without a session); the
    // reference stays the transaction's.
    operator ITransactionLocal*() const { return m_pITransactionLocal; }

private:
    std::shared_ptr<CDataSource> m_spDataSource;
    ITransactionLocal* m_pITransactionLocal = nullptr;
    IDBCreateSession* m_pIDBCreateSession = nullptr;
};
