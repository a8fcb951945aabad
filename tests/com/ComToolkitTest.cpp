// The COM toolkit: QueryInterface over an interface list, reference counts
// shared between threads, the smart pointer's ownership rules and the class
// factory over a factory function.
#include "CountedObject.h"

#include "hdbplatform/ClassFactory.h"
#include "hdbplatform/ComPtr.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using hdbcom::ComPtr;
using hdbtest::CountedObject;
using hdbtest::IID_ICounted;

// Three interfaces, one derived from another, each with its id.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct IBase : IUnknown {
    virtual int STDMETHODCALLTYPE Base() = 0;
};
constexpr IID IID_IBase = {
    0x51c0e3a1, 0x7d42, 0x4b0e, {0x90, 0x1f, 0x2a, 0x3b, 0x4c, 0x5d, 0x6e, 1}};
struct IDerived : IBase {
    virtual int STDMETHODCALLTYPE Derived() = 0;
};
constexpr IID IID_IDerived = {
    0x51c0e3a1, 0x7d42, 0x4b0e, {0x90, 0x1f, 0x2a, 0x3b, 0x4c, 0x5d, 0x6e, 2}};
struct IOther : IUnknown {
    virtual int STDMETHODCALLTYPE Other() = 0;
};
constexpr IID IID_IOther = {
    0x51c0e3a1, 0x7d42, 0x4b0e, {0x90, 0x1f, 0x2a, 0x3b, 0x4c, 0x5d, 0x6e, 3}};
#pragma GCC diagnostic pop

class TwoInterfaces final
    : public hdbcom::ComObject<hdbcom::Implements<IDerived, IID_IDerived, IID_IBase>,
                               hdbcom::Implements<IOther, IID_IOther>> {
public:
    int STDMETHODCALLTYPE Base() override { return 1; }
    int STDMETHODCALLTYPE Derived() override { return 2; }
    int STDMETHODCALLTYPE Other() override { return 3; }
};

TEST(ComObject, AnswersItsListWithOneIdentityAndAReferenceEach) {
    auto object = ComPtr<IOther>::Adopt(new TwoInterfaces);
    auto* self = static_cast<TwoInterfaces*>(object.Get());
    const struct {
        const IID* iid;
        void* expected;
    } cases[] = {
        {&IID_IUnknown, static_cast<IUnknown*>(static_cast<IDerived*>(self))},
        {&IID_IDerived, static_cast<IDerived*>(self)},
        {&IID_IBase, static_cast<IBase*>(static_cast<IDerived*>(self))},
        {&IID_IOther, static_cast<IOther*>(self)},
        {&IID_ICounted, nullptr},
    };
    for (const auto& c : cases) {
        void* answer = reinterpret_cast<void*>(1);
        const HRESULT hr = object->QueryInterface(*c.iid, &answer);
        EXPECT_EQ(hr, c.expected ? S_OK : E_NOINTERFACE);
        EXPECT_EQ(answer, c.expected);
        if (answer != nullptr) {
            EXPECT_EQ(static_cast<IUnknown*>(answer)->Release(), 1u); // the reference it added
        }
    }
    EXPECT_EQ(object->QueryInterface(IID_IOther, nullptr), E_POINTER);
}

TEST(ComObject, CountsReferencesFromManyThreadsAndGoesWithTheLast) {
    const int live = CountedObject::Live();
    auto* object = new CountedObject;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([object] {
            for (int i = 0; i < 10000; ++i) {
                object->AddRef();
                object->Release();
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(object->References(), 1u);
    EXPECT_EQ(object->Release(), 0u);
    EXPECT_EQ(CountedObject::Live(), live);
}

TEST(ComPtr, SharesAdoptsMovesAndReleasesAsItSays) {
    auto* object = new CountedObject;
    {
        ComPtr<IUnknown> shared(object); // adds a reference
        EXPECT_EQ(object->References(), 2u);
        ComPtr<IUnknown> copy = shared;
        ComPtr<IUnknown> moved = std::move(copy);
        EXPECT_EQ(object->References(), 3u);
        EXPECT_FALSE(copy);
        EXPECT_EQ(moved.As<IUnknown>(IID_ICounted).Get(), object);
        EXPECT_FALSE(moved.As<IOther>(IID_IOther));
        *moved.Out() = nullptr; // Out gives back what was held
        EXPECT_EQ(object->References(), 2u);
    }
    auto owner = ComPtr<CountedObject>::Adopt(object); // takes the creator's reference
    EXPECT_EQ(object->References(), 1u);
    EXPECT_EQ(owner.Detach(), object);
    EXPECT_EQ(object->Release(), 0u);
}

TEST(ClassFactory, HandsEachRequestToItsFunctionButRefusesAggregation) {
    int calls = 0;
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(hdbcom::ClassFactory::Create(
                  [&calls](REFIID riid, void** ppv) {
                      ++calls;
                      return hdbcom::HandOut(new CountedObject, riid, ppv);
                  },
                  IID_IClassFactory, factory.OutVoid()),
              S_OK);
    ComPtr<IUnknown> made;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_ICounted, made.OutVoid()), S_OK);
    EXPECT_EQ(static_cast<CountedObject*>(made.Get())->References(), 1u);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IOther, made.OutVoid()), E_NOINTERFACE);
    EXPECT_EQ(calls, 2);

    auto outer = ComPtr<IUnknown>::Adopt(new CountedObject);
    EXPECT_EQ(factory->CreateInstance(outer.Get(), IID_ICounted, made.OutVoid()),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_ICounted, nullptr), E_POINTER);
    EXPECT_EQ(calls, 2);
}

} // namespace
