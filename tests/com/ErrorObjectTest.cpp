// Error objects as a consumer sees them: records are built the way a provider
// builds them and read back only through GetErrorInfo, IErrorRecords, the
// per-record IErrorInfo and ISQLErrorInfo.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "hdbplatform/ErrorObject.h"

namespace {

// Reads a BSTR answer and frees it; a null BSTR reads as empty.
std::wstring Take(BSTR text) {
    std::wstring result = text ? std::wstring(text, SysStringLen(text)) : std::wstring();
    SysFreeString(text);
    return result;
}

// Everything a consumer can learn about one record.
struct SeenRecord {
    ERRORINFO basic{};
    GUID guid = GUID_NULL;
    std::wstring description;
    std::wstring source;
    HRESULT customResult = E_FAIL; // of GetCustomErrorObject(IID_ISQLErrorInfo)
    bool hasCustomObject = false;
    std::wstring sqlState;
    LONG nativeError = 0;
};

SeenRecord ReadRecord(IErrorRecords* records, ULONG index) {
    SeenRecord seen;
    EXPECT_EQ(records->GetBasicErrorInfo(index, &seen.basic), S_OK);

    IErrorInfo* info = nullptr;
    EXPECT_EQ(records->GetErrorInfo(index, 1033, &info), S_OK);
    if (info) {
        BSTR text = nullptr;
        EXPECT_EQ(info->GetDescription(&text), S_OK);
        seen.description = Take(text);
        text = nullptr;
        EXPECT_EQ(info->GetSource(&text), S_OK);
        seen.source = Take(text);
        EXPECT_EQ(info->GetGUID(&seen.guid), S_OK);
        text = reinterpret_cast<BSTR>(1);
        EXPECT_EQ(info->GetHelpFile(&text), S_OK);
        EXPECT_EQ(text, nullptr);
        info->Release();
    }

    IUnknown* custom = reinterpret_cast<IUnknown*>(1);
    seen.customResult = records->GetCustomErrorObject(index, IID_ISQLErrorInfo, &custom);
    if (custom) {
        seen.hasCustomObject = true;
        BSTR state = nullptr;
        EXPECT_EQ(static_cast<ISQLErrorInfo*>(custom)->GetSQLInfo(&state, &seen.nativeError), S_OK);
        seen.sqlState = Take(state);
        custom->Release();
    }
    return seen;
}

// Takes the thread's error object and reads all its records.
std::vector<SeenRecord> ReadThreadErrors() {
    std::vector<SeenRecord> seen;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info)
        return seen;
    IErrorRecords* records = nullptr;
    EXPECT_EQ(info->QueryInterface(IID_IErrorRecords, reinterpret_cast<void**>(&records)), S_OK);
    info->Release();
    if (!records)
        return seen;
    ULONG count = 0;
    EXPECT_EQ(records->GetRecordCount(&count), S_OK);
    for (ULONG i = 0; i < count; ++i)
        seen.push_back(ReadRecord(records, i));
    records->Release();
    return seen;
}

constexpr IID kCommandText = {
    0x0c733a27, 0x2a1c, 0x11ce, {0xad, 0xe5, 0, 0xaa, 0, 0x44, 0x77, 0x3d}};
constexpr CLSID kProvider = {0x12345678, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};

HdbErrorRecord Record(HRESULT hr, std::wstring description, std::wstring state, LONG native) {
    HdbErrorRecord record;
    record.hr = hr;
    record.interfaceId = kCommandText;
    record.sourceClass = kProvider;
    record.description = std::move(description);
    record.source = L"Test Provider";
    record.sqlState = std::move(state);
    record.nativeError = native;
    return record;
}

