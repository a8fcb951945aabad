// The class registry: from a class id to the class object that makes its
// instances. The order of look-up and the registry file format are described
// in hdbplatform/ClassRegistry.h.
//
// One recursive mutex guards all state. It is recursive because loading a
// module runs the module's static initialisers, which may register classes on
// the same thread. Class objects are asked for interfaces only after the
// mutex is released, so a factory may itself create objects through here.
#include "hdbplatform/ClassRegistry.h"

#include "GuidText.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <link.h>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

using ModuleEntryPoint = HRESULT (*)(REFCLSID, REFIID, LPVOID*);
using BuiltinEntryPoint = HRESULT (*)(REFIID, void**);

constexpr const char* EntryPointName = "DllGetClassObject";
constexpr const char* RegistryVariable = "HALDENDB_CLASS_REGISTRY";

struct GuidHash {
    std::size_t operator()(const GUID& guid) const noexcept {
        return std::hash<std::string_view>{}(
            std::string_view(reinterpret_cast<const char*>(&guid), sizeof guid));
    }
};

template <class Value> using GuidMap = std::unordered_map<GUID, Value, GuidHash>;

struct RegisteredObject {
    DWORD cookie;
    CLSID clsid;
    DWORD context;
    IUnknown* object; // one reference, given back on revoke
};

// What a look-up found; at most one member is set.
struct Found {
    IUnknown* object = nullptr; // with a reference for the caller
    ModuleEntryPoint module = nullptr;
    BuiltinEntryPoint builtin = nullptr;
    HRESULT error = REGDB_E_CLASSNOTREG;
};

std::string Trimmed(const std::string& text) {
    auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The registry file that ships beside the platform library.
std::filesystem::path InstalledRegistryFile() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&HdbReloadClassRegistry), &info) == 0 ||
        info.dli_fname == nullptr)
        return {};
    std::error_code error;
    auto library = std::filesystem::absolute(info.dli_fname, error);
    if (error)
        return {};
    return library.parent_path() / "haldendb" / "classes.reg";
}

std::vector<std::filesystem::path> RegistryFiles() {
    std::vector<std::filesystem::path> files;
    auto installed = InstalledRegistryFile();
    std::error_code error;
    if (!installed.empty() && std::filesystem::exists(installed, error))
        files.push_back(installed);
    if (const char* list = std::getenv(RegistryVariable)) {
        std::string_view rest(list);
        while (!rest.empty()) {
            auto colon = rest.find(':');
            auto item = rest.substr(0, colon);
            if (!item.empty())
                files.emplace_back(std::string(item));
            rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
        }
    }
    return files;
}

// Adds the entries of one registry file to modules; an unreadable file adds
// nothing.
void ReadRegistryFile(const std::filesystem::path& file, GuidMap<std::string>& modules) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        line = Trimmed(line);
        if (line.empty() || line[0] == '#')
            continue;
        auto equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        std::string id = Trimmed(line.substr(0, equals));
        std::string module = Trimmed(line.substr(equals + 1));
        CLSID clsid;
        if (id.size() != hdbcom::GuidTextLength || !hdbcom::ParseBracedGuid(id.c_str(), clsid) ||
            module.empty())
            continue;
        std::filesystem::path modulePath(module);
        if (modulePath.is_relative())
            modulePath = file.parent_path() / modulePath;
        modules[clsid] = modulePath.string();
    }
}

// dlsym on a handle also searches the module's dependencies; only the
// module's own export counts.
bool IsOwnSymbol(void* handle, void* symbol) {
    link_map* map = nullptr;
    Dl_info info{};
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr ||
        dladdr(symbol, &info) == 0 || info.dli_fname == nullptr || map->l_name == nullptr)
        return false;
    return std::strcmp(info.dli_fname, map->l_name) == 0;
}

class Registry {
public:
    Found Find(REFCLSID clsid, DWORD context) {
        std::lock_guard lock(m_mutex);
        Found found;
        for (auto it = m_objects.rbegin(); it != m_objects.rend(); ++it) {
            if (it->clsid == clsid && (it->context & context) != 0) {
                found.object = it->object;
                found.object->AddRef();
                return found;
            }
        }
        // Modules and built-in classes all run inside this process.
        if ((context & (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER)) == 0)
            return found;
        if (const std::string* module = ModuleOf(clsid)) {
            found.error = EntryPointOf(*module, found.module);
            return found;
        }
        if (auto builtin = m_builtins.find(clsid); builtin != m_builtins.end())
            found.builtin = builtin->second;
        return found;
    }

    DWORD AddObject(REFCLSID clsid, IUnknown* object, DWORD context) {
        std::lock_guard lock(m_mutex);
        object->AddRef();
        DWORD cookie = m_nextCookie++;
        m_objects.push_back({cookie, clsid, context, object});
        return cookie;
    }

    // The registration's reference, or nullptr for an unknown cookie.
    IUnknown* RemoveObject(DWORD cookie) {
        std::lock_guard lock(m_mutex);
        for (auto it = m_objects.begin(); it != m_objects.end(); ++it) {
            if (it->cookie == cookie) {
                IUnknown* object = it->object;
                m_objects.erase(it);
                return object;
            }
        }
        return nullptr;
    }

