#include "haldendb/HaldenDBDllInitialize.h"

#include <new>

namespace {

// The library's module record; the framework refers to it for as long as the
// registration exists, which is the life of the process.
AFX_EXTENSION_MODULE haldenDBModule{};

CDynLinkLibrary* RegisterModule() noexcept {
    try {
        // No module handle: the framework identifies the module by the file
        // that holds haldenDBModule, i.e. this library.
        AfxInitExtensionModule(haldenDBModule, nullptr);
        return new (std::nothrow) CDynLinkLibrary(haldenDBModule);
    } catch (...) {
        return nullptr; // out of memory: the host runs without our registration
    }
}

} // namespace

void HaldenDBDllInitialize() {
    // One registration per process, made by the first call (calls from
    // several threads are safe); it stays reachable here and is never freed,
    // since the framework may consult it until the process ends.
    static CDynLinkLibrary* const registration = RegisterModule();
    (void)registration;
}