// A custom error object that also describes the error, with a live reference
// count the tests can watch.
class DescribedCustomError final : public IErrorInfo {
public:
    std::atomic<ULONG> refs{1};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = nullptr;
        if (riid != IID_IUnknown && riid != IID_IErrorInfo)
            return E_NOINTERFACE;
        *ppv = static_cast<IErrorInfo*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; } // lives on the stack
    HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) override {
        *guid = GUID_NULL;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override {
        *source = SysAllocString(L"custom source");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override {
        *description = SysAllocString(L"custom description");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* file) override {
        *file = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override {
        *context = 0;
        return S_OK;
    }
};

class ErrorObjectTest : public ::testing::Test {
protected:
    void SetUp() override { SetErrorInfo(0, nullptr); }
    void TearDown() override { SetErrorInfo(0, nullptr); }
};

} // namespace

TEST_F(ErrorObjectTest, ConsumerReadsEveryRecordInTheProvidersOrder) {
    const HdbErrorRecord records[] = {
        Record(DB_E_ERRORSINCOMMAND, L"Deadlock victim", L"40001", 1205),
        Record(E_FAIL, L"Statement aborted", L"", 0),
        Record(DB_E_ERRORSINCOMMAND, L"Severe error", L"", 824),
    };
    ASSERT_EQ(HdbSetErrorRecords(records, 3), S_OK);

    std::vector<SeenRecord> seen = ReadThreadErrors();
    ASSERT_EQ(seen.size(), 3u);

    EXPECT_EQ(seen[0].description, L"Deadlock victim");
    EXPECT_EQ(seen[0].source, L"Test Provider");
    EXPECT_EQ(seen[0].guid, kCommandText);
    EXPECT_TRUE(seen[0].hasCustomObject);
    EXPECT_EQ(seen[0].sqlState, L"40001");
    EXPECT_EQ(seen[0].nativeError, 1205);
    EXPECT_EQ(seen[0].basic.hrError, DB_E_ERRORSINCOMMAND);
    EXPECT_EQ(seen[0].basic.dwMinor, 1205u);
    EXPECT_EQ(seen[0].basic.clsid, kProvider);
    EXPECT_EQ(seen[0].basic.iid, kCommandText);

    // Neither state nor native error: no custom object at all.
    EXPECT_EQ(seen[1].description, L"Statement aborted");
    EXPECT_EQ(seen[1].basic.hrError, E_FAIL);
    EXPECT_EQ(seen[1].customResult, S_OK);
    EXPECT_FALSE(seen[1].hasCustomObject);

    // A native error alone still needs the custom object to travel.
    EXPECT_TRUE(seen[2].hasCustomObject);
    EXPECT_EQ(seen[2].sqlState, L"");
    EXPECT_EQ(seen[2].nativeError, 824);
}

TEST_F(ErrorObjectTest, GetErrorInfoEmptiesTheThreadSlot) {
    const HdbErrorRecord record = Record(E_FAIL, L"once", L"HY000", 1);
    ASSERT_EQ(HdbSetErrorRecords(&record, 1), S_OK);

    IErrorInfo* first = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &first), S_OK);
    ASSERT_NE(first, nullptr);
    // The object's own IErrorInfo answers for the top record.
    BSTR text = nullptr;
    EXPECT_EQ(first->GetDescription(&text), S_OK);
    EXPECT_EQ(Take(text), L"once");
    GUID guid = GUID_NULL;
    EXPECT_EQ(first->GetGUID(&guid), S_OK);
    EXPECT_EQ(guid, kCommandText);
    first->Release();

    IErrorInfo* second = reinterpret_cast<IErrorInfo*>(1);
    EXPECT_EQ(GetErrorInfo(0, &second), S_FALSE);
    EXPECT_EQ(second, nullptr);
}