    void AddModule(REFCLSID clsid, const char* path) {
        std::lock_guard lock(m_mutex);
        m_programmaticModules[clsid] = path;
    }

    void AddBuiltin(REFCLSID clsid, BuiltinEntryPoint entry) {
        std::lock_guard lock(m_mutex);
        m_builtins[clsid] = entry;
    }

    void ForgetFiles() {
        std::lock_guard lock(m_mutex);
        m_fileModules.clear();
        m_filesRead = false;
    }

private:
    const std::string* ModuleOf(REFCLSID clsid) {
        if (auto it = m_programmaticModules.find(clsid); it != m_programmaticModules.end())
            return &it->second;
        if (!m_filesRead) {
            for (const auto& file : RegistryFiles())
                ReadRegistryFile(file, m_fileModules);
            m_filesRead = true;
        }
        if (auto it = m_fileModules.find(clsid); it != m_fileModules.end())
            return &it->second;
        return nullptr;
    }

    // Loads path once; a module that failed to load is tried again next time.
    HRESULT EntryPointOf(const std::string& path, ModuleEntryPoint& entry) {
        if (auto it = m_modules.find(path); it != m_modules.end()) {
            entry = it->second;
        } else {
            void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
            if (handle == nullptr)
                return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
            void* symbol = dlsym(handle, EntryPointName);
            entry = symbol != nullptr && IsOwnSymbol(handle, symbol)
                        ? reinterpret_cast<ModuleEntryPoint>(symbol)
                        : nullptr;
            // The module stays loaded for good, whatever it holds: unloading
            // would run its destructors while objects of it may still live.
            m_modules.emplace(path, entry);
        }
        return entry != nullptr ? S_OK : HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    }

    std::recursive_mutex m_mutex;
    std::vector<RegisteredObject> m_objects;
    DWORD m_nextCookie = 1;
    GuidMap<std::string> m_programmaticModules;
    GuidMap<std::string> m_fileModules;
    bool m_filesRead = false;
    std::unordered_map<std::string, ModuleEntryPoint> m_modules;
    GuidMap<BuiltinEntryPoint> m_builtins;
};

// Never destroyed: static initialisers of other files register built-in
// classes into it, and objects may be created while the process exits.
Registry& TheRegistry() {
    static auto* registry = new Registry;
    return *registry;
}

} // namespace

HRESULT CoGetClassObject(REFCLSID rclsid, DWORD dwClsContext, LPVOID pvReserved, REFIID riid,
                         LPVOID* ppv) {
    if (ppv == nullptr)
        return E_INVALIDARG;
    *ppv = nullptr;
    Found found = TheRegistry().Find(rclsid, dwClsContext);
    if (found.object != nullptr) {
        HRESULT hr = found.object->QueryInterface(riid, ppv);
        found.object->Release();
        return hr;
    }
    if (found.module != nullptr)
        return found.module(rclsid, riid, ppv);
    if (found.builtin != nullptr)
        return found.builtin(riid, ppv);
    return found.error;
}

HRESULT CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext, REFIID riid,
                         LPVOID* ppv) {
    if (ppv == nullptr)
        return E_POINTER;
    *ppv = nullptr;
    IClassFactory* factory = nullptr;
    HRESULT hr = CoGetClassObject(rclsid, dwClsContext, nullptr, IID_IClassFactory,
                                  reinterpret_cast<void**>(&factory));
    if (FAILED(hr))
        return hr;
    hr = factory->CreateInstance(pUnkOuter, riid, ppv);
    factory->Release();
    return hr;
}

// Every registration may be used any number of times (REGCLS_SINGLEUSE is
// treated as REGCLS_MULTIPLEUSE); a later registration of the same class
// hides an earlier one until it is revoked.
HRESULT CoRegisterClassObject(REFCLSID rclsid, LPUNKNOWN pUnk, DWORD dwClsContext, DWORD flags,
                              LPDWORD lpdwRegister) {
    if (pUnk == nullptr || lpdwRegister == nullptr)
        return E_INVALIDARG;
    *lpdwRegister = TheRegistry().AddObject(rclsid, pUnk, dwClsContext);
    return S_OK;
}

HRESULT CoRevokeClassObject(DWORD dwRegister) {
    IUnknown* object = TheRegistry().RemoveObject(dwRegister);
    if (object == nullptr)
        return CO_E_OBJNOTREG;
    object->Release();
    return S_OK;
}

HRESULT HdbRegisterClassModule(REFCLSID clsid, const char* modulePath) {
    if (modulePath == nullptr || *modulePath == '\0')
        return E_INVALIDARG;
    TheRegistry().AddModule(clsid, modulePath);
    return S_OK;
}

void HdbReloadClassRegistry() {
    TheRegistry().ForgetFiles();
}

void HdbRegisterBuiltinClass(REFCLSID clsid, HRESULT (*getClassObject)(REFIID riid, void** ppv)) {
    if (getClassObject != nullptr)
        TheRegistry().AddBuiltin(clsid, getClassObject);
}
