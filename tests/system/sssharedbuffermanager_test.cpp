#include "kqb/sssharedbuffermanager.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kqb/kqbmessage.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"

namespace {

using Manager = ssSharedBufferManager;
using std::string;

struct Release {
    void operator()(ssSharedBuffer *buffer) const { buffer->release(); }
};
using Handle = std::unique_ptr<ssSharedBuffer, Release>;

// A process of its own, which tells when it is ready.
class Child {
public:
    // act tells by its argument, and the child ends with what it returns.
    explicit Child(std::function<int(std::function<void()> const &)> const &act) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        std::fflush(nullptr);  // what waits to be printed is not printed twice
        id_ = fork();
        if (id_ == 0) _exit(act([&] { EXPECT_EQ(write(ends[1], "x", 1), 1); }));
        close(ends[1]);
        ready_ = ends[0];
    }
    ~Child() {
        end(SIGKILL);
        close(ready_);
    }
    void awaitReady() const {
        char byte;
        EXPECT_EQ(read(ready_, &byte, 1), 1);
    }
    int end(int signal = 0) {
        int status = 0;
        if (id_ > 0 && signal != 0) kill(id_, signal);
        if (id_ > 0) waitpid(id_, &status, 0);
        id_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t id_;
    int ready_;
};

struct SharedBufferTest : PoolTest {
    string const name_ = "test " + std::to_string(getpid());
    string const segment_ =
        "/kqb." + std::to_string(geteuid()) + ".test%20" + std::to_string(getpid());

    ~SharedBufferTest() override { shm_unlink(segment_.c_str()); }

    Handle create(long long size) { return Handle(Manager::create(name_.c_str(), size)); }
    Handle attach() { return Handle(Manager::attach(name_.c_str())); }
    bool isThere() const { return access(("/dev/shm" + segment_).c_str(), F_OK) == 0; }

