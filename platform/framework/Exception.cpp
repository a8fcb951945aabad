#include "hdbplatform/Exception.h"

void CException::Delete() {
    if (m_bAutoDelete)
        delete this;
}

BOOL CException::GetErrorMessage(LPWSTR error, UINT maxError, UINT* helpContext) const {
    if (helpContext != nullptr)
        *helpContext = 0;
    if (error != nullptr && maxError > 0)
        error[0] = L'\0';
    return FALSE;
}
