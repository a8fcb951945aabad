// Registration of extension modules with the class framework.
//
// A library that extends the host's framework keeps one AFX_EXTENSION_MODULE
// as a static object, initialises it once (AfxInitExtensionModule) and then
// registers itself by creating a CDynLinkLibrary on the heap, which it never
// frees: the object joins a process-wide list and stays there until the
// process ends or AfxTermExtensionModule removes it. The list is what lets
// the host find the modules that take part (and their resources).
#pragma once

#include "hdbplatform/Com.h"

#include <cstddef>
#include <string>

struct AFX_EXTENSION_MODULE {
    BOOL bInitialized = FALSE;
    HMODULE hModule = nullptr;
    HMODULE hResource = nullptr;
};

// Records the module handle (resources come from the same module). A null
// hModule is allowed: the module is then identified by the file that
// contains `state`. Returns TRUE; calling it again for the same state is
// harmless.
BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE hModule);
// Unregisters (and deletes) every CDynLinkLibrary made for state; with all
// TRUE, every registered one. Call it before the module is unloaded.
void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all = FALSE);

class CDynLinkLibrary {
public:
    // Registers the module described by state. state must outlive this
    // object (it is a static of the module). system marks modules of the
    // framework itself.
    explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system = FALSE);
    CDynLinkLibrary(const CDynLinkLibrary&) = delete;
    CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;
    // Leaves the list.
    virtual ~CDynLinkLibrary();

    // The number of registration objects currently in the list.
    static std::size_t RegisteredCount();
    // The first registration whose module name equals name (case-insensitive),
    // or null. The module name is the file name of the module without
    // directory, without a "lib" prefix and without extensions
    // ("/usr/lib/libhaldendbu64.so.1" is "haldendbu64").
    static CDynLinkLibrary* FindByModuleName(const wchar_t* name);

    const std::wstring& GetModuleName() const noexcept { return m_moduleName; }
    // The full path of the module's file; empty when it could not be found.
    const std::wstring& GetModulePath() const noexcept { return m_modulePath; }
    AFX_EXTENSION_MODULE& GetExtensionModule() const noexcept { return m_state; }

    HMODULE m_hModule;
    HMODULE m_hResource;
    BOOL m_bSystem;

private:
    AFX_EXTENSION_MODULE& m_state;
    std::wstring m_modulePath;
    std::wstring m_moduleName;
};
