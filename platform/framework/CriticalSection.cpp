#include "hdbplatform/CriticalSection.h"

#include <chrono>
#include <thread>

#ifdef _WIN32

CCriticalSection::CCriticalSection() {
    InitializeCriticalSection(&m_section);
}

CCriticalSection::CCriticalSection(DWORD spinCount) {
    InitializeCriticalSectionAndSpinCount(&m_section, spinCount);
}

CCriticalSection::~CCriticalSection() {
    DeleteCriticalSection(&m_section);
}

BOOL CCriticalSection::Lock() {
    EnterCriticalSection(&m_section);
    return TRUE;
}

bool CCriticalSection::TryLock() {
    return TryEnterCriticalSection(&m_section) != FALSE;
}

BOOL CCriticalSection::Unlock() {
    LeaveCriticalSection(&m_section);
    return TRUE;
}

#else

CCriticalSection::CCriticalSection() = default;

CCriticalSection::CCriticalSection(DWORD /*spinCount*/) {}

CCriticalSection::~CCriticalSection() = default;

BOOL CCriticalSection::Lock() {
    m_mutex.lock();
    return TRUE;
}

bool CCriticalSection::TryLock() {
    return m_mutex.try_lock();
}

BOOL CCriticalSection::Unlock() {
    m_mutex.unlock();
    return TRUE;
}

#endif

BOOL CCriticalSection::Lock(DWORD timeout) {
    if (timeout == WaitForever)
        return Lock();
    // Neither lock offers a timed wait that every tool chain and race checker
    // understands; waiting with a time-out is rare, so it polls.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
    while (!TryLock()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return FALSE;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return TRUE;
}
