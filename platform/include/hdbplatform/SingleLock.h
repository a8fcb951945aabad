// CSingleLock: holds one synchronisation object for a scope. The destructor
// releases the object if this lock still holds it, so early returns and
// exceptions cannot leave it locked.
#pragma once

#include "hdbplatform/CriticalSection.h"

class CSingleLock {
public:
    // initialLock TRUE acquires at once (waiting as long as needed).
    explicit CSingleLock(CSyncObject* object, BOOL initialLock = FALSE);
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;
    ~CSingleLock();

    // Acquires the object unless this lock already holds it; TRUE when held.
    BOOL Lock(DWORD timeout = CSyncObject::WaitForever);
    // Releases the object if this lock holds it; TRUE when no longer held.
    BOOL Unlock();
    BOOL IsLocked() const noexcept { return m_locked; }

private:
    CSyncObject* m_object;
    BOOL m_locked = FALSE;
};