TEST_F(ErrorObjectTest, BadRecordNumbersAndNullPointersAreRejected) {
    const HdbErrorRecord records[] = {Record(E_FAIL, L"a", L"", 0), Record(E_FAIL, L"b", L"", 0)};
    IErrorInfo* info = nullptr;
    ASSERT_EQ(HdbCreateErrorObject(records, 2, &info), S_OK);
    IErrorRecords* errors = nullptr;
    ASSERT_EQ(info->QueryInterface(IID_IErrorRecords, reinterpret_cast<void**>(&errors)), S_OK);

    ERRORINFO basic{};
    IUnknown* custom = nullptr;
    IErrorInfo* recordInfo = nullptr;
    EXPECT_EQ(errors->GetBasicErrorInfo(2, &basic), DB_E_BADRECORDNUM);
    EXPECT_EQ(errors->GetCustomErrorObject(2, IID_ISQLErrorInfo, &custom), DB_E_BADRECORDNUM);
    EXPECT_EQ(errors->GetErrorInfo(2, 1033, &recordInfo), DB_E_BADRECORDNUM);
    EXPECT_EQ(recordInfo, nullptr);

    EXPECT_EQ(errors->GetBasicErrorInfo(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(errors->GetCustomErrorObject(1, IID_ISQLErrorInfo, nullptr), E_INVALIDARG);
    EXPECT_EQ(errors->GetErrorInfo(1, 1033, nullptr), E_INVALIDARG);
    EXPECT_EQ(errors->GetRecordCount(nullptr), E_INVALIDARG);
    EXPECT_EQ(errors->AddErrorRecord(nullptr, 0, nullptr, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(HdbCreateErrorObject(nullptr, 1, &recordInfo), E_INVALIDARG);

    // The last valid record still answers.
    EXPECT_EQ(ReadRecord(errors, 1).description, L"b");

    errors->Release();
    info->Release();
}

TEST_F(ErrorObjectTest, AddedRecordsGoOnTop) {
    const HdbErrorRecord detail = Record(E_FAIL, L"detail", L"42S02", 208);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(HdbCreateErrorObject(&detail, 1, &info), S_OK);
    IErrorRecords* errors = nullptr;
    ASSERT_EQ(info->QueryInterface(IID_IErrorRecords, reinterpret_cast<void**>(&errors)), S_OK);

    // A view of the record taken before others are added keeps its record.
    IErrorInfo* detailView = nullptr;
    ASSERT_EQ(errors->GetErrorInfo(0, 1033, &detailView), S_OK);

    ASSERT_EQ(HdbAddErrorRecord(errors, Record(DB_E_ERRORSINCOMMAND, L"summary", L"", 0)), S_OK);

    ULONG count = 0;
    ASSERT_EQ(errors->GetRecordCount(&count), S_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(ReadRecord(errors, 0).description, L"summary");
    SeenRecord moved = ReadRecord(errors, 1);
    EXPECT_EQ(moved.description, L"detail");
    EXPECT_EQ(moved.sqlState, L"42S02");
    EXPECT_EQ(moved.nativeError, 208);

    BSTR text = nullptr;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    EXPECT_EQ(Take(text), L"summary");
    text = nullptr;
    EXPECT_EQ(detailView->GetDescription(&text), S_OK);
    EXPECT_EQ(Take(text), L"detail");

    detailView->Release();
    errors->Release();
    info->Release();
}

TEST_F(ErrorObjectTest, CreatedByClassIdAndFilledThroughPlainAddErrorRecord) {
    IErrorRecords* errors = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_EXTENDEDERRORINFO, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IErrorRecords, reinterpret_cast<void**>(&errors)),
              S_OK);
    ASSERT_NE(errors, nullptr);
    ULONG count = 1;
    ASSERT_EQ(errors->GetRecordCount(&count), S_OK);
    EXPECT_EQ(count, 0u);

    ERRORINFO basic{};
    basic.hrError = E_FAIL;
    basic.dwMinor = 7;
    basic.clsid = kProvider;
    basic.iid = kCommandText;

    // Without a custom object the record has no text: there is no lookup service.
    ASSERT_EQ(errors->AddErrorRecord(&basic, 7, nullptr, nullptr, 0), S_OK);
    SeenRecord bare = ReadRecord(errors, 0);
    EXPECT_EQ(bare.description, L"");
    EXPECT_EQ(bare.customResult, S_OK);
    EXPECT_FALSE(bare.hasCustomObject);
    EXPECT_EQ(bare.basic.dwMinor, 7u);

    // A custom object that answers IErrorInfo supplies the texts; the error
    // object holds it for as long as the record lives.
    DescribedCustomError custom;
    ASSERT_EQ(errors->AddErrorRecord(&basic, 7, nullptr, &custom, 0), S_OK);
    EXPECT_GT(custom.refs.load(), 1u);
    SeenRecord described = ReadRecord(errors, 0);
    EXPECT_EQ(described.description, L"custom description");
    EXPECT_EQ(described.source, L"custom source");
    EXPECT_EQ(described.guid, kCommandText);

    EXPECT_EQ(described.customResult, E_NOINTERFACE);
    EXPECT_FALSE(described.hasCustomObject);
    IUnknown* asked = nullptr;
    ASSERT_EQ(errors->GetCustomErrorObject(0, IID_IErrorInfo, &asked), S_OK);
    EXPECT_EQ(asked, static_cast<IUnknown*>(&custom));
    asked->Release();

    // Providers' records go on top of such an object as well.
    ASSERT_EQ(HdbAddErrorRecord(errors, Record(E_FAIL, L"provider", L"HY000", 3)), S_OK);
    EXPECT_EQ(ReadRecord(errors, 0).description, L"provider");
    EXPECT_EQ(ReadRecord(errors, 1).description, L"custom description");

    errors->Release();
    EXPECT_EQ(custom.refs.load(), 1u);
}

TEST_F(ErrorObjectTest, InterfacesShareOneIdentityAndCountsBalance) {
    const HdbErrorRecord record = Record(E_FAIL, L"x", L"HY000", 1);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(HdbCreateErrorObject(&record, 1, &info), S_OK);

    IErrorRecords* errors = nullptr;
    ASSERT_EQ(info->QueryInterface(IID_IErrorRecords, reinterpret_cast<void**>(&errors)), S_OK);
    IUnknown* fromInfo = nullptr;
    IUnknown* fromRecords = nullptr;
    ASSERT_EQ(info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromInfo)), S_OK);
    ASSERT_EQ(errors->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromRecords)), S_OK);
    EXPECT_EQ(fromInfo, fromRecords);
    IErrorInfo* back = nullptr;
    ASSERT_EQ(errors->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&back)), S_OK);
    EXPECT_EQ(back, info);

    // info, errors, fromInfo, fromRecords, back: five references, one object.
    EXPECT_EQ(info->AddRef(), 6u);
    EXPECT_EQ(info->Release(), 5u);
    back->Release();
    fromRecords->Release();
    fromInfo->Release();
    errors->Release();
    EXPECT_EQ(info->Release(), 0u);
}
