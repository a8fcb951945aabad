// CSyncObject and CCriticalSection: the class framework's synchronisation
// objects. A critical section is recursive: the thread that holds it may lock
// it again and must unlock it as often.
#pragma once

#include "hdbplatform/Com.h"

#ifndef _WIN32
#include <mutex>
#endif

// Base of the objects a CSingleLock can hold.
class CSyncObject {
public:
    // The framework's "wait forever" (the value of INFINITE).
    static constexpr DWORD WaitForever = 0xFFFFFFFF;

    CSyncObject() = default;
    CSyncObject(const CSyncObject&) = delete;
    CSyncObject& operator=(const CSyncObject&) = delete;
    virtual ~CSyncObject() = default;

    // TRUE when acquired within timeout milliseconds (WaitForever: blocks).
    virtual BOOL Lock(DWORD timeout = WaitForever) = 0;
    // TRUE when released.
    virtual BOOL Unlock() = 0;
};

class CCriticalSection : public CSyncObject {
public:
    CCriticalSection();
    // The spin count tunes the Windows implementation only.
    explicit CCriticalSection(DWORD spinCount);
    ~CCriticalSection() override;

    // Blocks until acquired; always TRUE.
    BOOL Lock();
    // Acquires within timeout milliseconds; 0 only tries.
    BOOL Lock(DWORD timeout) override;
    // Releases one level of ownership. Only the owning thread may call it.
    BOOL Unlock() override;

private:
    bool TryLock();

#ifdef _WIN32
    // The system's own recursive lock (std::mutex is not available with every
    // Windows tool chain).
    CRITICAL_SECTION m_section;
#else
    std::recursive_mutex m_mutex;
#endif
};
