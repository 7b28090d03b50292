// A host in its own process: a home made for the test, the shipped modules, the log it wrote.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "kqb/kqb.h"
#include "support/temporary_folder.h"

class HostTest : public testing::Test {
protected:
    HostTest() {
        for (char const *name : {"VANTOREX_ERROR_LOCATION", "VANTOREX_ERROR_LOCALE",
                                 "VANTOREX_ERROR_LEVEL", "TEMP", "KQEXEC_HOME"}) {
            unsetenv(name);
        }
        // Message catalogues are the real ones; everything else is the test's own.
        std::filesystem::create_directories(home_.path("share"));
        std::filesystem::create_directory_symlink(KQB_TEST_HOME "/share/msg",
                                                  home_.path("share/msg"));
        home_.write("etc/log.properties",
                    "log4cplus.rootLogger=TRACE, FILE\n"
                    "log4cplus.appender.FILE=log4cplus::FileAppender\n"
                    "log4cplus.appender.FILE.File=" +
                        home_.path("kqb.log") +
                        "\n"
                        "log4cplus.appender.FILE.layout=log4cplus::PatternLayout\n"
                        "log4cplus.appender.FILE.layout.ConversionPattern=%c %F %m%n\n");
        useHome(home_.path());
    }
    ~HostTest() override {
        while (kqbGetBootLevel() > 0) kqbShutdown();
    }

    static void useHome(std::string const &home) { setenv("KQEXEC_HOME", home.c_str(), 1); }

    void writeAppConfig(std::string const &text) {
        home_.write("etc/app.cfg",
                    "BASE/LOGCONFIG_PATH=" + home_.path("etc/log.properties") + "\n" + text);
    }

    // Results with the text of the failure: "" is success.
    static std::string initialize(char const *program = KQB_TEST_BIN "/host") {
        char const *reason = nullptr;
        int const result = kqbInitialize(program, &reason);
        EXPECT_EQ(result == 0, reason == nullptr);
        return reason != nullptr ? reason : "";
    }
    static std::string startup(unsigned flags = 0) {
        char const *reason = nullptr;
        int const result = kqbStartup(&reason, flags);
        EXPECT_EQ(result == 0, reason == nullptr);
        return reason != nullptr ? reason : "";
    }
    static void bringUp(unsigned flags = 0) {
        ASSERT_EQ(initialize(), "");
        ASSERT_EQ(startup(flags), "");
        ASSERT_EQ(kqbGetBootLevel(), 2);
    }

    // An option of the default registry; "<none>" when there is none.
    static std::string option(char const *key) {
        char value[8192];
        int const result = kqbGetOption(nullptr, key, value, sizeof value);
        return result == 0 ? value : "<none>";
    }

    std::string log() const { return home_.read("kqb.log"); }
    bool logged(std::string const &text) const { return log().find(text) != std::string::npos; }

    TemporaryFolder home_;
};
