#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <thread>
#include <vector>

#include "platform/kqlog.h"
#include "support/alloc_faults.h"
#include "support/temporary_folder.h"

namespace {

// A folder with a log file and configurations that write to it; logging is up.
class KqLog : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(kqlogInitialize(), 0); }
    void TearDown() override { kqlogTerminate(); }

    std::string log() const { return folder_.read("log"); }

    // Configures from these lines, with an appender FILE for the log file on top.
    int configure(std::string const &lines) const {
        std::string const top =
            "log4cplus.appender.FILE=log4cplus::FileAppender\n"
            "log4cplus.appender.FILE.Append=true\n"
            "log4cplus.appender.FILE.File=" +
            folder_.path("log") +
            "\nlog4cplus.appender.FILE.layout=log4cplus::PatternLayout\n"
            "log4cplus.appender.FILE.layout.ConversionPattern="
            "%p %c %F:%L %m%n\n";
        return kqlogConfigure(folder_.write("conf", top + lines + "\n").c_str());
    }

    TemporaryFolder folder_;
};

std::string standardErrorOf(std::function<void()> action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

TEST_F(KqLog, OutsideItsLifeEverythingIsDropped) {
    KqLogger *const logger = kqlogGetLogger("KQ.Life");
    kqlogTerminate();
    EXPECT_NE(kqlogConfigure(nullptr), 0);
    EXPECT_EQ(standardErrorOf([&] { logger->write(5, "s", 1, "lost"); }), "");
    ASSERT_EQ(kqlogInitialize(), 0);
    logger->write(4, "s", 2, "größer");
    EXPECT_EQ(standardErrorOf(kqlogTerminate), "WARN  KQ.Life - größer (s:2)\n");
    for (int cycle = 0; cycle < 50; ++cycle) {
        ASSERT_EQ(kqlogInitialize(), 0);
        ASSERT_EQ(cycle % 2 == 0 ? configure("log4cplus.rootLogger=NOTE, FILE") : 0, 0);
        logger->write(3, "s", cycle, "cycle");
        kqlogTerminate();
    }
    auto const text = log();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 25) << text;
}

TEST_F(KqLog, ConfigurationFileSetsLevelsAndDestinations) {
    for (int level = 1; level <= 5; ++level) {
        kqlogGetLogger("KQ.Noisy.Child")->write(level, "kept", level, "early");
        kqlogGetLogger("KQ.Quiet")->write(level, "kept", level, "early");
    }
    ASSERT_EQ(configure("log4cplus.rootLogger=NOTE, FILE\nlog4cplus.logger.KQ.Noisy=TRACE\n"
                        "log4cplus.logger.KQ.Quiet=OFF"),
              0);
    KqLogger *const child = kqlogGetLogger("KQ.Noisy.Child.Last");
    EXPECT_EQ(child->getLevel(), 1);
    kqlogGetLogger("KQ.Noisy")->setLevel(5);
    EXPECT_TRUE(child->isEnabled(5) && !child->isEnabled(4));
    kqlogGetLogger("KQ.Noisy")->setLevel(0);
    EXPECT_EQ(child->getLevel(), 1) << "as configured";
    kqlogGetLogger("KQ")->write(3, "live", 9, "now {0} %s");
    EXPECT_EQ(log(),
              "TRACE KQ.Noisy.Child kept:1 early\nINFO KQ.Noisy.Child kept:2 early\n"
              "NOTE KQ.Noisy.Child kept:3 early\nWARN KQ.Noisy.Child kept:4 early\n"
              "ERROR KQ.Noisy.Child kept:5 early\nNOTE KQ live:9 now {0} %s\n");
}

TEST_F(KqLog, BadConfigurationLeavesThePreviousInForce) {
    ASSERT_EQ(configure("log4cplus.rootLogger=WARN, FILE"), 0);
    std::string const bad[] = {"", "log4cplus.rootLogger=INFO", "log4cplus.rootLogger=INFO, X",
                               "log4cplus.rootLogger=INFO, FILE\nx=${KQB_NO_SUCH_VARIABLE}/log"};
    for (auto const &lines : bad) EXPECT_NE(configure(lines), 0) << lines;
    EXPECT_NE(kqlogConfigure(folder_.path("missing").c_str()), 0);
    kqlogGetLogger("KQ")->write(4, "s", 1, "still there");
    EXPECT_NE(log().find("still there"), std::string::npos);
}

TEST_F(KqLog, KeptRecordsAreBounded) {
    KqLogger *const logger = kqlogGetLogger("KQ.Flood");
    logger->setLevel(2);  // so that the count is exact
    for (int i = 0; i < 3000; ++i) logger->write(2, "s", i, "detail");
    logger->write(5, "s", 9999, "important");
    logger->write(5, "s", 1, std::string(300 * 1024, 'x').c_str());
    ASSERT_EQ(configure("log4cplus.rootLogger=INFO, FILE"), 0);
    auto const text = log();
    EXPECT_EQ(text.find("INFO KQ.Flood s:0 detail\n"), 0u);
    EXPECT_NE(text.find("ERROR KQ.Flood s:9999 important\n"), std::string::npos);
    EXPECT_NE(text.find("2251 earlier records"), std::string::npos);
    EXPECT_LT(text.size(), 64u * 1024);
}

TEST_F(KqLog, WithoutMemoryRecordsAreLostAndNothingElse) {
    ASSERT_EQ(configure("log4cplus.rootLogger=WARN, FILE"), 0);
    std::string const conf = folder_.path("conf"), text(100, 'x');
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

class KqLogThreads : public KqLog {};

TEST_F(KqLogThreads, WriteWhileConfigurationChanges) {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([t](std::stop_token stop) {
            std::string const name = "KQ.Thread." + std::to_string(t);
            while (!stop.stop_requested()) {
                kqlogGetLogger(name.c_str())->write(2, "s", t, "record");
                kqlogGetLogger("KQ.Thread")->setLevel(2 + t);
            }
        });
    }
    for (int i = 0; i < 20; ++i) ASSERT_EQ(configure("log4cplus.rootLogger=INFO, FILE"), 0);
    threads.clear();
    EXPECT_NE(log(), "");
}

}  // namespace
