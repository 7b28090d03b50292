#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "platform/kqlog.h"
#include "support/alloc_faults.h"

namespace {

std::string contentOf(std::filesystem::path const &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// A folder with a log file and configurations that write to it; logging is up.
class KqLog : public testing::Test {
protected:
    void SetUp() override {
        std::string name = testing::TempDir() + "kqlogXXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        ASSERT_EQ(kqlogInitialize(), 0);
    }
    void TearDown() override {
        kqlogTerminate();
        std::filesystem::remove_all(folder_);
    }

    std::string path(char const *name) const { return folder_ / name; }
    std::string log() const { return contentOf(path("log")); }

    // Configures from these lines, with an appender FILE for path("log") on top.
    int configure(std::string const &lines) const {
        std::ofstream(path("conf"))
            << "log4cplus.appender.FILE=log4cplus::FileAppender\nlog4cplus.appender.FILE.Append="
               "true\n"
            << "log4cplus.appender.FILE.File=" << path("log") << "\n"
            << "log4cplus.appender.FILE.layout=log4cplus::PatternLayout\n"
            << "log4cplus.appender.FILE.layout.ConversionPattern=%p %c %F:%L %m%n\n"
            << lines << "\n";
        return kqlogConfigure(path("conf").c_str());
    }

    std::filesystem::path folder_;
};

template <class Action>
std::string standardErrorOf(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

TEST_F(KqLog, LevelsAreInherited) {
    KqLogger *const child = kqlogGetLogger("A.B.C");
    KqLogger *const parent = kqlogGetLogger("A");
    EXPECT_EQ(kqlogGetLogger("A.B.C"), child);
    EXPECT_EQ(child->getLevel(), 1);  // everything is kept
    ASSERT_EQ(kqlogConfigure(nullptr), 0);
    EXPECT_EQ(child->getLevel(), 4);
    parent->setLevel(2);
    EXPECT_EQ(child->getLevel(), 2);
    EXPECT_EQ(kqlogGetLogger("A.B.New")->getLevel(), 2);
    EXPECT_EQ(kqlogGetLogger("AB")->getLevel(), 4);
    child->setLevel(5);
    parent->setLevel(0);
    EXPECT_EQ(child->getLevel(), 5);
    child->setLevel(0);
    EXPECT_EQ(child->getLevel(), 4);
    EXPECT_TRUE(child->isEnabled(4) && !child->isEnabled(3));
}

TEST_F(KqLog, OutsideItsLifeEverythingIsDropped) {
    KqLogger *const logger = kqlogGetLogger("KQ.Life");
    logger->setLevel(1);
    kqlogTerminate();
    EXPECT_NE(kqlogConfigure(nullptr), 0);
    logger->setLevel(1);
    EXPECT_FALSE(logger->isEnabled(5));
    EXPECT_EQ(standardErrorOf([&] { logger->write(5, "s", 1, "lost"); }), "");
    for (int cycle = 0; cycle < 50; ++cycle) {
        ASSERT_EQ(kqlogInitialize(), 0);
        EXPECT_EQ(logger->getLevel(), 1);
        ASSERT_EQ(cycle % 2 == 0 ? configure("log4cplus.rootLogger=NOTE, FILE") : 0, 0);
        logger->write(3, "s", cycle, "cycle");
        kqlogTerminate();
    }
    auto const text = log();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 25) << text;
}

TEST_F(KqLog, DefaultWritesWarningsAndErrorsToStandardError) {
    KqLogger *const logger = kqlogGetLogger("KQ.Base");
    logger->write(3, "early", 1, "note");
    logger->write(4, "early", 2, "warning");
    auto const text = standardErrorOf([&] {
        EXPECT_EQ(kqlogConfigure(nullptr), 0);
        logger->write(2, "late", 3, "information");
        logger->write(5, "late", 4, "größer");
        logger->write(5, nullptr, 5, nullptr);
    });
    EXPECT_EQ(text,
              "WARN  KQ.Base - warning (early:2)\nERROR KQ.Base - größer (late:4)\n"
              "ERROR KQ.Base -  (:5)\n");
}

TEST_F(KqLog, TerminateDeliversWhatIsKeptByTheDefault) {
    KqLogger *const logger = kqlogGetLogger("KQ.Base");
    logger->setLevel(2);
    logger->write(2, "s", 1, "information");
    logger->write(5, "s", 2, "error");
    EXPECT_EQ(standardErrorOf(kqlogTerminate), "ERROR KQ.Base - error (s:2)\n");
    EXPECT_EQ(standardErrorOf(kqlogTerminate), "");
}

TEST_F(KqLog, ConfigurationFileSetsLevelsAndDestinations) {
    KqLogger *const noisy = kqlogGetLogger("KQ.Noisy.Child");
    KqLogger *const quiet = kqlogGetLogger("KQ.Quiet");
    for (int level = 1; level <= 5; ++level) {
        noisy->write(level, "kept", level, "early");
        quiet->write(level, "kept", level, "early");
    }
    ASSERT_EQ(configure("log4cplus.rootLogger=NOTE, FILE\nlog4cplus.logger.KQ.Noisy=TRACE\n"
                        "log4cplus.logger.KQ.Quiet=OFF\nlog4cplus.logger.KQ.Debug=DEBUG"),
              0);
    EXPECT_EQ(noisy->getLevel(), 1);
    EXPECT_EQ(kqlogGetLogger("KQ.Debug")->getLevel(), 2);
    EXPECT_EQ(kqlogGetLogger("")->getLevel(), 3);
    EXPECT_FALSE(quiet->isEnabled(5));
    kqlogGetLogger("KQ")->write(3, "live", 9, "now {0} %s");
    EXPECT_EQ(log(),
              "TRACE KQ.Noisy.Child kept:1 early\nINFO KQ.Noisy.Child kept:2 early\n"
              "NOTE KQ.Noisy.Child kept:3 early\nWARN KQ.Noisy.Child kept:4 early\n"
              "ERROR KQ.Noisy.Child kept:5 early\nNOTE KQ live:9 now {0} %s\n");
}

TEST_F(KqLog, ProgramsLevelGoesBeforeTheConfigurations) {
    KqLogger *const logger = kqlogGetLogger("KQ.Own");
    logger->setLevel(2);
    ASSERT_EQ(configure("log4cplus.rootLogger=WARN, FILE\nlog4cplus.logger.KQ.Own=ERROR"), 0);
    EXPECT_EQ(logger->getLevel(), 2);
    logger->setLevel(0);
    EXPECT_EQ(logger->getLevel(), 5);
    ASSERT_EQ(configure("log4cplus.rootLogger=INFO, FILE"), 0);
    EXPECT_EQ(logger->getLevel(), 2);
}

TEST_F(KqLog, BadConfigurationLeavesThePreviousInForce) {
    ASSERT_EQ(configure("log4cplus.rootLogger=WARN, FILE"), 0);
    std::string const bad[] = {
        "",
        "log4cplus.rootLogger=INFO",
        "log4cplus.rootLogger=INFO, X",
        "log4cplus.rootLogger=INFO, X\nlog4cplus.appender.X=no::SuchAppender",
        "log4cplus.rootLogger=INFO, X\nlog4cplus.appender.X=log4cplus::FileAppender\n"
        "log4cplus.appender.X.File=/nowhere/at/all",
        "log4cplus.rootLogger=INFO, FILE\nx=${KQB_NO_SUCH_VARIABLE}/log",
    };
    for (auto const &lines : bad) EXPECT_NE(configure(lines), 0) << lines;
    EXPECT_NE(kqlogConfigure(path("missing").c_str()), 0);
    EXPECT_NE(kqlogConfigure(folder_.c_str()), 0);
    EXPECT_EQ(kqlogGetLogger("KQ")->getLevel(), 4);
    EXPECT_NE(log().find("KQB_NO_SUCH_VARIABLE"), std::string::npos);
    kqlogGetLogger("KQ")->write(4, "s", 1, "still there");
    EXPECT_NE(log().find("still there"), std::string::npos);
}

TEST_F(KqLog, DestinationThatFailsIsToldToTheOthers) {
    auto const errors = standardErrorOf([&] {
        ASSERT_EQ(configure("log4cplus.rootLogger=WARN, FILE, X\n"
                            "log4cplus.appender.X=log4cplus::FileAppender\n"
                            "log4cplus.appender.X.File=/nowhere/at/all"),
                  0);
    });
    EXPECT_EQ(errors, "");
    EXPECT_NE(log().find("'/nowhere/at/all' cannot be written"), std::string::npos) << log();
}

TEST_F(KqLog, AsynchronousAppendingLosesNothing) {
    ASSERT_EQ(configure("log4cplus.appender.FILE.AsyncAppend=true\nlog4cplus.threadPoolSize=3\n"
                        "log4cplus.rootLogger=WARN, FILE"),
              0);
    kqlogGetLogger("KQ")->write(4, "s", 1, "here");
    EXPECT_EQ(log(), "WARN KQ s:1 here\n");
}

TEST_F(KqLog, KeptRecordsAreBounded) {
    KqLogger *const logger = kqlogGetLogger("KQ.Flood");
    logger->setLevel(2);  // so that the count is exact
    for (int i = 0; i < 3000; ++i) logger->write(2, "s", i, "detail");
    logger->write(5, "s", 9999, "important");
    EXPECT_FALSE(kqlogGetLogger("KQ.Other")->isEnabled(3));
    logger->write(5, "s", 1, std::string(300 * 1024, 'x').c_str());
    ASSERT_EQ(configure("log4cplus.rootLogger=INFO, FILE"), 0);
    auto const text = log();
    EXPECT_EQ(text.find("INFO KQ.Flood s:0 detail\n"), 0u);
    EXPECT_NE(text.find("ERROR KQ.Flood s:9999 important\n"), std::string::npos);
    EXPECT_NE(text.find("2251 earlier records"), std::string::npos)
        << text.substr(text.size() - 200);
    EXPECT_LT(text.size(), 64u * 1024);
}

TEST_F(KqLog, WithoutMemoryRecordsAreLostAndNothingElse) {
    ASSERT_EQ(configure("log4cplus.rootLogger=WARN, FILE"), 0);
    std::string const conf = path("conf");
    std::string const text(100, 'x');
    bool failed = true;
    for (int n = 1; failed; ++n) {
        standardErrorOf(kqlogTerminate);  // what was kept when configuring failed
        ASSERT_EQ(kqlogInitialize(), 0);
        std::string const name = "KQ.Memory" + std::to_string(n) + ".Child";
        AllocFaults::failAt(n);
        KqLogger *const logger = kqlogGetLogger(name.c_str());
        logger->write(5, "source", n, text.c_str());
        int const configured = kqlogConfigure(conf.c_str());
        logger->write(5, "source", n, text.c_str());
        AllocFaults::off();
        failed = AllocFaults::hit();
        EXPECT_TRUE(failed || configured == 0) << n;
    }
}

TEST(KqLogThreads, WriteWhileConfigurationChanges) {
    ASSERT_EQ(kqlogInitialize(), 0);
    std::string const log = testing::TempDir() + "kqlog_threads.log";
    std::string const conf = testing::TempDir() + "kqlog_threads.conf";
    std::ofstream(conf)
        << "log4cplus.rootLogger=INFO, F\nlog4cplus.appender.F=log4cplus::FileAppender\n"
        << "log4cplus.appender.F.Append=true\nlog4cplus.appender.F.File=" << log << "\n";
    std::filesystem::remove(log);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&stop, t] {
            std::string const name = "KQ.Thread." + std::to_string(t);
            while (!stop) {
                KqLogger *const logger = kqlogGetLogger(name.c_str());
                logger->write(2, "s", t, "record");
                kqlogGetLogger("KQ.Thread")->setLevel(2 + t);
            }
        });
    }
    for (int i = 0; i < 20; ++i) ASSERT_EQ(kqlogConfigure(conf.c_str()), 0);
    stop = true;
    for (auto &thread : threads) thread.join();
    kqlogTerminate();
    EXPECT_GT(std::filesystem::file_size(log), 0u);
}

}  // namespace
