// The data initialisation service (CLSID_MSDAINITIALIZE): creates a
// provider's data source object from its class id, or from an initialisation
// string whose Provider names the class id and whose other keywords become
// DBPROPSET_DBINIT properties. Providers are found by CoCreateInstance, so
// whatever the class registry knows is reachable here, and an unknown class
// answers exactly as CoCreateInstance does.
//
// Initialisation strings are "keyword=value" pairs separated by ';'. Keywords
// are matched without regard to case or surrounding blanks; a value may be
// enclosed in single or double quotes (the quote doubled inside stands for
// itself), which lets it hold ';'. Keywords this service does not know are
// left to the provider's own reading and ignored here. Provider takes the
// braced class id only: there are no program ids on this platform. A data
// source passed in through GetDataSource's out-parameter is given the
// properties in place, and Provider is then not needed.
#include "hdbplatform/ClassRegistry.h"
#include "hdbplatform/MsDaSc.h"
#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"

#include <cwctype>
#include <string>
#include <vector>

namespace {

struct Keyword {
    const wchar_t* name;
    DBPROPID property;
    VARTYPE type; // VT_BSTR, VT_I4 or VT_BOOL
};

constexpr Keyword Keywords[] = {
    {L"data source", DBPROP_INIT_DATASOURCE, VT_BSTR},
    {L"location", DBPROP_INIT_LOCATION, VT_BSTR},
    {L"user id", DBPROP_AUTH_USERID, VT_BSTR},
    {L"password", DBPROP_AUTH_PASSWORD, VT_BSTR},
    {L"initial catalog", DBPROP_INIT_CATALOG, VT_BSTR},
    {L"extended properties", DBPROP_INIT_PROVIDERSTRING, VT_BSTR},
    {L"connect timeout", DBPROP_INIT_TIMEOUT, VT_I4},
    {L"persist security info", DBPROP_AUTH_PERSIST_SENSITIVE_AUTHINFO, VT_BOOL},
};

struct Pair {
    std::wstring key; // lower case, blanks trimmed
    std::wstring value;
};

std::wstring Trimmed(const std::wstring& s) {
    size_t b = 0, e = s.size();
    while (b < e && std::iswspace(static_cast<wint_t>(s[b])))
        ++b;
    while (e > b && std::iswspace(static_cast<wint_t>(s[e - 1])))
        --e;
    return s.substr(b, e - b);
}

// Splits an initialisation string; false when a piece has no '=' or a quote
// is not closed.
bool ParseInitString(const wchar_t* text, std::vector<Pair>& pairs) {
    std::wstring s(text);
    size_t i = 0;
    while (i < s.size()) {
        size_t eq = s.find(L'=', i);
        size_t semi = s.find(L';', i);
        if (semi != std::wstring::npos && (eq == std::wstring::npos || semi < eq)) {
            if (!Trimmed(s.substr(i, semi - i)).empty())
                return false;
            i = semi + 1; // an empty piece
            continue;
        }
        if (eq == std::wstring::npos)
            return Trimmed(s.substr(i)).empty();
        Pair pair;
        pair.key = Trimmed(s.substr(i, eq - i));
        for (auto& c : pair.key)
            c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
        if (pair.key.empty())
            return false;
        i = eq + 1;
        while (i < s.size() && std::iswspace(static_cast<wint_t>(s[i])))
            ++i;
        if (i < s.size() && (s[i] == L'"' || s[i] == L'\'')) {
            const wchar_t quote = s[i++];
            for (;;) {
                if (i >= s.size())
                    return false;
                if (s[i] == quote) {
                    if (i + 1 < s.size() && s[i + 1] == quote) {
                        pair.value += quote;
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                pair.value += s[i++];
            }
            size_t end = s.find(L';', i);
            if (!Trimmed(s.substr(i, end == std::wstring::npos ? end : end - i)).empty())
                return false;
            i = end == std::wstring::npos ? s.size() : end + 1;
        } else {
            size_t end = s.find(L';', i);
            pair.value = Trimmed(s.substr(i, end == std::wstring::npos ? end : end - i));
            i = end == std::wstring::npos ? s.size() : end + 1;
        }
        pairs.push_back(std::move(pair));
    }
    return true;
}

// The properties of the known keywords; false for a value of the wrong form.
bool BuildProperties(const std::vector<Pair>& pairs, std::vector<DBPROP>& props) {
    for (const Pair& pair : pairs) {
        for (const Keyword& keyword : Keywords) {
            if (pair.key != keyword.name)
                continue;
            DBPROP prop{};
            prop.dwPropertyID = keyword.property;
            prop.dwOptions = DBPROPOPTIONS_REQUIRED;
            VariantInit(&prop.vValue);
            if (keyword.type == VT_BSTR) {
                prop.vValue.vt = VT_BSTR;
                prop.vValue.bstrVal =
                    SysAllocStringLen(pair.value.data(), static_cast<UINT>(pair.value.size()));
                if (!prop.vValue.bstrVal)
                    return false;
            } else if (keyword.type == VT_I4) {
                wchar_t* end = nullptr;
                long n = std::wcstol(pair.value.c_str(), &end, 10);
                if (pair.value.empty() || *end != 0 || n < 0 || n > INT32_MAX)
                    return false;
                prop.vValue.vt = VT_I4;
                prop.vValue.lVal = static_cast<LONG>(n);
            } else {
                std::wstring v = pair.value;
                for (auto& c : v)
                    c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
                if (v != L"true" && v != L"false")
                    return false;
                prop.vValue.vt = VT_BOOL;
                prop.vValue.boolVal = v == L"true" ? VARIANT_TRUE : VARIANT_FALSE;
            }
            props.push_back(prop);
        }
    }
    return true;
}

void ClearProperties(std::vector<DBPROP>& props) {
    for (DBPROP& prop : props)
        VariantClear(&prop.vValue);
    props.clear();
}

class DataInitialize final
    : public hdbcom::ComObject<hdbcom::Implements<IDataInitialize, IID_IDataInitialize>> {
public:
    HRESULT STDMETHODCALLTYPE GetDataSource(IUnknown* pUnkOuter, DWORD dwClsCtx,
                                            LPCOLESTR pwszInitializationString, REFIID riid,
                                            IUnknown** ppDataSource) override {
        if (!ppDataSource || !pwszInitializationString)
            return E_INVALIDARG;
        std::vector<Pair> pairs;
        std::vector<DBPROP> props;
        try {
            if (!ParseInitString(pwszInitializationString, pairs) ||
                !BuildProperties(pairs, props)) {
                ClearProperties(props);
                return DB_E_BADINITSTRING;
            }
        } catch (const std::bad_alloc&) {
            ClearProperties(props);
            return E_OUTOFMEMORY;
        }
        // A data source passed in is given the properties in place (the
        // caller keeps its reference); otherwise Provider names the class.
        IUnknown* object = *ppDataSource;
        const bool given = object != nullptr;
        HRESULT hr = S_OK;
        if (given) {
            object->AddRef();
        } else {
            const Pair* provider = nullptr;
            for (const Pair& pair : pairs)
                if (pair.key == L"provider")
                    provider = &pair;
            CLSID clsid;
            if (!provider || FAILED(CLSIDFromString(provider->value.c_str(), &clsid))) {
                ClearProperties(props);
                return DB_E_BADINITSTRING;
            }
            hr = CreateDBInstance(clsid, pUnkOuter, dwClsCtx, nullptr, IID_IUnknown, &object);
            if (FAILED(hr)) {
                ClearProperties(props);
                return hr;
            }
        }
        if (!props.empty()) {
            IDBProperties* properties = nullptr;
            hr = object->QueryInterface(IID_IDBProperties, reinterpret_cast<void**>(&properties));
            if (SUCCEEDED(hr)) {
                DBPROPSET set{props.data(), static_cast<ULONG>(props.size()), DBPROPSET_DBINIT};
                hr = properties->SetProperties(1, &set);
                properties->Release();
            }
        }
        ClearProperties(props);
        // A property the provider does not take (DB_S_ERRORSOCCURRED) is left
        // to Initialize to complain about; a refusal of all is an error now.
        if (FAILED(hr) || given) {
            object->Release();
            return FAILED(hr) ? hr : S_OK;
        }
        hr = object->QueryInterface(riid, reinterpret_cast<void**>(ppDataSource));
        object->Release();
        return hr;
    }

    HRESULT STDMETHODCALLTYPE GetInitializationString(IUnknown*, unsigned char,
                                                      LPOLESTR* ppwszInitString) override {
        if (ppwszInitString)
            *ppwszInitString = nullptr;
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE CreateDBInstance(REFCLSID clsidProvider, IUnknown* pUnkOuter,
                                               DWORD dwClsCtx, LPOLESTR, REFIID riid,
                                               IUnknown** ppDataSource) override {
        if (!ppDataSource)
            return E_INVALIDARG;
        *ppDataSource = nullptr;
        if (pUnkOuter)
            return CLASS_E_NOAGGREGATION;
        return CoCreateInstance(clsidProvider, nullptr, dwClsCtx ? dwClsCtx : CLSCTX_INPROC_SERVER,
                                riid, reinterpret_cast<void**>(ppDataSource));
    }

    HRESULT STDMETHODCALLTYPE CreateDBInstanceEx(REFCLSID, IUnknown*, DWORD, LPOLESTR,
                                                 COSERVERINFO*, ULONG, MULTI_QI*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE LoadStringFromStorage(LPCOLESTR,
                                                    LPOLESTR* ppwszInitializationString) override {
        if (ppwszInitializationString)
            *ppwszInitializationString = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE WriteStringToStorage(LPCOLESTR, LPCOLESTR, DWORD) override {
        return E_NOTIMPL;
    }
};

HRESULT GetDataInitializeClass(REFIID riid, void** ppv) {
    return HdbClassFactory<DataInitialize>::GetClassObject(riid, ppv);
}

const bool kRegistered =
    (HdbRegisterBuiltinClass(CLSID_MSDAINITIALIZE, GetDataInitializeClass), true);

} // namespace
