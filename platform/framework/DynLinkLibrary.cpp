#include "hdbplatform/DynLinkLibrary.h"

#include "hdbplatform/CriticalSection.h"
#include "hdbplatform/SingleLock.h"

#include "StringConversion.h"

#include <algorithm>
#include <vector>

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace {

struct Registry {
    CCriticalSection lock;
    std::vector<CDynLinkLibrary*> libraries;
};

// Never destroyed: registrations live until the process ends and may be
// looked up from other static destructors.
Registry& TheRegistry() {
    static Registry* registry = new Registry;
    return *registry;
}

// The file of the module that contains address (the module's own static
// AFX_EXTENSION_MODULE), or of hModule when one was given.
std::wstring ModulePath(HMODULE hModule, const void* address) {
#ifdef _WIN32
    HMODULE module = hModule;
    if (!module && !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                       static_cast<LPCWSTR>(address), &module))
        return std::wstring();
    std::vector<wchar_t> buffer(32768);
    const DWORD length =
        GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    return std::wstring(buffer.data(), length);
#else
    // A handle from dlopen does not name its file portably; the address does.
    Dl_info info{};
    if (!dladdr(address, &info) || !info.dli_fname)
        return std::wstring();
    return hdbtext::WideFromAnsi(info.dli_fname);
#endif
}

// "/dir/libname.so.1" -> "name"; "C:\\dir\\name.dll" -> "name".
std::wstring ModuleNameOf(const std::wstring& path) {
    const std::size_t slash = path.find_last_of(L"/\\");
    std::wstring name = slash == std::wstring::npos ? path : path.substr(slash + 1);
    if (name.size() > 3 && name.compare(0, 3, L"lib") == 0)
        name.erase(0, 3);
    const std::size_t dot = name.find(L'.');
    if (dot != std::wstring::npos && dot > 0)
        name.erase(dot);
    return name;
}

} // namespace

BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE hModule) {
    if (!state.bInitialized) {
        state.hModule = hModule;
        state.hResource = hModule;
        state.bInitialized = TRUE;
    }
    return TRUE;
}

void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all) {
    std::vector<CDynLinkLibrary*> leaving;
    {
        Registry& registry = TheRegistry();
        CSingleLock guard(&registry.lock, TRUE);
        for (CDynLinkLibrary* library : registry.libraries)
            if (all || &library->GetExtensionModule() == &state)
                leaving.push_back(library);
    }
    // Deleted outside the lock: the destructor takes it to leave the list.
    for (CDynLinkLibrary* library : leaving)
        delete library;
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system)
    : m_hModule(state.hModule), m_hResource(state.hResource), m_bSystem(system), m_state(state),
      m_modulePath(ModulePath(state.hModule, &state)), m_moduleName(ModuleNameOf(m_modulePath)) {
    Registry& registry = TheRegistry();
    CSingleLock guard(&registry.lock, TRUE);
    registry.libraries.push_back(this);
}

CDynLinkLibrary::~CDynLinkLibrary() {
    Registry& registry = TheRegistry();
    CSingleLock guard(&registry.lock, TRUE);
    std::erase(registry.libraries, this);
}

std::size_t CDynLinkLibrary::RegisteredCount() {
    Registry& registry = TheRegistry();
    CSingleLock guard(&registry.lock, TRUE);
    return registry.libraries.size();
}

CDynLinkLibrary* CDynLinkLibrary::FindByModuleName(const wchar_t* name) {
    if (!name)
        return nullptr;
    Registry& registry = TheRegistry();
    CSingleLock guard(&registry.lock, TRUE);
    auto found = std::find_if(registry.libraries.begin(), registry.libraries.end(),
                              [name](const CDynLinkLibrary* library) {
                                  return _wcsicmp(library->GetModuleName().c_str(), name) == 0;
                              });
    return found == registry.libraries.end() ? nullptr : *found;
}
