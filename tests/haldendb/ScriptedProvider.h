// A scripted OLE DB provider for the connection tests: a data initialisation
// service registered in place of the platform's for the life of a
// ScriptedProvider, handing out test-owned data source objects that record
// the properties they are given and answer as the test scripts them.
//
// Every object counts its references; a test that ends with a count other
// than 0 caught a leak or a double release. Also: SettingsIsolation, which
// points the settings library at an empty file for the life of a test.
#pragma once

#include "TestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace hdbtest {

// One property as a data source object received it.
struct ReceivedProperty {
    DBPROPID id = 0;
    DBPROPOPTIONS options = 0;
    VARTYPE type = VT_EMPTY;
    std::wstring text; // VT_BSTR
    LONG number = 0;   // VT_I2, VT_I4
    bool flag = false; // VT_BOOL
    bool nullColumn = false;
};

struct ReceivedSet {
    GUID set = GUID_NULL;
    std::vector<ReceivedProperty> properties;

    const ReceivedProperty* Find(DBPROPID id) const {
        for (const auto& property : properties)
            if (property.id == id)
                return &property;
        return nullptr;
    }
    std::vector<DBPROPID> Ids() const {
        std::vector<DBPROPID> ids;
        for (const auto& property : properties)
            ids.push_back(property.id);
        return ids;
    }
};

// A session: a command factory whose commands are not needed here, and a
// local transaction that answers as scripted.
class ScriptedSession : public TestObject<ScriptedSession, IDBCreateCommand, ITransactionLocal> {
public:
    bool Answers(REFIID iid, IDBCreateCommand*) const { return iid == IID_IDBCreateCommand; }
    bool Answers(REFIID iid, ITransactionLocal*) const {
        return iid == IID_ITransactionLocal || iid == IID_ITransaction;
    }

