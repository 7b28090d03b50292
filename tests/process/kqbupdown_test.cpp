#include "process/host.h"

namespace {

using UpDownTest = HostTest;

TEST_F(UpDownTest, initialisationsAreCounted) {
    writeAppConfig("");
    EXPECT_EQ(kqbGetBootLevel(), 0);
    kqbShutdown();
    ASSERT_EQ(initialize(), "");
    EXPECT_EQ(kqbGetBootLevel(), 1);
    ASSERT_EQ(initialize(), "");
    ASSERT_EQ(startup(), "");
    kqbShutdown();
    EXPECT_EQ(kqbGetBootLevel(), 2);
    kqbShutdown();
    EXPECT_EQ(kqbGetBootLevel(), 0);
    kqbShutdown();
    EXPECT_TRUE(logged("Entered kqbShutdown\nKQ.Base kqbupdown kqbShutdown more references"));
}

TEST_F(UpDownTest, executablePathsThatCannotBe) {
    std::string const longest = "/" + std::string(128, 'd') + "/" + std::string(128, 'd') + "/x";
    ASSERT_EQ(longest.size(), 260U);
    std::string const tooLong = longest + "x";
    std::string const none = "Path to executable could not be determined.";
    std::string const tooFar = "Executable path exceeds maximum path length.";
    std::string const noModule = "Error loading text IO library libkqbio38.so";
    for (auto const &[path, text] : {std::pair{static_cast<char const *>(nullptr), none},
                                     {"", none},
                                     {"program", none},
                                     {tooLong.c_str(), tooFar},
                                     {longest.c_str(), noModule}}) {
        EXPECT_EQ(initialize(path), text);
        EXPECT_EQ(kqbGetBootLevel(), 0);
        EXPECT_EQ(option("PATH"), "<none>");
    }
    char const *reason = nullptr;
    EXPECT_EQ(kqbInitializeWithMX(KQB_TEST_BIN "/host", "/nowhere", &reason), 1);
    ASSERT_NE(reason, nullptr);
    EXPECT_EQ(kqbInitializeWithMX(KQB_TEST_BIN "/host", home_.path().c_str(), &reason), 0);
    EXPECT_EQ(kqbGetBootLevel(), 1);
}

TEST_F(UpDownTest, textIoModulesThatAreNone) {
    for (auto const &[folder, reason] :
         {std::pair{"kqbio_no_entry", "Failed to find Text IO initialize function."},
          {"kqbio_null", "Failed to initialize Text IO."},
          {"kqbio_no_library", "libkqbio38.so"},
          {"empty", "Error loading text IO library libkqbio38.so"}}) {
        std::string const program = std::string(KQB_TEST_PLUGINS "/") + folder + "/host";
        std::string const text = initialize(program.c_str());
        EXPECT_NE(text.find(reason), std::string::npos) << folder << ": " << text;
        EXPECT_EQ(kqbGetBootLevel(), 0);
    }
    bringUp();
}

TEST_F(UpDownTest, modulesThatOthersMayWriteToAreRefused) {
    std::filesystem::create_directories(home_.path("bin"));
    std::filesystem::copy(KQB_TEST_BIN "/libkqbio38.so", home_.path("bin/libkqbio38.so"));
    std::filesystem::permissions(home_.path("bin/libkqbio38.so"), std::filesystem::perms::all);
    std::string const text = initialize(home_.path("bin/host").c_str());
    EXPECT_NE(text.find("libkqbio38.so"), std::string::npos) << text;
    EXPECT_EQ(text.find("Error loading"), std::string::npos) << text;
}

TEST_F(UpDownTest, shutdownRunsInOrder) {
    static std::string order;
    order.clear();
    writeAppConfig("");
    ASSERT_EQ(initialize(), "");
    kqbRegisterShutdownHandler([](void *argument) { order += static_cast<char *>(argument); },
                               const_cast<char *>("A"));
    kqbRegisterShutdownHandler([](void *argument) { order += static_cast<char *>(argument); },
                               const_cast<char *>("B"));
    ASSERT_EQ(startup(), "");
    kqbShutdown();
    EXPECT_EQ(order, "BA");
    std::string const text = log();
    std::size_t at = 0;
    for (char const *step :
         {"Entered kqbShutdown", "kqbShutdown calling depsShutdown",
          "kqbShutdown calling shutdown handlers", "kqbShutdown destroying config opts",
          "kqbShutdown tossing text file support", "kqbShutdown freeing memory pool",
          "kqbShutdown terminating message file support", "kqbShutdown destroying global mutex",
          "kqbShutdown destroying global singleton mutex", "kqbShutdown terminating kqbb"}) {
        at = text.find(std::string("KQ.Base kqbupdown ") + step, at);
        ASSERT_NE(at, std::string::npos) << step << "\n" << text;
    }
    bringUp();
    kqbShutdown();
    EXPECT_EQ(order, "BABA");  // registrations outlive a shutdown
}

TEST_F(UpDownTest, assertionsReachHandlersNewestFirst) {
    static std::string seen;
    seen.clear();
    auto const note = [](char const *message, char const *file, int line, void *who) {
        seen += std::string(static_cast<char *>(who)) + message + file + std::to_string(line) + " ";
    };
    writeAppConfig("");
    kqbRegisterAssertionHandler(note, const_cast<char *>("1"));
    ASSERT_EQ(initialize(), "");
    kqbRegisterAssertionHandler(note, const_cast<char *>("2"));
    ASSERT_EQ(startup(), "");
    kqbAssertFailure("broken", "file", 7);
    kqbAssertFailure(nullptr, "f", 8);
    EXPECT_EQ(seen, "2brokenfile7 1brokenfile7 2FAILUREf8 1FAILUREf8 ");
    kqbShutdown();
    EXPECT_TRUE(logged("ASSERT file 7: broken"));
}

TEST_F(UpDownTest, manyLivesInOneProcess) {
    writeAppConfig("A=1\n");
    for (int i = 0; i < 20; ++i) {
        bringUp();
        EXPECT_EQ(option("a"), "1");
        kqbShutdown();
        EXPECT_EQ(kqbGetBootLevel(), 0);
        EXPECT_EQ(getenv("VANTOREX_ERROR_LOCATION"), nullptr);  // the host's environment is back
    }
}

}  // namespace
