#include <array>
#include <tuple>

#include "process/host.h"

namespace {

using StartupTest = HostTest;

TEST_F(StartupTest, laterSourcesWin) {
    TemporaryFolder user;
    setenv("E", "environment", 1);
    setenv("H", "environment", 1);
    writeAppConfig("A=app\nU=app\nF=app\nD=app\nM=app\nE=app\nH=app\n");
    user.write("app.cfg", "U=user\nF=user\n");
    home_.write("etc/staged.cfg", "F=staged\nD=staged\n");
    home_.write("etc/macros/one.CFG", "D=directory\nM=directory\n");
    home_.write("etc/macros/two.txt", "D=no\n");
    home_.write("etc/macros.cfg", "M=macros\nE=macros\n");
    std::string const absolute = user.write("elsewhere.cfg", "X=absolute\n");
    ASSERT_EQ(initialize(), "");
    kqbStartupSetUserPath(user.path().c_str());
    EXPECT_EQ(kqbStartupAddConfigFile("staged.cfg", nullptr), 0);
    EXPECT_EQ(kqbStartupAddConfigFile(absolute.c_str(), nullptr), 0);
    EXPECT_EQ(kqbStartupAddConfigFile("missing.cfg", nullptr), 0);
    EXPECT_EQ(kqbStartupAddOption("h", "host", nullptr), 0);
    ASSERT_EQ(startup(), "");
    std::pair<char const *, char const *> const expected[] = {
        {"A", "app"},    {"U", "user"},        {"F", "staged"}, {"D", "directory"},
        {"M", "macros"}, {"E", "environment"}, {"H", "host"},   {"X", "absolute"}};
    for (auto const &[key, value] : expected) EXPECT_EQ(option(key), value) << key;
    EXPECT_EQ(option("BASE/REPOS_USER_PATH"), user.path("repositories"));
    EXPECT_EQ(option("BASE/PLUGIN_PATH"), KQB_TEST_BIN);
    kqbShutdown();
    EXPECT_TRUE(logged("Read failed due to missing file or possibly invalid content in '" +
                       home_.path("etc/missing.cfg") + "'"));
    EXPECT_TRUE(logged("Reading configuration file '" + absolute + "'"));
}

TEST_F(StartupTest, stagingKeepsOrderAndCase) {
    ASSERT_EQ(initialize(), "");
    for (char const *path : {"one", "two", "three"}) kqbStartupAddConfigFile(path, nullptr);
    kqbStartupAddOption("Key", "1", nullptr);
    kqbStartupAddOption("KEY", "2", nullptr);
    kqbStartupAddOption("Null", nullptr, nullptr);
    std::tuple<char const *, int, std::string> const cases[] = {
        {".@=Files=@.", 0, "FileCount=3"},
        {".@=Files=@.", 3, "FilePrefix_0003=three"},
        {".@=CommandArgs=@.", 0, "Key=2"}};
    for (auto const &[registry, place, expected] : cases) {
        KqbConfigOptions *const staged = kqbGetConfigOptions(registry);
        EXPECT_EQ(staged->getOptionCount(), expected == "Key=2" ? 2 : 4);
        KqbString key, value;
        staged->getOptionAt(place, &key, &value, false);
        EXPECT_EQ(std::string(key.asCstr()) + "=" + value.asCstr(), expected);
    }
    std::string const path(300, 'p');
    kqbStartupSetUserPath(path.c_str());
    EXPECT_EQ(kqbStartupGetUserPath(), path.substr(0, 259));
}

TEST_F(StartupTest, homesThatAreNone) {
    EXPECT_EQ(startup(), "The library is not initialized.");
    EXPECT_EQ(kqbStartupAddOption("a", "b", nullptr), 1);
    unsetenv("KQEXEC_HOME");
    ASSERT_EQ(initialize(), "");
    EXPECT_EQ(startup(), "The 'KQEXEC_HOME' environment variable is not set");
    EXPECT_EQ(kqbGetBootLevel(), 1);
    std::string const file = home_.write("file", "not a home");
    useHome(file);
    EXPECT_NE(startup(), "");
    kqbShutdown();
    TemporaryFolder empty;
    useHome(empty.path());
    ASSERT_EQ(initialize(), "");
    EXPECT_EQ(startup(),
              "Error message database or one of its components is not found: " + empty.path());
    kqbShutdown();
    useHome(home_.path());
    bringUp();  // nothing of the wrong homes is left
    EXPECT_EQ(option("BASE/MESSAGE_PATH"), home_.path("share/msg"));
}

TEST_F(StartupTest, aHomeWithoutEtcIsItsOwnConfiguration) {
    std::filesystem::remove_all(home_.path("etc"));
    home_.write("app.cfg", "WHERE=home\n");
    bringUp();
    EXPECT_EQ(option("WHERE"), "home");
    EXPECT_EQ(option("BASE/MACROS_PATH"), home_.path("macros"));
}

TEST_F(StartupTest, aLineOf100Megabytes) {
    writeAppConfig("BIG=" + std::string(100'000'000, 'x') + "\nAFTER=1\n");
    bringUp();
    EXPECT_EQ(option("AFTER"), "1");
    EXPECT_EQ(kqbGetOption(nullptr, "BIG", nullptr, 0), -100'000'001);
}

TEST_F(StartupTest, loggingConfigurationsThatAreNone) {
    std::string const missing = home_.path("nowhere.properties");
    std::string const empty = home_.write("empty.properties", "");
    std::string const wrong = home_.write("wrong.properties", "log4cplus.rootLogger=TRACE, NONE\n");
    for (std::string const &path : {missing, empty, home_.path(), wrong}) {
        std::string const text = path == wrong
                                     ? "Failed to configure logging."
                                     : "Logging configuration file " + path + " does not exist.";
        home_.write("etc/app.cfg", "BASE/LOGCONFIG_PATH=" + path + "\n");
        ASSERT_EQ(initialize(), "");
        EXPECT_EQ(startup(), text);
        EXPECT_EQ(kqbGetBootLevel(), 1);
        writeAppConfig("");
        EXPECT_EQ(startup(), "");
        kqbShutdown();
    }
}

TEST_F(StartupTest, effectiveOptionsAreLoggedMasked) {
    writeAppConfig(
        "BASE/AUTH_SERVER_PASS=secret1\nMetaPass=secret2\n"
        "BASE/AUTH_SERVER_LOC=srv;user=a;PASS=secret3,x\nPLAIN=seen\n");
    bringUp();
    for (auto const &[key, value, shown] :
         {std::array{"base/auth_server_loc", "x;pass=a/b", "x;pass=********/b"},
          {"BASE/AUTH_SERVER_LOC", "pass=a;pass=b", "pass=a;pass=b"},
          {"BASE/AUTH_SERVER_LOC", "ä;Pass=b", "ä;Pass=********"},
          {"OTHER", "pass=x,pass=y", "pass=x,pass=y"}}) {
        EXPECT_STREQ(kqbMaskOptionValue(key, value).asCstr(), shown) << value;
    }
    kqbShutdown();
    for (char const *line :
         {"BASE/AUTH_SERVER_PASS=********\n", "MetaPass=********\n",
          "BASE/AUTH_SERVER_LOC=srv;user=a;PASS=********,x\n", "PLAIN=seen\n",
          "Effective options:\n", "KQEXEC_HOME=", "Failed to set authenticating server location (",
          "SSPI is disabled", "KQ.Deps "}) {
        EXPECT_TRUE(logged(line)) << line;
    }
    EXPECT_FALSE(logged("secret"));
}

TEST_F(StartupTest, baseSettings) {
    setenv("TEMP", "/tmp", 1);
    std::filesystem::create_directories(home_.path("suite/bin"));
    std::filesystem::create_directories(home_.path("suite/lib"));
    writeAppConfig("BASE/EXE_PATH=" + home_.path("suite/BIN/") +
                   "\nBASE/SORTTEMP=/nowhere\n"
                   "BASE/AUTH_DEFAULT_DOMAIN=CORP\nBASE/AUTH_SERVER_SSPI=on\n");
    bringUp();
    std::pair<char const *, std::string> const expected[] = {
        {"BASE/TEMP", "/tmp"},
        {"BASE/SHARED_OUTPUT_PATH", "/tmp"},
        {"BASE/LIBRARY_PATH", home_.path("suite/lib")},
        {"BASE/REPOS_SYS_PATH", home_.path("etc/repositories")},
        {"BASE/MESSAGE_PATH", home_.path("share/msg")},
        {"KQEXEC_HOME", home_.path()},
    };
    for (auto const &[key, value] : expected) EXPECT_EQ(option(key), value) << key;
    EXPECT_STREQ(getenv("AUTH_DEFAULT_DOMAIN"), "CORP");
    kqbShutdown();
    EXPECT_EQ(getenv("AUTH_DEFAULT_DOMAIN"), nullptr);
    EXPECT_TRUE(logged("SSPI is enabled"));
    EXPECT_TRUE(logged("Failed to set MX Utility path, '"));
}

TEST_F(StartupTest, authenticationServer) {
    auto const isClientLoaded = [] {
        std::ostringstream maps;
        maps << std::ifstream("/proc/self/maps").rdbuf();
        return maps.str().find("libldap") != std::string::npos;
    };
    KqbString error;
    writeAppConfig(
        "BASE/AUTH_SERVER_LOC=ldap://127.0.0.1:1/dc=x;starttls=no\n"
        "BASE/AUTH_SERVER_USER=cn=suite\nBASE/AUTH_SERVER_PASS=s3cret\n");
    bringUp();
    EXPECT_FALSE(isClientLoaded());
    EXPECT_EQ(nullptr, kqbSubjectListServers(&error));
    EXPECT_NE(-1, error.find("ldap://127.0.0.1:1")) << error.asCstr();
    EXPECT_TRUE(isClientLoaded());
    error.setNull();
    kqbShutdown();
    EXPECT_TRUE(logged("The servers cannot be listed (ldap://127.0.0.1:1"));
    EXPECT_FALSE(logged("s3cret"));

    // One that is refused is not passed over; one that is gone is forgotten.
    writeAppConfig("BASE/AUTH_SERVER_LOC=srv;user=a\n");
    bringUp();
    EXPECT_EQ(nullptr, kqbSubjectListServers());
    kqbShutdown();
    EXPECT_TRUE(logged("Failed to set authenticating server location (The authentication server"));
    writeAppConfig("");
    bringUp();
    KqbStringCursor *const servers = kqbSubjectListServers();
    ASSERT_NE(nullptr, servers);
    EXPECT_EQ(KqbCursorRow, servers->next());
    servers->release();
}

TEST_F(StartupTest, libraryPathIsDerived) {
    for (char const *folder : {"both/bin", "both/lib", "tools/lib", "none/bin"}) {
        std::filesystem::create_directories(home_.path(folder));
    }
    for (auto const &[executables, libraries] : {std::pair{"both/bin", "both/lib"},
                                                 {"tools", "tools/lib"},
                                                 {"none/bin", "none"},
                                                 {"cabin", "cabin"}}) {
        writeAppConfig("BASE/EXE_PATH=" + home_.path(executables) + "\n");
        bringUp();
        EXPECT_EQ(option("BASE/LIBRARY_PATH"), home_.path(libraries)) << executables;
        kqbShutdown();
    }
}

TEST_F(StartupTest, dateOptions) {
    for (bool const hasMilliseconds : {true, false}) {
        writeAppConfig(std::string("BASE/TIME_BASE=gmt\nBASE/DATE_FORMAT=") +
                       (hasMilliseconds ? "iso8601\n" : "ISO8601_No_Milli\n"));
        bringUp();
        // Nothing of it may outlive the shutdown.
        EXPECT_STREQ(KqbDatavar().assign(KqbDate(2017, 5, 5, 9, 3, 7)).asString().asCstr(),
                     hasMilliseconds ? "2017-05-05T09:03:07.000" : "2017-05-05T09:03:07");
        double const utc = KqbDate::currentDate(true).asDouble();
        EXPECT_NEAR(KqbDate::currentDate(false).asDouble(), utc, 1.0 / 1440);
        kqbShutdown();
    }
}

TEST_F(StartupTest, messageLocaleComesFromTheHostFirst) {
    writeAppConfig("BASE/MESSAGE_LOCALE=de_AT\n");
    bringUp();
    std::string const german = kqb_get_message(KQB_BASE_SERVICES, 444, "test").asCstr();
    kqbShutdown();
    setenv("VANTOREX_ERROR_LOCALE", "en", 1);
    bringUp();
    std::string const english = kqb_get_message(KQB_BASE_SERVICES, 444, "test").asCstr();
    EXPECT_NE(german, english);
    EXPECT_TRUE(kqbSetMessageLocale("de"));
    EXPECT_EQ(kqb_get_message(KQB_BASE_SERVICES, 444, "test").asCstr(), german);
}

TEST_F(StartupTest, dependencyLibrariesThatAreNone) {
    std::tuple<char const *, char const *, bool> const cases[] = {
        {"missing", "Error loading dependency library", false},
        {"no_entry", "Failed to find dependency startup/shutdown/interface functions", false},
        {"failing", "Dependency startup failed", true}};
    writeAppConfig("");
    for (auto const &[kind, text, isKnown] : cases) {
        std::string const program = std::string(KQB_TEST_PLUGINS "/kqbdeps_") + kind + "/host";
        ASSERT_EQ(initialize(program.c_str()), "") << kind;
        EXPECT_EQ(startup(), text);
        EXPECT_EQ(kqbGetBootLevel(), 1);
        EXPECT_EQ(startup(KQB_STARTUP_TOLERANT), "") << kind;
        EXPECT_EQ(kqbGetBootLevel(), 2);
        kqbShutdown();
        EXPECT_EQ(logged("startup func was not registered"), !isKnown) << kind;
    }
    bringUp();
}

TEST_F(StartupTest, startingAgainMergesAgain) {
    writeAppConfig("A=1\nB=1\n");
    bringUp();
    writeAppConfig("A=2\n");
    ASSERT_EQ(startup(), "");
    EXPECT_EQ(option("A"), "2");
    EXPECT_EQ(option("B"), "1");
}

}  // namespace
