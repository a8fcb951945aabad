// A module serving CLSID_RegistryProbe, written the way a provider module
// writes its entry point.
#include "Probe.h"

#include "hdbplatform/ClassRegistry.h"

#include <dlfcn.h>

namespace {

int g_loads = 0;
[[maybe_unused]] const int g_countLoad = ++g_loads;

class Probe final
    : public hdbcom::ComObject<hdbcom::Implements<IRegistryProbe, IID_IRegistryProbe>> {
public:
    int STDMETHODCALLTYPE LoadCount() override { return g_loads; }
    const char* STDMETHODCALLTYPE ModulePath() override {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(&DllGetClassObject), &info);
        return info.dli_fname;
    }
};

} // namespace

extern "C" HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv) {
    if (clsid != CLSID_RegistryProbe)
        return CLASS_E_CLASSNOTAVAILABLE;
    return HdbClassFactory<Probe>::GetClassObject(riid, ppv);
}
