// Finding classes through registry files and loadable modules.
#include "Probe.h"

#include "hdbplatform/ClassRegistry.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr CLSID CLSID_Missing = {
    0x7d2c41e0, 0x0b9a, 0x4b57, {0xa3, 0x6e, 0x5f, 0x10, 0x42, 0x9c, 0x7e, 0x10}};
constexpr CLSID CLSID_NoEntry = {
    0x7d2c41e0, 0x0b9a, 0x4b57, {0xa3, 0x6e, 0x5f, 0x10, 0x42, 0x9c, 0x7e, 0x11}};
constexpr CLSID CLSID_Unregistered = {
    0x7d2c41e0, 0x0b9a, 0x4b57, {0xa3, 0x6e, 0x5f, 0x10, 0x42, 0x9c, 0x7e, 0x12}};
constexpr CLSID CLSID_Programmatic = {
    0x7d2c41e0, 0x0b9a, 0x4b57, {0xa3, 0x6e, 0x5f, 0x10, 0x42, 0x9c, 0x7e, 0x13}};

constexpr HRESULT ModuleNotFound = HResultOf(0x8007007E);
constexpr HRESULT EntryPointNotFound = HResultOf(0x8007007F);

std::string TextOf(REFCLSID clsid) {
    wchar_t wide[39];
    StringFromGUID2(clsid, wide, 39);
    return std::string(wide, wide + 38);
}

class RegistryFiles : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("hdb-registry-" + std::to_string(getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir_);
    }
    void TearDown() override {
        unsetenv("HALDENDB_CLASS_REGISTRY");
        HdbReloadClassRegistry();
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }

    fs::path Write(const std::string& name, const std::string& text) {
        fs::path file = dir_ / name;
        std::ofstream(file) << text;
        return file;
    }
    // Points the registry at files (in this order) and makes it read them anew.
    void Use(const std::string& files) {
        setenv("HALDENDB_CLASS_REGISTRY", files.c_str(), 1);
        HdbReloadClassRegistry();
    }

    HRESULT Create(REFCLSID clsid, IRegistryProbe** probe) {
        *probe = nullptr;
        return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistryProbe,
                                reinterpret_cast<void**>(probe));
    }

    fs::path dir_;
};

TEST_F(RegistryFiles, CreatesTheClassOfARegisteredModule) {
    Use(Write("classes.reg", "# test registry\n\n   " + TextOf(CLSID_RegistryProbe) + " = " +
                                 HDB_PROBE_MODULE + "  \n")
            .string());
    IRegistryProbe* probe = nullptr;
    ASSERT_EQ(Create(CLSID_RegistryProbe, &probe), S_OK);
    IUnknown* unknown = nullptr;
    ASSERT_EQ(probe->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
    IRegistryProbe* again = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IRegistryProbe, reinterpret_cast<void**>(&again)), S_OK);
    EXPECT_EQ(again, probe);
    void* none = nullptr;
    EXPECT_EQ(unknown->QueryInterface(IID_IStream, &none), E_NOINTERFACE);
    again->Release();
    unknown->Release();

    // A second object comes from the same, already loaded module.
    IRegistryProbe* second = nullptr;
    ASSERT_EQ(Create(CLSID_RegistryProbe, &second), S_OK);
    EXPECT_EQ(second->LoadCount(), 1);
    EXPECT_NE(second, probe);
    second->Release();
    probe->Release();
}

