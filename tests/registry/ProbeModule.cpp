// A module serving CLSID_RegistryProbe, written the way a provider module
// writes its entry point.
#include "Probe.h"

#include "hdbplatform/ClassRegistry.h"

#include <atomic>
#include <dlfcn.h>

namespace {

int g_loads = 0;
[[maybe_unused]] const int g_countLoad = ++g_loads;

class Probe final : public IRegistryProbe {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr)
            return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IRegistryProbe) {
            *ppv = static_cast<IRegistryProbe*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_refs; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }
    int STDMETHODCALLTYPE LoadCount() override { return g_loads; }
    const char* STDMETHODCALLTYPE ModulePath() override {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(&DllGetClassObject), &info);
        return info.dli_fname;
    }

private:
    std::atomic<ULONG> m_refs{1};
};

} // namespace

extern "C" HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv) {
    if (clsid != CLSID_RegistryProbe)
        return CLASS_E_CLASSNOTAVAILABLE;
    return HdbClassFactory<Probe>::GetClassObject(riid, ppv);
}
