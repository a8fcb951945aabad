// Creating objects through class objects registered in the process and
// through built-in classes; COM initialisation counting.
#include "CountedObject.h"

#include "hdbplatform/ClassRegistry.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using hdbtest::CountedObject;
using hdbtest::IID_ICounted;

constexpr CLSID CLSID_Registered = {
    0x3f0a9e10, 0x5b7d, 0x4c1e, {0x8a, 0x11, 0x90, 0x2b, 0x4d, 0x6e, 0x01, 0x10}};
constexpr CLSID CLSID_Builtin = {
    0x3f0a9e10, 0x5b7d, 0x4c1e, {0x8a, 0x11, 0x90, 0x2b, 0x4d, 0x6e, 0x01, 0x11}};
constexpr CLSID CLSID_Nowhere = {
    0x3f0a9e10, 0x5b7d, 0x4c1e, {0x8a, 0x11, 0x90, 0x2b, 0x4d, 0x6e, 0x01, 0x12}};

IClassFactory* NewFactory() {
    IClassFactory* factory = nullptr;
    EXPECT_EQ(HdbClassFactory<CountedObject>::GetClassObject(IID_IClassFactory,
                                                             reinterpret_cast<void**>(&factory)),
              S_OK);
    return factory;
}

TEST(ClassObjects, CreateInstanceThroughARegisteredFactory) {
    IClassFactory* factory = NewFactory();
    DWORD cookie = 0;
    ASSERT_EQ(CoRegisterClassObject(CLSID_Registered, factory, CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &cookie),
              S_OK);
    factory->Release(); // the registration keeps it

    const int live = CountedObject::Live();
    IUnknown* object = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_Registered, nullptr, CLSCTX_ALL, IID_ICounted,
                               reinterpret_cast<void**>(&object)),
              S_OK);
    EXPECT_EQ(CountedObject::Live(), live + 1);
    EXPECT_EQ(static_cast<CountedObject*>(object)->References(), 1u);
    object->Release();
    EXPECT_EQ(CountedObject::Live(), live);

    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(CoCreateInstance(CLSID_Registered, nullptr, CLSCTX_ALL, IID_IStream, &none),
              E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(CountedObject::Live(), live);

    auto* outer = new CountedObject;
    EXPECT_EQ(CoCreateInstance(CLSID_Registered, outer, CLSCTX_ALL, IID_IUnknown, &none),
              CLASS_E_NOAGGREGATION);
    outer->Release();

    ASSERT_EQ(CoRevokeClassObject(cookie), S_OK);
    EXPECT_EQ(CoCreateInstance(CLSID_Registered, nullptr, CLSCTX_ALL, IID_ICounted, &none),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(CoRevokeClassObject(cookie), CO_E_OBJNOTREG);
}

TEST(ClassObjects, RegistrationHoldsOneReferenceUntilRevoked) {
    auto* classObject = new CountedObject;
    DWORD cookie = 0;
    ASSERT_EQ(CoRegisterClassObject(CLSID_Registered, classObject, CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &cookie),
              S_OK);
    EXPECT_EQ(classObject->References(), 2u);

    IUnknown* found = nullptr;
    ASSERT_EQ(CoGetClassObject(CLSID_Registered, CLSCTX_INPROC_SERVER, nullptr, IID_ICounted,
                               reinterpret_cast<void**>(&found)),
              S_OK);
    EXPECT_EQ(found, classObject);
    EXPECT_EQ(classObject->References(), 3u);
    found->Release();

    ASSERT_EQ(CoRevokeClassObject(cookie), S_OK);
    EXPECT_EQ(classObject->Release(), 0u);
}

TEST(ClassObjects, UnknownClassIsNotRegistered) {
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(CoCreateInstance(CLSID_Nowhere, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(CoCreateInstance(CLSID_Nowhere, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr),
              E_POINTER);
}

TEST(ClassObjects, ProcessRegistrationsHideBuiltinsUntilRevoked) {
    HdbRegisterBuiltinClass(CLSID_Builtin, HdbClassFactory<CountedObject>::GetClassObject);
    IUnknown* object = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_Builtin, nullptr, CLSCTX_INPROC_SERVER, IID_ICounted,
                               reinterpret_cast<void**>(&object)),
              S_OK);
    object->Release();

    // A built-in class lives in this process: asking for an out-of-process
    // server does not find it.
    void* none = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_Builtin, nullptr, CLSCTX_LOCAL_SERVER, IID_ICounted, &none),
              REGDB_E_CLASSNOTREG);

    auto* override = new CountedObject;
    DWORD cookie = 0;
    CoRegisterClassObject(CLSID_Builtin, override, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookie);
    IUnknown* found = nullptr;
    ASSERT_EQ(CoGetClassObject(CLSID_Builtin, CLSCTX_INPROC_SERVER, nullptr, IID_IUnknown,
                               reinterpret_cast<void**>(&found)),
              S_OK);
    EXPECT_EQ(found, override);
    found->Release();
    CoRevokeClassObject(cookie);
    override->Release();

    IClassFactory* factory = nullptr;
    ASSERT_EQ(CoGetClassObject(CLSID_Builtin, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&factory)),
              S_OK);
    factory->Release();
}

TEST(ClassObjects, RegistrationsAreVisibleFromOtherThreads) {
    IClassFactory* factory = NewFactory();
    DWORD cookie = 0;
    CoRegisterClassObject(CLSID_Registered, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookie);
    factory->Release();
    HRESULT results[4] = {};
    std::thread workers[4];
    for (int i = 0; i < 4; ++i)
        workers[i] = std::thread([&results, i] {
            for (int n = 0; n < 200 && SUCCEEDED(results[i]); ++n) {
                IUnknown* object = nullptr;
                results[i] = CoCreateInstance(CLSID_Registered, nullptr, CLSCTX_INPROC_SERVER,
                                              IID_IUnknown, reinterpret_cast<void**>(&object));
                if (object != nullptr)
                    object->Release();
            }
        });
    for (auto& worker : workers)
        worker.join();
    for (HRESULT hr : results)
        EXPECT_EQ(hr, S_OK);
    CoRevokeClassObject(cookie);
}

TEST(ComInitialisation, CountsPerThreadAndKeepsTheModel) {
    std::thread fresh([] {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
        EXPECT_EQ(CoInitialize(nullptr), RPC_E_CHANGED_MODE);
        CoUninitialize();
        CoUninitialize();
        // Fully uninitialised: a new model may be chosen.
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        CoUninitialize();
        CoUninitialize(); // one too many is harmless
    });
    fresh.join();
}

} // namespace