    static void expectMessage(KqbString const &text, int number) {
        string const start = "Base Services " + std::to_string(number) + ": ";
        EXPECT_EQ(string(text.asCstr()).substr(0, start.size()), start) << text.asCstr();
    }
    void expectCreateFails(int number, long long size = 8) {
        KqbString error;
        EXPECT_EQ(Manager::create(name_.c_str(), size, &error), nullptr);
        expectMessage(error, number);
    }
    void expectAttachFails(int number) {
        KqbString error;
        EXPECT_EQ(Manager::attach(name_.c_str(), &error), nullptr);
        expectMessage(error, number);
    }
};

using SharedBufferThreads = SharedBufferTest;

TEST_F(SharedBufferTest, livesAsLongAsItIsHeld) {
    expectAttachFails(1812);
    Handle first = create(100);
    ASSERT_NE(first, nullptr);
    expectCreateFails(1813);
    bool isCreated = true;
    Handle second(Manager::createOrAttach(name_.c_str(), 5, &isCreated));
    EXPECT_FALSE(isCreated);
    EXPECT_STREQ(second->getName().asCstr(), name_.c_str());
    first.reset();
    ASSERT_TRUE(second->lockForReading());
    EXPECT_EQ(second->getSize(), 100);
    EXPECT_EQ(string(100, '\0'), string(static_cast<char const *>(second->getData()), 100));
    EXPECT_TRUE(isThere());
    second.reset();
    EXPECT_FALSE(isThere());
    expectAttachFails(1812);
}

TEST_F(SharedBufferTest, namesAndSizes) {
    for (string const &name : {string(), string(250, 'n'), string(90, ' ')}) {
        KqbString error;
        EXPECT_EQ(Manager::create(name.c_str(), 1, &error), nullptr);
        expectMessage(error, 1815);
    }
    for (long long size : {-1LL, 1LL << 50, 9223372036854775807LL}) expectCreateFails(1811, size);
    EXPECT_FALSE(isThere());
    Handle empty = create(0), other(Manager::create((name_ + "/../\xC3\xA4").c_str(), 3));
    ASSERT_TRUE(empty->lockForWriting() && other->lockForWriting());
    EXPECT_EQ(empty->getSize() + other->getSize(), 3);
    struct stat info;
    EXPECT_EQ(stat(("/dev/shm" + segment_ + "%2F..%2F%C3%A4").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

TEST_F(SharedBufferTest, readersShareAndWritersDoNot) {
    Handle one = create(8), two = attach(), three = attach();
    EXPECT_TRUE(one->getData() == nullptr && one->getSize() == 0);
    ASSERT_TRUE(one->lockForWriting());
    std::memcpy(one->getWritableData(), "8 bytes", 8);
    EXPECT_FALSE(two->lockForReading(0));
    EXPECT_FALSE(two->lockForWriting(20));
    expectMessage(two->getErrorMessage(), 1817);
    EXPECT_FALSE(one->lockForReading());
    expectMessage(one->getErrorMessage(), 1816);
    one->unlock();
    one->unlock();
    ASSERT_TRUE(two->lockForReading(0) && three->lockForReading());
    EXPECT_STREQ(static_cast<char const *>(two->getData()), "8 bytes");
    EXPECT_TRUE(two->getWritableData() == nullptr && !two->resize(9));
    expectMessage(two->getErrorMessage(), 1818);
    EXPECT_FALSE(one->lockForWriting(1));
    two.reset();
    three->unlock();
    EXPECT_TRUE(one->lockForWriting(0));
}

TEST_F(SharedBufferTest, sizesChangeForAll) {
    Handle one = create(10), two = attach();
    ASSERT_TRUE(two->lockForReading());
    two->unlock();
    for (int size : {100'000, 5000, 0, 1'000'000}) {
        ASSERT_TRUE(one->lockForWriting() && one->resize(size)) << one->getErrorMessage().asCstr();
        string const bytes(static_cast<char *>(one->getWritableData()), std::size_t(size));
        EXPECT_EQ(bytes.find_first_not_of(string("x\0", 2)), string::npos);
        std::memset(one->getWritableData(), 'x', std::size_t(size));
        one->unlock();
        ASSERT_TRUE(two->lockForReading());
        EXPECT_EQ(two->getSize(), size);
        EXPECT_EQ(string(static_cast<char const *>(two->getData()), std::size_t(size)),
                  string(std::size_t(size), 'x'));
        two->unlock();
    }
    ASSERT_TRUE(one->lockForWriting());
    for (long long size : {-1LL, 1LL << 50, 9223372036854775807LL}) {
        EXPECT_FALSE(one->resize(size));
        expectMessage(one->getErrorMessage(), 1819);
    }
    EXPECT_EQ(static_cast<char *>(one->getWritableData())[999'999], 'x');
}

TEST_F(SharedBufferTest, aDeadWriterDoesNotBlock) {
    Handle mine = create(2);
    for (int round = 0; round < 3; ++round) {
        Child child([&](auto const &ready) {
            ssSharedBuffer *const buffer = Manager::attach(name_.c_str());
            buffer->lockForWriting();
            static_cast<char *>(buffer->getWritableData())[0] = 'h';
            ready();
            return pause();
        });
        child.awaitReady();
        EXPECT_FALSE(mine->lockForReading(10));
        std::thread killer([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            child.end(SIGKILL);
        });
        EXPECT_TRUE(mine->lockForReading());  // waits for the end
        killer.join();
        EXPECT_TRUE(mine->isDamaged());
        EXPECT_EQ(*static_cast<char const *>(mine->getData()), 'h');
        mine->unlock();
        EXPECT_TRUE(mine->lockForWriting() && mine->isDamaged());
        mine->unlock();
        EXPECT_TRUE(mine->lockForReading() && !mine->isDamaged());
        mine->unlock();
    }
}

TEST_F(SharedBufferTest, whatDeadHoldersLeaveIsRemoved) {
    auto const makeAndDie = [&] {
        Child child([&](auto const &ready) {
            ssSharedBuffer *const buffer = Manager::create(name_.c_str(), 1000);
            buffer->lockForReading();
            ready();
            return pause();
        });
        child.awaitReady();
        EXPECT_NE(attach(), nullptr);
    };
    makeAndDie();
    EXPECT_TRUE(isThere());
    expectAttachFails(1812);
    EXPECT_FALSE(isThere());
    makeAndDie();
    Handle const anew = create(8);
    ASSERT_NE(anew, nullptr);
    EXPECT_TRUE(anew->lockForReading() && anew->getSize() == 8 && !anew->isDamaged());
}

TEST_F(SharedBufferTest, whatIsForeignIsRefusedAndLeftAlone) {
    struct {
        mode_t mode;
        string content;
    } const cases[] = {{0600, string(100, 'x')}, {0600, "x"}, {0644, ""}, {0660, ""}};
    for (auto const &[mode, content] : cases) {
        int const file = shm_open(segment_.c_str(), O_CREAT | O_RDWR, mode);
        fchmod(file, mode);
        EXPECT_EQ(write(file, content.data(), content.size()), ssize_t(content.size()));
        expectCreateFails(1814);
        expectAttachFails(1814);
        EXPECT_TRUE(isThere());
        close(file);
        shm_unlink(segment_.c_str());
    }
    EXPECT_EQ(symlink("/etc/passwd", ("/dev/shm" + segment_).c_str()), 0);
    expectCreateFails(1814);
}

TEST_F(SharedBufferTest, whatIsDamagedFromOutsideIsRefused) {
    Handle const mine = create(5000);
    int const file = shm_open(segment_.c_str(), O_RDWR, 0);
    for (off_t size : {100, 64}) {
        EXPECT_EQ(ftruncate(file, size), 0);
        EXPECT_FALSE(mine->lockForWriting());
        expectMessage(mine->getErrorMessage(), 1814);
    }
    unsigned long long const huge = ~0ULL;
    EXPECT_EQ(pwrite(file, &huge, sizeof huge, 8), 8);
    EXPECT_FALSE(mine->lockForReading());
    EXPECT_EQ(pwrite(file, "y", 1, 0), 1);
    expectAttachFails(1814);
    close(file);
}

// Writers leave two equal numbers, readers never see them differ, and nothing is lost.
void countUp(string const &name, int rounds) {
    Handle const buffer(Manager::attach(name.c_str()));
    for (int i = 0; i < rounds; ++i) {
        ASSERT_TRUE(buffer->lockForWriting());
        auto *const numbers = static_cast<long long *>(buffer->getWritableData());
        ++numbers[0];
        if (i % 10 == 0) std::this_thread::yield();
        ++numbers[1];
        buffer->unlock();
        ASSERT_TRUE(buffer->lockForReading());
        auto const *const seen = static_cast<long long const *>(buffer->getData());
        ASSERT_EQ(seen[0], seen[1]);
        buffer->unlock();
    }
}

TEST_F(SharedBufferTest, processesCountTogether) {
    constexpr int kProcesses = 4, kRounds = 500;
    Handle const mine = create(16);
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < kProcesses; ++i) {
        children.push_back(std::make_unique<Child>([&](auto const &) {
            countUp(name_, kRounds);
            return testing::Test::HasFailure() ? 1 : 0;
        }));
    }
    for (auto const &child : children) EXPECT_EQ(child->end(), 0);
    ASSERT_TRUE(mine->lockForReading());
    EXPECT_EQ(static_cast<long long const *>(mine->getData())[1], kProcesses * kRounds);
}

TEST_F(SharedBufferThreads, countTogether) {
    Handle const mine = create(16);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { countUp(name_, 200); });
    for (std::thread &thread : threads) thread.join();
    ASSERT_TRUE(mine->lockForReading());
    EXPECT_EQ(static_cast<long long const *>(mine->getData())[0], 800);
}

// Whoever comes while others come and go finds a whole buffer or makes one.
TEST_F(SharedBufferThreads, comeAndGo) {
    std::vector<std::thread> threads;
    std::atomic<int> created{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                bool isCreated = false;
                KqbString error;
                Handle const one(Manager::createOrAttach(name_.c_str(), 4000, &isCreated, &error));
                ASSERT_NE(one, nullptr) << error.asCstr();
                created += isCreated;
                ASSERT_TRUE(one->lockForReading() && one->getSize() == 4000);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_GE(created, 1);
    EXPECT_FALSE(isThere());
}

TEST_F(SharedBufferTest, withoutMemory) {
    refusesRequests_ = true;
    bool isHit = true;
    for (long nth = 1; isHit; ++nth) {
        KqbString const name(name_.c_str());
        KqbString error;
        AllocFaults::failAt(nth);
        ssSharedBuffer *const buffer = Manager::create(name, 8, &error);
        AllocFaults::off();
        isHit = AllocFaults::hit();
        EXPECT_TRUE(buffer != nullptr || isHit) << error.asCstr();
        if (buffer != nullptr) buffer->release();
        EXPECT_FALSE(isThere()) << nth;
    }
}

}  // namespace
