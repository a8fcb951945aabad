#include "hdbplatform/SingleLock.h"

CSingleLock::CSingleLock(CSyncObject* object, BOOL initialLock) : m_object(object) {
    if (initialLock)
        Lock();
}

CSingleLock::~CSingleLock() {
    Unlock();
}

BOOL CSingleLock::Lock(DWORD timeout) {
    if (!m_object)
        return FALSE;
    if (!m_locked)
        m_locked = m_object->Lock(timeout) ? TRUE : FALSE;
    return m_locked;
}

BOOL CSingleLock::Unlock() {
    if (m_object && m_locked)
        m_locked = m_object->Unlock() ? FALSE : TRUE;
    return !m_locked;
}
