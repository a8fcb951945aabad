#include "SqlServerConnectionString.h"

#include <cwctype>

#include "OdbcConnectionString.h"
#include "hdbplatform/OleDbSupplement.h"

namespace hdb::bridge {

namespace {

bool NamesFreeTds(const std::wstring& driver) {
    std::wstring upper;
    for (wchar_t c : driver)
        upper.push_back(static_cast<wchar_t>(std::towupper(c)));
    return upper.find(L"FREETDS") != std::wstring::npos;
}

const std::wstring* OptionValue(const backend::ConnectOptions& options, DBPROPID id) {
    for (const backend::InitOption& option : options.backendOptions)
        if (option.set == DBPROPSET_SQLSERVERDBINIT && option.id == id)
            return &option.value;
    return nullptr;
}

bool OptionOn(const backend::ConnectOptions& options, DBPROPID id) {
    const std::wstring* value = OptionValue(options, id);
    return value != nullptr && *value != L"0";
}

void Add(std::wstring& text, const wchar_t* key, const std::wstring& value) {
    text += key;
    text += L'=';
    text += odbc::OdbcConnectionString::Quote(value);
    text += L';';
}

// The server part: the free driver takes the port as an attribute of its
// own, the vendor's drivers as "host,port".
void AddServer(std::wstring& text, const std::wstring& server, bool freeTds) {
    const size_t comma = server.rfind(L',');
    if (freeTds && comma != std::wstring::npos) {
        Add(text, L"SERVER", server.substr(0, comma));
        Add(text, L"PORT", server.substr(comma + 1));
    } else {
        Add(text, L"SERVER", server);
    }
}

// Encryption as the driver names it: the free driver knows "request" and
// "require", the vendor's drivers the property's own words.
void AddEncryption(std::wstring& text, const std::wstring& mode, bool freeTds) {
    if (freeTds)
        Add(text, L"Encryption", mode == L"Optional" ? L"request" : L"require");
    else
        Add(text, L"Encrypt", mode);
}

} // namespace

std::vector<backend::InitProperty> SqlServerConnectionString::Properties() {
    return {{&DBPROPSET_SQLSERVERDBINIT, SqlServerExtraText, VT_BSTR, L"Extra Provider Text"},
            {&DBPROPSET_SQLSERVERDBINIT, SqlServerEncrypt, VT_BSTR, L"Use Encryption for Data"},
            {&DBPROPSET_SQLSERVERDBINIT, SqlServerMultipleResults, VT_BOOL,
             L"Multiple Active Result Sets"},
            {&DBPROPSET_SQLSERVERDBINIT, SqlServerTrustCertificate, VT_BOOL,
             L"Trust Server Certificate"}};
}

std::wstring SqlServerConnectionString::Build(const backend::ConnectOptions& options,
                                              const std::wstring& driver) {
    const bool freeTds = NamesFreeTds(driver);
    std::wstring text;
    Add(text, L"DRIVER", driver);
    AddServer(text, options.dataSource, freeTds);
    if (!options.integratedSecurity.empty() && options.user.empty())
        Add(text, L"Trusted_Connection", L"Yes");
    if (OptionOn(options, SqlServerMultipleResults))
        Add(text, L"MARS_Connection", L"Yes");
    if (const std::wstring* mode = OptionValue(options, SqlServerEncrypt); mode && !mode->empty())
        AddEncryption(text, *mode, freeTds);
    if (OptionOn(options, SqlServerTrustCertificate) && !freeTds)
        Add(text, L"TrustServerCertificate", L"Yes");
    if (const std::wstring* extra = OptionValue(options, SqlServerExtraText);
        extra && !extra->empty())
        text += *extra + L';';
    return text;
}

} // namespace hdb::bridge