    HRESULT STDMETHODCALLTYPE CreateCommand(IUnknown*, REFIID, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(BOOL, DWORD, DWORD) override {
        ++commits;
        return commitResult;
    }
    HRESULT STDMETHODCALLTYPE Abort(BOID*, BOOL, BOOL) override {
        ++aborts;
        return abortResult;
    }
    HRESULT STDMETHODCALLTYPE GetTransactionInfo(XACTTRANSINFO*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetOptionsObject(ITransactionOptions**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE StartTransaction(ISOLEVEL level, ULONG, ITransactionOptions*,
                                               ULONG* transactionLevel) override {
        ++starts;
        startedLevel = level;
        if (transactionLevel)
            *transactionLevel = 1;
        return startResult;
    }

    HRESULT startResult = S_OK;
    HRESULT commitResult = S_OK;
    HRESULT abortResult = S_OK;
    int starts = 0;
    int commits = 0;
    int aborts = 0;
    ISOLEVEL startedLevel = 0;
};

// A data source object. Initialize answers `initializeResult` (leaving
// `initializeRecords` as error records when it fails); `beforeInitialize`
// runs first, so a test can hold a connect in the middle.
class ScriptedDataSource : public TestObject<ScriptedDataSource, IDBInitialize, IDBProperties,
                                             IDBCreateSession, ISupportErrorInfo> {
public:
    bool Answers(REFIID iid, IDBInitialize*) const { return iid == IID_IDBInitialize; }
    bool Answers(REFIID iid, IDBProperties*) const { return iid == IID_IDBProperties; }
    bool Answers(REFIID iid, IDBCreateSession*) const { return iid == IID_IDBCreateSession; }
    bool Answers(REFIID iid, ISupportErrorInfo*) const { return iid == IID_ISupportErrorInfo; }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID) override { return S_OK; }

    HRESULT STDMETHODCALLTYPE Initialize() override {
        ++initializeCalls;
        if (beforeInitialize)
            beforeInitialize();
        if (FAILED(initializeResult) && !initializeRecords.empty())
            LeaveErrorRecords(initializeRecords);
        if (SUCCEEDED(initializeResult))
            initialized = true;
        return initializeResult;
    }
    HRESULT STDMETHODCALLTYPE Uninitialize() override {
        initialized = false;
        return S_OK;
    }

    // Answers the connection status alone, for one property of one set.
    HRESULT STDMETHODCALLTYPE GetProperties(ULONG idSetCount, const DBPROPIDSET idSets[],
                                            ULONG* setCount, DBPROPSET** sets) override {
        *setCount = 0;
        *sets = nullptr;
        if (idSetCount != 1 || idSets[0].cPropertyIDs != 1)
            return E_NOTIMPL;
        auto* out = static_cast<DBPROPSET*>(CoTaskMemAlloc(sizeof(DBPROPSET)));
        out->guidPropertySet = idSets[0].guidPropertySet;
        out->cProperties = 1;
        out->rgProperties = static_cast<DBPROP*>(CoTaskMemAlloc(sizeof(DBPROP)));
        DBPROP& property = out->rgProperties[0];
        property = DBPROP{};
        property.dwPropertyID = idSets[0].rgPropertyIDs[0];
        VariantInit(&property.vValue);
        *setCount = 1;
        *sets = out;
        if (idSets[0].guidPropertySet != DBPROPSET_DATASOURCEINFO ||
            property.dwPropertyID != DBPROP_CONNECTIONSTATUS) {
            property.dwStatus = DBPROPSTATUS_NOTSUPPORTED;
            return DB_E_ERRORSOCCURRED;
        }
        property.vValue.vt = VT_I4;
        property.vValue.lVal = initialized ? DBPROPVAL_CS_INITIALIZED : DBPROPVAL_CS_UNINITIALIZED;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPropertyInfo(ULONG, const DBPROPIDSET[], ULONG*, DBPROPINFOSET**,
                                              OLECHAR**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG setCount, DBPROPSET sets[]) override {
        std::vector<ReceivedSet> call;
        for (ULONG s = 0; s < setCount; ++s) {
            ReceivedSet received;
            received.set = sets[s].guidPropertySet;
            for (ULONG p = 0; p < sets[s].cProperties; ++p) {
                const DBPROP& property = sets[s].rgProperties[p];
                ReceivedProperty copy;
                copy.id = property.dwPropertyID;
                copy.options = property.dwOptions;
                copy.type = property.vValue.vt;
                copy.nullColumn = property.colid.eKind == DBKIND_GUID_NAME &&
                                  property.colid.uGuid.guid == GUID_NULL &&
                                  property.colid.uName.pwszName == nullptr;
                if (copy.type == VT_BSTR)
                    copy.text = property.vValue.bstrVal ? property.vValue.bstrVal : L"";
                else if (copy.type == VT_I2)
                    copy.number = property.vValue.iVal;
                else if (copy.type == VT_I4)
                    copy.number = property.vValue.lVal;
                else if (copy.type == VT_BOOL)
                    copy.flag = property.vValue.boolVal == VARIANT_TRUE;
                received.properties.push_back(copy);
            }
            call.push_back(received);
        }
        const std::size_t index = setPropertiesCalls.size();
        setPropertiesCalls.push_back(call);
        return index < setPropertiesResults.size() ? setPropertiesResults[index] : S_OK;
    }

    HRESULT STDMETHODCALLTYPE CreateSession(IUnknown*, REFIID iid, IUnknown** session) override {
        *session = nullptr;
        if (!initialized)
            return E_UNEXPECTED;
        if (sessionsCreated >= sessions.size())
            return E_OUTOFMEMORY;
        return sessions[sessionsCreated++].QueryInterface(iid, reinterpret_cast<void**>(session));
    }

    // Set `set` of SetProperties call `call`.
    const ReceivedSet& Set(std::size_t call, std::size_t set = 0) const {
        return setPropertiesCalls.at(call).at(set);
    }

    HRESULT initializeResult = S_OK;
    std::vector<HdbErrorRecord> initializeRecords;
    std::function<void()> beforeInitialize;
    std::vector<HRESULT> setPropertiesResults;

    std::atomic<bool> initialized{false};
    std::atomic<int> initializeCalls{0};
    std::vector<std::vector<ReceivedSet>> setPropertiesCalls;
    std::vector<ScriptedSession> sessions = std::vector<ScriptedSession>(4);
    std::size_t sessionsCreated = 0;
};

// The data initialisation service: data source objects by provider class
// id; any other class id is not registered.
class ScriptedInitializer : public TestObject<ScriptedInitializer, IDataInitialize> {
public:
    bool Answers(REFIID iid, IDataInitialize*) const { return iid == IID_IDataInitialize; }

    HRESULT STDMETHODCALLTYPE GetDataSource(IUnknown*, DWORD, LPCOLESTR, REFIID,
                                            IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInitializationString(IUnknown*, unsigned char,
                                                      LPOLESTR*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateDBInstance(REFCLSID provider, IUnknown*, DWORD, LPOLESTR,
                                               REFIID iid, IUnknown** object) override {
        *object = nullptr;
        requested.push_back(provider);
        for (auto& [classId, dataSource] : providers)
            if (classId == provider)
                return dataSource->QueryInterface(iid, reinterpret_cast<void**>(object));
        return REGDB_E_CLASSNOTREG;
    }
    HRESULT STDMETHODCALLTYPE CreateDBInstanceEx(REFCLSID, IUnknown*, DWORD, LPOLESTR,
                                                 COSERVERINFO*, ULONG, MULTI_QI*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE LoadStringFromStorage(LPCOLESTR, LPOLESTR*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE WriteStringToStorage(LPCOLESTR, LPCOLESTR, DWORD) override {
        return E_NOTIMPL;
    }

    std::vector<std::pair<CLSID, ScriptedDataSource*>> providers;
    std::vector<CLSID> requested;
};

class ScriptedInitializerFactory : public TestObject<ScriptedInitializerFactory, IClassFactory> {
public:
    explicit ScriptedInitializerFactory(ScriptedInitializer& initializer)
        : m_initializer(initializer) {}
    bool Answers(REFIID iid, IClassFactory*) const { return iid == IID_IClassFactory; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override {
        return m_initializer.QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    ScriptedInitializer& m_initializer;
};

// Registers the scripted service for its own life; `dataSource` serves the
// given provider class ids.
class ScriptedProvider {
public:
    ScriptedProvider() : m_factory(initializer) {
        registered =
            SUCCEEDED(CoRegisterClassObject(CLSID_MSDAINITIALIZE, m_factory.unknown(),
                                            CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie));
    }
    ~ScriptedProvider() {
        if (registered)
            CoRevokeClassObject(m_cookie);
    }
    ScriptedProvider(const ScriptedProvider&) = delete;
    ScriptedProvider& operator=(const ScriptedProvider&) = delete;

    void Serve(const CLSID& provider, ScriptedDataSource& source) {
        initializer.providers.emplace_back(provider, &source);
    }

    ScriptedInitializer initializer;
    bool registered = false;

private:
    ScriptedInitializerFactory m_factory;
    DWORD m_cookie = 0;
};

// For the life of the guard: the settings library reads an empty file and no
// HALDENDB_* variable, so it answers its built-in defaults; `lines` are
// written to the file first.
class SettingsIsolation {
public:
    explicit SettingsIsolation(const std::string& lines = std::string()) {
        for (const char* name : Names()) {
            const char* value = std::getenv(name);
            m_saved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
        m_file = std::filesystem::temp_directory_path() /
                 ("hdb-settings-" + std::to_string(::getpid()) + "-" +
                  std::to_string(reinterpret_cast<std::uintptr_t>(this)) + ".ini");
        std::ofstream(m_file) << lines;
        setenv("HALDENDB_SETTINGS", m_file.c_str(), 1);
    }
    ~SettingsIsolation() {
        for (const auto& [name, value] : m_saved) {
            if (value)
                setenv(name.c_str(), value->c_str(), 1);
            else
                unsetenv(name.c_str());
        }
        std::error_code ignored;
        std::filesystem::remove(m_file, ignored);
    }
    SettingsIsolation(const SettingsIsolation&) = delete;
    SettingsIsolation& operator=(const SettingsIsolation&) = delete;

private:
    static std::vector<const char*> Names() {
        return {"HALDENDB_SETTINGS", "HALDENDB_DATABASE_TYPE", "HALDENDB_PROVIDER",
                "HALDENDB_CONNECTION_TIMEOUT"};
    }
    std::vector<std::pair<std::string, std::optional<std::string>>> m_saved;
    std::filesystem::path m_file;
};

// The reports whose caption is the text of `captionId`.
inline std::vector<Report> ReportsCaptioned(const ReportCollector& collector,
                                            unsigned int captionId) {
    std::vector<Report> found;
    const std::wstring caption = CMessageTable::TextOrUnknown(captionId);
    for (const auto& report : collector.reports)
        if (report.caption == caption)
            found.push_back(report);
    return found;
}

} // namespace hdbtest
