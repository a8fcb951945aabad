// An outside application: built against the installed library only, it
// registers the library, makes an object of its own on the library's base
// class and checks that reports, traits and the provider table work.
#include <haldendb/haldendb.h>

#include <cstdio>
#include <string>

namespace {

struct Outcome {
    std::wstring caption;
    std::wstring message;
    int reports = 0;
};

void OnError(const CBasicString<wchar_t>& message, const CBasicString<wchar_t>& caption, HRESULT,
             const LoggingSourcePos&, bool, void* userObject) {
    auto* outcome = static_cast<Outcome*>(userObject);
    outcome->caption.assign(caption.data(), caption.size());
    outcome->message.assign(message.data(), message.size());
    ++outcome->reports;
}

// An application class reporting through the library's frame.
class AppObject : public CBaseOLEDBClass {
public:
    AppObject() : CBaseOLEDBClass(false) {}
    bool Fail() {
        return CheckError(E_FAIL, 15531, HDB_SOURCE_POS(L"bool __cdecl AppObject::Fail(void)"),
                          CBasicStringView<wchar_t>(L"outside"));
    }
};

bool Check(bool condition, const char* what) {
    if (!condition)
        std::fprintf(stderr, "outside application: %s failed\n", what);
    return condition;
}

} // namespace

int main() {
    HaldenDBDllInitialize();
    SetThreadUILanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));

    Outcome outcome;
    AppObject object;
    object.SetCallBackForErrorMessages(&OnError, &outcome);
    bool ok = Check(object.Fail(), "CheckError");
    ok &= Check(outcome.reports == 1 && outcome.caption == L"Error", "report caption");
    ok &= Check(outcome.message.find(L"0x80004005 (-2147467259)") != std::wstring::npos,
                "report text");
    ok &= Check(CBaseOLEDBClass::IsSqlServer(CBaseOLEDBClass::eSQLServerOLEDBDriver) &&
                    !CBaseOLEDBClass::IsSqlServer(CBaseOLEDBClass::eMySQL),
                "traits");
    ok &= Check(CBaseOLEDBClass::GetProviderClassId(CBaseOLEDBClass::eProvider5,
                                                    CBaseOLEDBClass::eGenericDatabase) ==
                    CLSID_HDB_EMBEDDED,
                "provider table");
    if (!ok)
        return 1;
    std::puts("outside application: ok");
    return 0;
}
