// COM initialisation. The runtime needs no apartments, so initialising only
// keeps the per-thread count and the model the thread chose, to give the
// answers callers check for: S_FALSE when the thread was already initialised
// and RPC_E_CHANGED_MODE when it asks for the other model.
#include "hdbplatform/WinApi.h"

namespace {

struct ThreadInitialisation {
    ULONG count = 0;
    bool apartmentThreaded = false;
};

thread_local ThreadInitialisation t_init;

} // namespace

HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) {
    const bool apartmentThreaded = (dwCoInit & COINIT_APARTMENTTHREADED) != 0;
    if (t_init.count != 0) {
        if (t_init.apartmentThreaded != apartmentThreaded)
            return RPC_E_CHANGED_MODE;
        ++t_init.count;
        return S_FALSE;
    }
    t_init.count = 1;
    t_init.apartmentThreaded = apartmentThreaded;
    return S_OK;
}

HRESULT CoInitialize(LPVOID pvReserved) {
    return CoInitializeEx(pvReserved, COINIT_APARTMENTTHREADED);
}

// One call per successful (S_OK or S_FALSE) initialisation; extra calls are
// ignored.
void CoUninitialize() {
    if (t_init.count != 0)
        --t_init.count;
}
