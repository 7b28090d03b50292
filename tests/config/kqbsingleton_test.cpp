#include "kqb/kqbsingleton.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "config/config_fixture.h"
#include "config/kqbsingleton_internal.h"
#include "kqb/kqbautosingleton.h"
#include "kqb/kqbhost.h"
#include "support/alloc_faults.h"

namespace {

// --- KqbSingleton -------------------------------------------------------------------------------

std::string gBroken;  // the messages of broken rules, one behind the other

std::string brokenSince() {
    static bool const registered =
        (kqbRegisterAssertionHandler(
             [](char const *message, char const *source, int, void *) {
                 gBroken.append(source).append(": ").append(message).append(";");
             },
             nullptr),
         true);
    EXPECT_TRUE(registered);
    return std::exchange(gBroken, "");
}

TEST(Singleton, countsHoldersUntilTheLast) {
    int a = 0, b = 0;
    brokenSince();
    EXPECT_EQ(KqbSingleton::getRef("a"), nullptr);
    KqbSingleton::createRef("a", &a);
    KqbSingleton::createRef("A", &b);
    EXPECT_EQ(KqbSingleton::getRef("a"), &a);
    KqbSingleton::createRef("a", &b);
    EXPECT_EQ(brokenSince(), "kqbsingleton: id already exists;");
    EXPECT_FALSE(KqbSingleton::decRef("a"));
    EXPECT_TRUE(KqbSingleton::decRef("a"));
    EXPECT_FALSE(KqbSingleton::decRef("a"));
    EXPECT_EQ(brokenSince(), "kqbsingleton: bad id;");
    gBroken.reserve(100);  // memory will be missing
    AllocFaults::failFrom(1);
    KqbSingleton::createRef("reuses the slot of a", &a);
    KqbSingleton::createRef("needs another", nullptr);
    AllocFaults::off();
    EXPECT_EQ(brokenSince(), "kqbsingleton: out of memory;");
    EXPECT_TRUE(KqbSingleton::decRef("reuses the slot of a"));
    EXPECT_TRUE(KqbSingleton::decRef("A"));
    EXPECT_EQ(brokenSince(), "");
}

TEST(Singleton, namesThatAreNoneOrTooLong) {
    int object = 0;
    brokenSince();
    for (char const *id : {"", static_cast<char const *>(nullptr)}) {
        KqbSingleton::createRef(id, &object);
        EXPECT_EQ(KqbSingleton::getRef(id), nullptr);
        EXPECT_FALSE(KqbSingleton::decRef(id));
        EXPECT_EQ(brokenSince(), "kqbsingleton: bad id;kqbsingleton: bad id;");
    }
    std::string const longest(255, 'n');
    KqbSingleton::createRef((longest + "1").c_str(), &object);
    EXPECT_EQ(KqbSingleton::getRef((longest + "2").c_str()), &object);
    EXPECT_FALSE(KqbSingleton::decRef(longest.c_str()));
    EXPECT_TRUE(KqbSingleton::decRef(longest.c_str()));
}

// --- KqbAutoSingleton ---------------------------------------------------------------------------

std::atomic<int> gLiving{0};
std::atomic<int> gMade{0};

class Service final : public KqbAutoSingleton {
public:
    explicit Service(char const *name = "SERVICE") : name_(name) {}
    char const *getName() override { return name_; }
    int *value() const { return static_cast<int *>(instance()); }

protected:
    void *create() override {
        if (std::string_view(name_) == "OUTER") {  // makes another service while it is being made
            Service inner;
            EXPECT_TRUE(inner.initialize(nullptr));
            inner.terminate();
        }
        ++gMade;
        auto *const value = new int(0);
        ++gLiving;
        return value;
    }
    void destroy(void *instance) override {
        if (instance != nullptr) --gLiving;
        delete static_cast<int *>(instance);
    }

private:
    char const *name_;
};

class AutoSingletonTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kqbSingletonsStart());
        gMade = 0;
    }
    void TearDown() override {
        EXPECT_EQ(gLiving, 0);
        kqbSingletonsStop();
    }
};
using AutoSingletonThreads = AutoSingletonTest;

TEST_F(AutoSingletonTest, firstMakesLastDestroys) {
    Service first, second;
    bool created = false;
    ASSERT_TRUE(first.initialize(&created));
    EXPECT_TRUE(created);
    EXPECT_FALSE(first.initialize(&created)) << "attached already";
    EXPECT_FALSE(created);
    ASSERT_TRUE(second.initialize(&created));
    EXPECT_FALSE(created);
    EXPECT_TRUE(gMade == 1 && first.value() == second.value());
    Service const copy = first;
    EXPECT_EQ(copy.value(), first.value());
    first.terminate();
    EXPECT_EQ(gLiving, 1);
    EXPECT_FALSE(first.initialize(nullptr)) << "stays attached";
    second.terminate();
    EXPECT_EQ(gLiving, 0);
    EXPECT_EQ(second.value(), nullptr);
    second.terminate();
    second.lock();
    second.unlock();
    ASSERT_TRUE(second.initialize(&created));
    EXPECT_TRUE(created && gMade == 2);
    second.terminate();
    EXPECT_FALSE(Service("").initialize(nullptr) || Service(nullptr).cleanupOnly());
}

TEST_F(AutoSingletonTest, lostHoldsAreCleanedUp) {
    Service other;
    EXPECT_TRUE(other.cleanupOnly()) << "there is none";
    {
        Service lost, lostToo;
        ASSERT_TRUE(lost.initialize(nullptr) && lostToo.initialize(nullptr));
        EXPECT_FALSE(lost.cleanupOnly()) << "attached";
    }
    EXPECT_TRUE(other.cleanupOnly());
    EXPECT_EQ(gLiving, 1);
    EXPECT_TRUE(other.cleanupOnly());
    EXPECT_EQ(gLiving, 0);
}

TEST_F(AutoSingletonTest, nothingIsLeftWhenMemoryOrTheLibraryIsMissing) {
    Service service;
    for (int n = 1;; ++n) {
        AllocFaults::failAt(n);
        bool const attached = service.initialize(nullptr);
        AllocFaults::off();
        if (!AllocFaults::hit()) break;
        ASSERT_LT(n, 20);
        ASSERT_EQ(service.value(), nullptr);
        // Attached without an instance: create() threw.
        ASSERT_EQ(attached, gMade > 0);
        if (attached) service.terminate();
        gMade = 0;
    }
    EXPECT_NE(service.value(), nullptr);
    kqbSingletonsStop();
    Service late;
    EXPECT_FALSE(late.initialize(nullptr) || late.cleanupOnly());
    service.terminate();
}

TEST_F(AutoSingletonThreads, attachAndLeaveInARace) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 500; ++i) {
                if (t == 0) {
                    Service outer("OUTER");
                    ASSERT_TRUE(outer.initialize(nullptr));
                    outer.terminate();
                }
                auto service = std::make_unique<Service>();
                ASSERT_TRUE(service->initialize(nullptr));
                service->lock();
                ++*service->value();
                service->unlock();
                if (t == 1) {  // loses its hold, and another object gives it back
                    service = std::make_unique<Service>();
                    ASSERT_TRUE(service->cleanupOnly());
                } else {
                    service->terminate();
                }
            }
        });
    }
    for (auto &thread : threads) thread.join();
    EXPECT_GT(gMade, 0);
}

}  // namespace
