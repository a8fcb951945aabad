#include "hdbplatform/Haldensettings.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr std::array kVariables = {"HALDENDB_SETTINGS",
                                   "HALDENDB_DATABASE_TYPE",
                                   "HALDENDB_PROVIDER",
                                   "HALDENDB_CONNECTION_TIMEOUT",
                                   "HALDENDB_SQLSERVER_ODBC_DRIVER",
                                   "XDG_CONFIG_HOME",
                                   "HOME"};

// Each test starts with none of the variables set and a fresh folder, and
// leaves the environment as it found it.
class Settings : public ::testing::Test {
protected:
    void SetUp() override {
        for (std::size_t i = 0; i < kVariables.size(); ++i) {
            if (const char* value = std::getenv(kVariables[i]))
                m_saved[i] = value;
            unsetenv(kVariables[i]);
        }
        m_dir = fs::temp_directory_path() /
                ("haldendb-settings-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }

    void TearDown() override {
        for (std::size_t i = 0; i < kVariables.size(); ++i) {
            if (m_saved[i])
                setenv(kVariables[i], m_saved[i]->c_str(), 1);
            else
                unsetenv(kVariables[i]);
        }
        fs::remove_all(m_dir);
    }

    fs::path WriteFile(const std::string& name, const std::string& text) {
        const fs::path path = m_dir / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
        return path;
    }

    void UseFile(const fs::path& path) { setenv("HALDENDB_SETTINGS", path.c_str(), 1); }

    static std::optional<int> Type(const CHaldensettings& s) {
        int value = -99;
        return s.GetDatabaseType(value) ? std::optional(value) : std::nullopt;
    }
    static std::optional<int> Provider(const CHaldensettings& s) {
        int value = -99;
        return s.GetDatabaseConnectionType(value) ? std::optional(value) : std::nullopt;
    }
    static std::optional<int> Timeout(const CHaldensettings& s) {
        int value = -99;
        return s.GetDatabaseConnectionTimeout(value) ? std::optional(value) : std::nullopt;
    }

    fs::path m_dir;

private:
    std::array<std::optional<std::string>, kVariables.size()> m_saved;
};

TEST_F(Settings, NothingConfiguredGivesTheEmbeddedDefault) {
    UseFile(m_dir / "missing.ini");
    const CHaldensettings settings;
    EXPECT_EQ(Type(settings), 1);
    EXPECT_EQ(Provider(settings), 5);
    EXPECT_EQ(Timeout(settings), std::nullopt);
    EXPECT_EQ(settings.GetSqlServerOdbcDriver(), L"FreeTDS");
    EXPECT_EQ(settings.GetSettingsFilePath(), (m_dir / "missing.ini").wstring());
    EXPECT_FALSE(fs::exists(m_dir / "missing.ini")) << "a read-only instance created the file";
}

TEST_F(Settings, FileOverridesDefaultsAndEnvironmentOverridesFile) {
    UseFile(WriteFile("custom.ini", "\xEF\xBB\xBF# comment\n"
                                    "; another comment\n"
                                    "[HaldenDB]\n"
                                    "  databasetype = 7  \n"
                                    "DatabaseConnectionType=0 ; ODBC\n"
                                    "DatabaseConnectionTimeout = 30\n"
                                    "SqlServerOdbcDriver = ODBC Driver 18 # the vendor's\n"
                                    "[other program]\n"
                                    "DatabaseType = 2\n"));
    {
        const CHaldensettings settings;
        EXPECT_EQ(Type(settings), 7);
        EXPECT_EQ(Provider(settings), 0);
        EXPECT_EQ(Timeout(settings), 30);
        EXPECT_EQ(settings.GetSqlServerOdbcDriver(), L"ODBC Driver 18");
    }
    setenv("HALDENDB_SQLSERVER_ODBC_DRIVER", "FreeTDS", 1);
    setenv("HALDENDB_DATABASE_TYPE", "2", 1);
    setenv("HALDENDB_CONNECTION_TIMEOUT", " -1 ", 1);
    const CHaldensettings settings;
    EXPECT_EQ(Type(settings), 2);
    EXPECT_EQ(Provider(settings), 0);
    EXPECT_EQ(Timeout(settings), -1);
    EXPECT_EQ(settings.GetSqlServerOdbcDriver(), L"FreeTDS");
}

TEST_F(Settings, MalformedValuesFallBackToTheNextSource) {
    UseFile(WriteFile("bad.ini", "DatabaseType = 3\n"
                                 "DatabaseType = three\n" // ignored: 3 stays
                                 "DatabaseConnectionType = 12abc\n"
                                 "DatabaseConnectionTimeout = 99999999999\n"
                                 "NoEqualsSign\n"));
    setenv("HALDENDB_DATABASE_TYPE", "x", 1);
    setenv("HALDENDB_PROVIDER", "+-4", 1);
    setenv("HALDENDB_CONNECTION_TIMEOUT", "", 1);
    const CHaldensettings settings;
    EXPECT_EQ(Type(settings), 3);
    EXPECT_EQ(Provider(settings), 5);
    EXPECT_EQ(Timeout(settings), std::nullopt);
}

TEST_F(Settings, DefaultPathFollowsTheUsersFolders) {
    const fs::path xdg = m_dir / "xdg";
    WriteFile("xdg/haldendb/settings.ini", "DatabaseConnectionTimeout = 12\n");
    WriteFile("home/.config/haldendb/settings.ini", "DatabaseConnectionTimeout = 34\n");
    setenv("HOME", (m_dir / "home").c_str(), 1);
    setenv("XDG_CONFIG_HOME", xdg.c_str(), 1);
    EXPECT_EQ(Timeout(CHaldensettings()), 12);
    EXPECT_EQ(CHaldensettings().GetSettingsFilePath(),
              (xdg / "haldendb" / "settings.ini").wstring());

    setenv("XDG_CONFIG_HOME", "relative/folder", 1); // not absolute: ignored
    EXPECT_EQ(Timeout(CHaldensettings()), 34);
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(Timeout(CHaldensettings()), 34);

    unsetenv("HOME");
    EXPECT_TRUE(CHaldensettings().GetSettingsFilePath().empty());
    EXPECT_EQ(Provider(CHaldensettings()), 5);
}

TEST_F(Settings, CreateWritesATemplateThatChangesNothing) {
    const fs::path path = m_dir / "new" / "settings.ini";
    UseFile(path);
    CHaldensettings(true, true); // read-only: never writes
    EXPECT_FALSE(fs::exists(path));

    const CHaldensettings created(false, true);
    ASSERT_TRUE(fs::exists(path));
    EXPECT_EQ(Type(created), 1);
    EXPECT_EQ(Provider(created), 5);
    EXPECT_EQ(Timeout(created), std::nullopt);

    WriteFile("new/settings.ini", "DatabaseType = 0\n");
    const CHaldensettings existing(false, true); // an existing file is left alone
    EXPECT_EQ(Type(existing), 0);
}

} // namespace
