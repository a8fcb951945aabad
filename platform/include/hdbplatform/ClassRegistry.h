// The class registry behind CoCreateInstance on Linux, and the helpers a
// provider module needs to be found through it.
//
// CoGetClassObject looks a class id up in this order:
//   1. class objects registered in this process with CoRegisterClassObject
//      (newest first);
//   2. modules registered with HdbRegisterClassModule;
//   3. the registry files: `<directory of the platform library>/haldendb/classes.reg`
//      when it exists, then every file named in HALDENDB_CLASS_REGISTRY (a
//      colon-separated list), later entries overriding earlier ones;
//   4. the built-in classes of the platform library (HdbRegisterBuiltinClass).
// A registry file holds one entry per line, `{CLSID} = module-path`; blank
// lines and lines starting with '#' are skipped, and so are lines that do not
// parse. A relative module path is taken relative to the file's directory.
//
// A module is loaded once (dlopen with RTLD_NOW | RTLD_LOCAL), stays loaded
// for the life of the process, and must export
//   extern "C" HRESULT DllGetClassObject(REFCLSID, REFIID, LPVOID*);
// A module that cannot be loaded gives HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND),
// one without that export HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND). All
// functions here are thread-safe.
#pragma once

#ifdef _WIN32
#error "hdbplatform/ClassRegistry.h is for Linux builds; Windows has its own registry"
#endif

#include "hdbplatform/ClassFactory.h"
#include "hdbplatform/WinApi.h"

#include <new>

inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
// CoRevokeClassObject of a cookie that is not (or no longer) registered.
inline constexpr HRESULT CO_E_OBJNOTREG = HResultOf(0x800401FB);

// Registers modulePath as the module serving clsid; overrides the registry
// files and survives HdbReloadClassRegistry. The path is handed to dlopen as
// given. E_INVALIDARG for a null path.
HRESULT HdbRegisterClassModule(REFCLSID clsid, const char* modulePath);

// Forgets what was read from the registry files; the next look-up reads them
// again (and HALDENDB_CLASS_REGISTRY with them). Loaded modules stay loaded.
void HdbReloadClassRegistry();

// For the platform library's own components: getClassObject hands out the
// class object for clsid (typically HdbClassFactory<T>::GetClassObject). Safe
// to call from static initialisers.
void HdbRegisterBuiltinClass(REFCLSID clsid, HRESULT (*getClassObject)(REFIID riid, void** ppv));

// The entry point of a provider module, exported with default visibility so
// that a module built with hidden visibility still shows it to the registry.
extern "C" __attribute__((visibility("default"))) HRESULT
DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);

// The class object for T, a COM class made by its default constructor with
// one reference (a hdbcom::ComObject, say). A module then writes its entry
// point as
//
//   extern "C" HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv) {
//       if (clsid != CLSID_MyProvider) return CLASS_E_CLASSNOTAVAILABLE;
//       return HdbClassFactory<CMyProvider>::GetClassObject(riid, ppv);
//   }
//
// A class whose instances need arguments uses hdbcom::ClassFactory::Create
// with a factory function of its own.
template <class T> struct HdbClassFactory {
    // A new class object, handed out as riid.
    static HRESULT GetClassObject(REFIID riid, void** ppv) {
        return hdbcom::ClassFactory::Create(
            [](REFIID id, void** out) { return hdbcom::HandOut(new (std::nothrow) T, id, out); },
            riid, ppv);
    }
};
