// The base of the framework's exceptions. They are thrown as pointers to
// heap objects (throw new CXxxException); whoever catches one calls Delete()
// once it is handled, which frees it.
#pragma once

#include "hdbplatform/Com.h"

class CException {
public:
    // autoDelete: whether Delete() frees the object. Exceptions thrown as
    // heap pointers keep the default; one built on the stack (for example to
    // receive an error from CFile::Open) passes FALSE or never calls Delete().
    explicit CException(BOOL autoDelete = TRUE) : m_bAutoDelete(autoDelete) {}
    virtual ~CException() = default;
    CException(const CException&) = default;
    CException& operator=(const CException&) = default;

    // Frees a heap-allocated exception; does nothing for one made with
    // autoDelete FALSE. The pointer must not be used afterwards.
    virtual void Delete();

    // Copies the exception's text into error (at most maxError characters,
    // terminator included; longer texts are cut) and sets *helpContext to 0.
    // FALSE when there is no text or no room; the base class has none.
    virtual BOOL GetErrorMessage(LPWSTR error, UINT maxError, UINT* helpContext = nullptr) const;

    BOOL m_bAutoDelete;
};
