// The error object behind GetErrorInfo: IErrorInfo (answering for the top
// record) and IErrorRecords, with a per-record IErrorInfo view and the
// ISQLErrorInfo custom error object that carries SQL state and native error.
//
// The three classes here are private parts of one object and are reached only
// through their interfaces, so they share this source.
#include "hdbplatform/ErrorObject.h"

#include <memory>
#include <mutex>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "hdbplatform/ClassRegistry.h"
#include "hdbplatform/ComPtr.h"

namespace {

// Answered only by our own error object, so that HdbAddErrorRecord can hand
// over texts that plain AddErrorRecord has no parameter for. Never leaves
// this module.
constexpr IID IID_HdbErrorObject = {
    0xaac31c8a, 0xbe5c, 0x4183, {0xb6, 0x3f, 0x84, 0xd8, 0xc2, 0xc2, 0xf5, 0x6a}};

using hdbcom::ComObject;
using hdbcom::ComPtr;
using hdbcom::Implements;

// A BSTR for the text, or null for an empty text (a null BSTR is COM's empty
// string). Fails only when allocation fails.
HRESULT AnswerText(const std::wstring& text, BSTR* out) {
    if (!out)
        return E_INVALIDARG;
    *out = nullptr;
    if (text.empty())
        return S_OK;
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

// Reads a whole BSTR answer into a string and frees the BSTR.
std::wstring TakeText(BSTR text) {
    std::wstring result = text ? std::wstring(text, SysStringLen(text)) : std::wstring();
    SysFreeString(text);
    return result;
}

// ---------------------------------------------------------------- records

// One record as stored: immutable once added, shared with the per-record
// IErrorInfo views handed out for it.
struct StoredRecord {
    ERRORINFO basic{};
    DWORD lookupId = 0;
    std::wstring description;
    std::wstring source;
    ComPtr<IUnknown> custom; // may be null: no custom error object
};
using RecordPtr = std::shared_ptr<const StoredRecord>;

// Description and source of a record added through plain AddErrorRecord: the
// custom error object's own IErrorInfo, when it has one.
void TakeTextsFromCustomObject(StoredRecord& record) {
    if (!record.custom)
        return;
    ComPtr<IErrorInfo> info = record.custom.As<IErrorInfo>(IID_IErrorInfo);
    if (!info)
        return;
    BSTR text = nullptr;
    if (SUCCEEDED(info->GetDescription(&text)))
        record.description = TakeText(text);
    text = nullptr;
    if (SUCCEEDED(info->GetSource(&text)))
        record.source = TakeText(text);
}

// The IErrorInfo answers of one record; an absent record (an empty error
// object) answers empty texts and GUID_NULL.
HRESULT RecordGuid(const StoredRecord* record, GUID* out) {
    if (!out)
        return E_INVALIDARG;
    *out = record ? record->basic.iid : GUID_NULL;
    return S_OK;
}
HRESULT RecordDescription(const StoredRecord* record, BSTR* out) {
    return AnswerText(record ? record->description : std::wstring(), out);
}
HRESULT RecordSource(const StoredRecord* record, BSTR* out) {
    return AnswerText(record ? record->source : std::wstring(), out);
}
HRESULT NoHelpFile(BSTR* out) {
    if (!out)
        return E_INVALIDARG;
    *out = nullptr;
    return S_OK;
}
HRESULT NoHelpContext(DWORD* out) {
    if (!out)
        return E_INVALIDARG;
    *out = 0;
    return S_OK;
}

// ---------------------------------------------------------------- ISQLErrorInfo

class SqlErrorInfo final : public ComObject<Implements<ISQLErrorInfo, IID_ISQLErrorInfo>> {
public:
    SqlErrorInfo(std::wstring state, LONG nativeError)
        : state_(std::move(state)), nativeError_(nativeError) {}

    HRESULT STDMETHODCALLTYPE GetSQLInfo(BSTR* state, LONG* nativeError) override {
        if (state)
            *state = nullptr;
        if (!state || !nativeError)
            return E_INVALIDARG;
        *nativeError = nativeError_;
        return AnswerText(state_, state);
    }

private:
    const std::wstring state_;
    const LONG nativeError_;
};

// ---------------------------------------------------------------- one record's IErrorInfo

// What IErrorRecords::GetErrorInfo hands out: a view of one record, distinct
// from the error object's own IErrorInfo. It keeps the record alive on its
// own, so it stays valid when records are added on top or the error object
// goes away.
class RecordErrorInfo final : public ComObject<Implements<IErrorInfo, IID_IErrorInfo>> {
public:
    explicit RecordErrorInfo(RecordPtr record) : record_(std::move(record)) {}

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) override {
        return RecordGuid(record_.get(), guid);
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override {
        return RecordSource(record_.get(), source);
    }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override {
        return RecordDescription(record_.get(), description);
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) override { return NoHelpFile(helpFile); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override {
        return NoHelpContext(context);
    }

private:
    const RecordPtr record_;
};

// ---------------------------------------------------------------- the error object

class ErrorObject final : public ComObject<Implements<IErrorInfo, IID_IErrorInfo>,
                                           Implements<IErrorRecords, IID_IErrorRecords>> {
public:
    // Adds a record built by a provider of this project: texts included.
    HRESULT AddRecord(const HdbErrorRecord& source) {
        auto record = std::make_shared<StoredRecord>();
        record->basic.hrError = source.hr;
        record->basic.dwMinor = static_cast<DWORD>(source.nativeError);
        record->basic.clsid = source.sourceClass;
        record->basic.iid = source.interfaceId;
        record->description = source.description;
        record->source = source.source;
        if (!source.sqlState.empty() || source.nativeError != 0) {
            ISQLErrorInfo* custom = nullptr;
            HRESULT hr =
                HdbCreateSQLErrorInfo(source.sqlState.c_str(), source.nativeError, &custom);
            if (FAILED(hr))
                return hr;
            record->custom = ComPtr<IUnknown>::Adopt(custom);
        }
        return Push(std::move(record));
    }

    // ---- IErrorInfo: the top record

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) override { return RecordGuid(Top().get(), guid); }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override {
        return RecordSource(Top().get(), source);
    }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override {
        return RecordDescription(Top().get(), description);
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) override { return NoHelpFile(helpFile); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override {
        return NoHelpContext(context);
    }

    // ---- IErrorRecords

    // The lookup id is kept but never used (there is no lookup service to ask),
    // nor are the error parameters, which only a lookup service would insert
    // into a text; the dynamic error id has nothing to release here.
    HRESULT STDMETHODCALLTYPE AddErrorRecord(ERRORINFO* basic, DWORD lookupId,
                                             DISPPARAMS* parameters, IUnknown* custom,
                                             DWORD dynamicErrorId) override {
        if (!basic)
            return E_INVALIDARG;
        try {
            auto record = std::make_shared<StoredRecord>();
            record->basic = *basic;
            record->lookupId = lookupId;
            record->custom = ComPtr<IUnknown>(custom);
            TakeTextsFromCustomObject(*record);
            return Push(std::move(record));
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

    HRESULT STDMETHODCALLTYPE GetBasicErrorInfo(ULONG index, ERRORINFO* basic) override {
        return AnswerFrom(index, basic, [&](const RecordPtr& record) {
            *basic = record->basic;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE GetCustomErrorObject(ULONG index, REFIID riid,
                                                   IUnknown** object) override {
        return AnswerFrom(index, object, [&](const RecordPtr& record) {
            if (!record->custom)
                return S_OK; // no custom object: a null pointer and success
            return record->custom->QueryInterface(riid, reinterpret_cast<void**>(object));
        });
    }

    HRESULT STDMETHODCALLTYPE GetErrorInfo(ULONG index, LCID locale,
                                           IErrorInfo** errorInfo) override {
        return AnswerFrom(index, errorInfo, [&](const RecordPtr& record) {
            auto* view = new (std::nothrow) RecordErrorInfo(record);
            if (!view)
                return E_OUTOFMEMORY;
            *errorInfo = view;
            return S_OK;
        });
    }

    // Records keep no error parameters: only an error lookup service would
    // insert them into a text, and there is none. DISPPARAMS is only declared
    // as a name on this platform, so there is no empty set to hand out either.
    HRESULT STDMETHODCALLTYPE GetErrorParameters(ULONG index, DISPPARAMS* parameters) override {
        return AnswerFrom(index, parameters, [](const RecordPtr&) { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE GetRecordCount(ULONG* count) override {
        if (!count)
            return E_INVALIDARG;
        std::lock_guard lock(mutex_);
        *count = static_cast<ULONG>(records_.size());
        return S_OK;
    }

private:
    // Also answers our own id, with the object itself.
    HRESULT Query(REFIID riid, void** ppv) override {
        if (riid != IID_HdbErrorObject)
            return ComObject::Query(riid, ppv);
        *ppv = this;
        return S_OK;
    }

    // Records are kept in the order added; the newest is record 0.
    HRESULT Push(RecordPtr record) {
        try {
            std::lock_guard lock(mutex_);
            records_.push_back(std::move(record));
            return S_OK;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }
    // The record numbered index (0 = newest), or null when there is none.
    RecordPtr At(ULONG index) const {
        std::lock_guard lock(mutex_);
        if (index >= records_.size())
            return nullptr;
        return records_[records_.size() - 1 - index];
    }
    RecordPtr Top() const { return At(0); }

    // The checks every per-record answer makes: an out-pointer to write to
    // (an interface pointer cleared first) and a record numbered `index`.
    template <class Out, class Answer> HRESULT AnswerFrom(ULONG index, Out* out, Answer answer) {
        if (!out)
            return E_INVALIDARG;
        if constexpr (std::is_pointer_v<Out>)
            *out = nullptr;
        const RecordPtr record = At(index);
        if (!record)
            return DB_E_BADRECORDNUM;
        return answer(record);
    }

    // An error object lives in one thread's error slot, but a provider may
    // still add records from a second thread (a cancel, say) while the first
    // reads; the lock keeps the list consistent for that.
    mutable std::mutex mutex_;
    std::vector<RecordPtr> records_;
};

// Our own error object behind any of its interfaces, with a reference; null
// for any other object.
ErrorObject* OwnErrorObject(IUnknown* unknown) {
    void* own = nullptr;
    if (!unknown || FAILED(unknown->QueryInterface(IID_HdbErrorObject, &own)))
        return nullptr;
    return static_cast<ErrorObject*>(own);
}

HRESULT GetErrorObjectClass(REFIID riid, void** ppv) {
    return HdbClassFactory<ErrorObject>::GetClassObject(riid, ppv);
}

// CoCreateInstance(CLSID_EXTENDEDERRORINFO, ...) gives an empty error object,
// as it does where the system supplies one.
const bool kRegistered =
    (HdbRegisterBuiltinClass(CLSID_EXTENDEDERRORINFO, GetErrorObjectClass), true);

} // namespace

HRESULT HdbCreateErrorObject(const HdbErrorRecord* records, size_t count, IErrorInfo** errorInfo) {
    if (!errorInfo)
        return E_INVALIDARG;
    *errorInfo = nullptr;
    if (!records && count != 0)
        return E_INVALIDARG;
    auto object = ComPtr<IErrorInfo>::Adopt(new (std::nothrow) ErrorObject());
    if (!object)
        return E_OUTOFMEMORY;
    auto* own = static_cast<ErrorObject*>(object.Get());
    // Each record goes on top, so adding the last one first leaves records[0]
    // as record 0.
    try {
        for (size_t i = count; i-- > 0;) {
            HRESULT hr = own->AddRecord(records[i]);
            if (FAILED(hr))
                return hr;
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    *errorInfo = object.Detach();
    return S_OK;
}

HRESULT HdbSetErrorRecords(const HdbErrorRecord* records, size_t count) {
    ComPtr<IErrorInfo> object;
    HRESULT hr = HdbCreateErrorObject(records, count, object.Out());
    if (FAILED(hr))
        return hr;
    return SetErrorInfo(0, object.Get());
}

HRESULT HdbAddErrorRecord(IErrorRecords* records, const HdbErrorRecord& record) {
    if (!records)
        return E_INVALIDARG;
    auto own = ComPtr<ErrorObject>::Adopt(OwnErrorObject(records));
    if (!own)
        return E_NOINTERFACE;
    try {
        return own->AddRecord(record);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT HdbCreateSQLErrorInfo(const wchar_t* sqlState, LONG nativeError, ISQLErrorInfo** out) {
    if (!out)
        return E_INVALIDARG;
    *out = nullptr;
    try {
        *out = new SqlErrorInfo(sqlState ? sqlState : L"", nativeError);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