TEST_F(RegistryFiles, ReportsMissingModulesEntryPointsAndClasses) {
    Use(Write("classes.reg", TextOf(CLSID_Missing) + " = " + (dir_ / "absent.so").string() + "\n" +
                                 TextOf(CLSID_NoEntry) + " = " + HDB_NO_ENTRY_MODULE + "\n")
            .string());
    IRegistryProbe* probe = nullptr;
    EXPECT_EQ(Create(CLSID_Missing, &probe), ModuleNotFound);
    EXPECT_EQ(Create(CLSID_NoEntry, &probe), EntryPointNotFound);
    EXPECT_EQ(Create(CLSID_Unregistered, &probe), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(probe, nullptr);
    // Asking again gives the same answers (nothing half-registered remains).
    EXPECT_EQ(Create(CLSID_Missing, &probe), ModuleNotFound);
    EXPECT_EQ(Create(CLSID_NoEntry, &probe), EntryPointNotFound);
}

TEST_F(RegistryFiles, LaterFilesOverrideEarlierOnes) {
    fs::path broken = Write("broken.reg", TextOf(CLSID_RegistryProbe) + " = no/such/module.so\n");
    fs::path good = Write("good.reg", TextOf(CLSID_RegistryProbe) + "=" + HDB_PROBE_MODULE + "\n");
    IRegistryProbe* probe = nullptr;

    Use(broken.string() + ":" + good.string());
    ASSERT_EQ(Create(CLSID_RegistryProbe, &probe), S_OK);
    probe->Release();

    Use(good.string() + "::" + broken.string());
    EXPECT_EQ(Create(CLSID_RegistryProbe, &probe), ModuleNotFound);
}

TEST_F(RegistryFiles, RelativeModulePathsStartAtTheFilesDirectory) {
    fs::create_directories(dir_ / "modules");
    fs::copy_file(HDB_PROBE_MODULE, dir_ / "modules" / "probe.so");
    fs::path file = Write("relative.reg", TextOf(CLSID_RegistryProbe) + " = modules/probe.so\n");
    fs::path elsewhere = fs::current_path();
    fs::current_path(fs::temp_directory_path()); // not the registry file's directory
    Use(file.string());
    IRegistryProbe* probe = nullptr;
    HRESULT hr = Create(CLSID_RegistryProbe, &probe);
    fs::current_path(elsewhere);
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(fs::path(probe->ModulePath()).filename(), "probe.so");
    probe->Release();
}

TEST_F(RegistryFiles, MalformedLinesAreSkipped) {
    Use(Write("messy.reg", "{not-a-guid} = " + std::string(HDB_PROBE_MODULE) + "\n" +
                               TextOf(CLSID_Missing) + "\n" +             // no module
                               TextOf(CLSID_NoEntry) + " = \n" +          // empty module
                               "#" + TextOf(CLSID_Unregistered) + " = " + // commented out
                               HDB_PROBE_MODULE + "\n" + TextOf(CLSID_RegistryProbe) + " = " +
                               HDB_PROBE_MODULE) // no final newline
            .string());
    IRegistryProbe* probe = nullptr;
    EXPECT_EQ(Create(CLSID_Missing, &probe), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(CLSID_NoEntry, &probe), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(CLSID_Unregistered, &probe), REGDB_E_CLASSNOTREG);
    ASSERT_EQ(Create(CLSID_RegistryProbe, &probe), S_OK);
    probe->Release();
}

TEST_F(RegistryFiles, ReloadForgetsEntriesOfFilesNoLongerNamed) {
    Use(Write("classes.reg", TextOf(CLSID_RegistryProbe) + " = " + HDB_PROBE_MODULE + "\n")
            .string());
    IRegistryProbe* probe = nullptr;
    ASSERT_EQ(Create(CLSID_RegistryProbe, &probe), S_OK);
    probe->Release();
    unsetenv("HALDENDB_CLASS_REGISTRY");
    HdbReloadClassRegistry();
    EXPECT_EQ(Create(CLSID_RegistryProbe, &probe), REGDB_E_CLASSNOTREG);
}

TEST_F(RegistryFiles, ProgrammaticEntriesOverrideFilesAndSurviveReloads) {
    Use(Write("classes.reg", TextOf(CLSID_Programmatic) + " = " + (dir_ / "absent.so").string())
            .string());
    ASSERT_EQ(HdbRegisterClassModule(CLSID_Programmatic, HDB_PROBE_MODULE), S_OK);
    HdbReloadClassRegistry();
    IRegistryProbe* probe = nullptr;
    // The module answers only for its own class id, which is not this one.
    EXPECT_EQ(Create(CLSID_Programmatic, &probe), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(HdbRegisterClassModule(CLSID_Programmatic, nullptr), E_INVALIDARG);
    ASSERT_EQ(HdbRegisterClassModule(CLSID_Programmatic, (dir_ / "gone.so").c_str()), S_OK);
    EXPECT_EQ(Create(CLSID_Programmatic, &probe), ModuleNotFound);
}

} // namespace
