// The framework's file classes throw a CFileException* that the catcher must
// free; the tests compare only its cause.
#pragma once

#include "hdbplatform/FileException.h"

// Runs operation, expecting a thrown CFileException*; returns its cause (-1
// when nothing was thrown), its operating system error in osError when
// asked, and frees it as every catcher must.
template <class Operation> int CauseThrownBy(Operation operation, LONG* osError = nullptr) {
    try {
        operation();
    } catch (CFileException* error) {
        int cause = error->m_cause;
        if (osError != nullptr)
            *osError = error->m_lOsError;
        error->Delete();
        return cause;
    }
    return -1;
}
