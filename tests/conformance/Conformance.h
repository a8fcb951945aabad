// The fixture of the conformance suite: one test per backend, a data source
// and session of the provider under test, a table name of its own (the
// process id keeps concurrent runs apart) and the backend's context.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <string>

#include "conformance/Context.h"

namespace conformance {

using namespace providertest;

class Conformance : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        std::string why;
        m_context = MakeContext(GetParam(), why);
        ASSERT_TRUE(m_context) << why;
        m_dso = Open(m_context->Password());
        ASSERT_TRUE(m_dso);
        m_session = NewSession(m_dso.Get());
        ASSERT_TRUE(m_session);
        const std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        m_table = L"conf_" + std::to_wstring(getpid()) + L"_";
        for (char c : test.substr(0, std::min<size_t>(test.find('/'), 30)))
            m_table += std::isalnum(static_cast<unsigned char>(c))
                           ? static_cast<wchar_t>(std::tolower(c))
                           : L'_';
        m_context->CheckerExec(L"DROP TABLE IF EXISTS " + m_table);
    }
    void TearDown() override {
        m_session.Reset();
        m_dso.Reset();
        if (m_context)
            m_context->CheckerExec(L"DROP TABLE IF EXISTS " + m_table);
    }

    // An uninitialised data source of the backend's provider.
    Ptr<IDBInitialize> Create() {
        Ptr<IDBInitialize> dso;
        EXPECT_EQ(CoCreateInstance(m_context->ProviderClassId(), nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IDBInitialize, dso.OutVoid()),
                  S_OK);
        return dso;
    }
    // Sets the backend's initialisation properties on dso (another data
    // source text when given) and initialises it: the result of Initialize.
    HRESULT Initialise(IDBInitialize* dso, const std::wstring& password,
                       const std::wstring& dataSource = L"") {
        Ptr<IDBProperties> props;
        dso->QueryInterface(IID_IDBProperties, props.OutVoid());
        const std::wstring source = dataSource.empty() ? m_context->DataSource() : dataSource;
        const std::wstring user = m_context->User();
        DBPROP p[4] = {Prop(DBPROP_INIT_DATASOURCE, Text(source.c_str())),
                       Prop(DBPROP_AUTH_USERID, Text(user.c_str())),
                       Prop(DBPROP_AUTH_PASSWORD, Text(password.c_str())),
                       Prop(DBPROP_INIT_TIMEOUT, Int(10))};
        DBPROPSET set{p, 4, DBPROPSET_DBINIT};
        EXPECT_EQ(props->SetProperties(1, &set), S_OK);
        for (auto& prop : p)
            VariantClear(&prop.vValue);
        return dso->Initialize();
    }
    // A data source of the backend, initialised with the given password.
    Ptr<IDBInitialize> Open(const std::wstring& password, HRESULT* result = nullptr) {
        Ptr<IDBInitialize> dso = Create();
        if (!dso)
            return dso;
        const HRESULT hr = Initialise(dso.Get(), password);
        if (result != nullptr)
            *result = hr;
        else
            EXPECT_EQ(hr, S_OK) << Describe(TakeErrorRecords());
        return dso;
    }
    // A property of the data source, as GetProperties answers it (the caller
    // clears it).
    VARIANT DataSourceProperty(const GUID& set, DBPROPID id) {
        return PropertyOf(m_dso.Get(), set, id);
    }
    // A property of a data source, empty when it has none; result gets the
    // result of GetProperties.
    static VARIANT PropertyOf(IDBInitialize* dso, const GUID& set, DBPROPID id,
                              HRESULT* result = nullptr) {
        Ptr<IDBProperties> props;
        dso->QueryInterface(IID_IDBProperties, props.OutVoid());
        DBPROPIDSET which{&id, 1, set};
        ULONG count = 0;
        DBPROPSET* sets = nullptr;
        VARIANT value;
        VariantInit(&value);
        const HRESULT hr = props->GetProperties(1, &which, &count, &sets);
        if (result != nullptr)
            *result = hr;
        else
            EXPECT_EQ(hr, S_OK);
        if (sets == nullptr)
            return value;
        if (sets[0].cProperties == 1)
            value = sets[0].rgProperties[0].vValue;
        CoTaskMemFree(sets[0].rgProperties);
        CoTaskMemFree(sets);
        return value;
    }
    // The rowset of a query, or nothing (a failure of the test).
    Ptr<IRowset> OpenRowset(const std::wstring& sql) {
        Ptr<ICommandText> command = NewCommand(m_session.Get(), sql);
        Ptr<IRowset> rowset;
        EXPECT_EQ(command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown()),
                  S_OK)
            << Describe(TakeErrorRecords());
        return rowset;
    }
    // Makes the fixture's table with one integer column holding 1..count,
    // written by the independent client.
    void CreateNumbers(const std::wstring& column, int count) {
        std::wstring values;
        for (int i = 1; i <= count; ++i)
            values += (i > 1 ? L", (" : L"(") + std::to_wstring(i) + L")";
        m_context->CheckerExec(L"CREATE TABLE " + m_table + L" (" + column + L" INTEGER)");
        m_context->CheckerExec(L"INSERT INTO " + m_table + L" VALUES " + values);
    }
    // How many parameters the command describes.
    static DB_UPARAMS ParameterCount(ICommandText* command) {
        Ptr<ICommandWithParameters> parameters;
        EXPECT_EQ(command->QueryInterface(IID_ICommandWithParameters, parameters.OutVoid()), S_OK);
        DB_UPARAMS count = 0;
        DBPARAMINFO* info = nullptr;
        OLECHAR* names = nullptr;
        if (parameters) {
            EXPECT_EQ(parameters->GetParameterInfo(&count, &info, &names), S_OK);
        }
        CoTaskMemFree(info);
        CoTaskMemFree(names);
        return count;
    }
    // Runs a long query to its first row: the result of Execute, or of the
    // first fetch when the database delivers a result at once and the read
    // is what runs long.
    static HRESULT RunToFirstRow(ICommandText* command) {
        Ptr<IRowset> rowset;
        HRESULT hr = command->Execute(nullptr, IID_IRowset, nullptr, nullptr, rowset.OutUnknown());
        if (FAILED(hr))
            return hr;
        DBCOUNTITEM obtained = 0;
        HROW* rows = nullptr;
        hr = rowset->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows);
        if (obtained)
            rowset->ReleaseRows(obtained, rows, nullptr, nullptr, nullptr);
        CoTaskMemFree(rows);
        return hr;
    }
    static std::string Describe(const std::vector<Record>& records) {
        std::string out;
        for (const auto& r : records)
            out += " [" + std::string(r.sqlState.begin(), r.sqlState.end()) + "] " +
                   std::string(r.description.begin(), r.description.end());
        return out;
    }
    void Run(const std::wstring& sql) {
        ASSERT_EQ(Exec(m_session.Get(), sql), S_OK)
            << std::string(sql.begin(), sql.end()) << Describe(TakeErrorRecords());
    }

    std::unique_ptr<Context> m_context;
    Ptr<IDBInitialize> m_dso;
    Ptr<IDBCreateCommand> m_session;
    std::wstring m_table;
};

} // namespace conformance
