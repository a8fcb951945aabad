// Per-thread error information and the plain error object.
#include "hdbplatform/WinApi.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

// An error object with the given description, owned by the caller.
IErrorInfo* MakeError(const wchar_t* description) {
    ICreateErrorInfo* create = nullptr;
    EXPECT_EQ(CreateErrorInfo(&create), S_OK);
    create->SetDescription(const_cast<LPOLESTR>(description));
    create->SetSource(const_cast<LPOLESTR>(L"test source"));
    IErrorInfo* info = nullptr;
    EXPECT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    create->Release();
    return info;
}

std::wstring DescriptionOf(IErrorInfo* info) {
    BSTR text = nullptr;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    std::wstring result = text == nullptr ? L"<null>" : text;
    SysFreeString(text);
    return result;
}

struct ThreadErrorInfo : ::testing::Test {
    void SetUp() override { SetErrorInfo(0, nullptr); }
    void TearDown() override { SetErrorInfo(0, nullptr); }
};

TEST_F(ThreadErrorInfo, GetHandsTheObjectOverAndEmptiesTheSlot) {
    IErrorInfo* info = MakeError(L"first");
    ASSERT_EQ(SetErrorInfo(0, info), S_OK);
    info->Release(); // the slot keeps it alive

    IErrorInfo* taken = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &taken), S_OK);
    EXPECT_EQ(taken, info);
    EXPECT_EQ(DescriptionOf(taken), L"first");
    taken->Release();

    IErrorInfo* again = reinterpret_cast<IErrorInfo*>(1);
    EXPECT_EQ(GetErrorInfo(0, &again), S_FALSE);
    EXPECT_EQ(again, nullptr);
}

TEST_F(ThreadErrorInfo, SetReplacesAndReleasesThePrevious) {
    IErrorInfo* first = MakeError(L"first");
    IErrorInfo* second = MakeError(L"second");
    SetErrorInfo(0, first);
    EXPECT_EQ(first->AddRef(), 3u); // ours, the slot's, this probe
    first->Release();
    SetErrorInfo(0, second);
    EXPECT_EQ(first->Release(), 0u); // the slot let go of it
    second->Release();

    IErrorInfo* taken = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &taken), S_OK);
    EXPECT_EQ(DescriptionOf(taken), L"second");
    taken->Release();
}

TEST_F(ThreadErrorInfo, EachThreadHasItsOwnSlot) {
    IErrorInfo* info = MakeError(L"main thread");
    SetErrorInfo(0, info);
    info->Release();

    HRESULT otherSees = E_FAIL;
    std::thread other([&] {
        IErrorInfo* seen = nullptr;
        otherSees = GetErrorInfo(0, &seen);
        // An error left behind on a thread is released when the thread ends.
        IErrorInfo* leftBehind = MakeError(L"other thread");
        SetErrorInfo(0, leftBehind);
        leftBehind->Release();
    });
    other.join();
    EXPECT_EQ(otherSees, S_FALSE);

    IErrorInfo* taken = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &taken), S_OK);
    EXPECT_EQ(DescriptionOf(taken), L"main thread");
    taken->Release();
}

TEST_F(ThreadErrorInfo, ReservedArgumentsMustBeZero) {
    IErrorInfo* taken = nullptr;
    EXPECT_EQ(GetErrorInfo(1, &taken), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
}

TEST(ErrorObject, KeepsWhatWasSetAndAnswersNullForTheRest) {
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);

    BSTR text = reinterpret_cast<BSTR>(1);
    EXPECT_EQ(info->GetSource(&text), S_OK);
    EXPECT_EQ(text, nullptr);

    create->SetDescription(const_cast<LPOLESTR>(L"old"));
    create->SetDescription(const_cast<LPOLESTR>(L"new"));
    EXPECT_EQ(DescriptionOf(info), L"new");

    IUnknown* unknownA = nullptr;
    IUnknown* unknownB = nullptr;
    create->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknownA));
    info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknownB));
    EXPECT_EQ(unknownA, unknownB); // one identity whichever interface is asked
    unknownA->Release();
    unknownB->Release();
    info->Release();
    EXPECT_EQ(create->Release(), 0u);
}

} // namespace
