#include "platform/kqssysproc.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/support/alloc_faults.h"
#include "tests/support/temporary_folder.h"

namespace {

using std::chrono::steady_clock;

struct Result {
    int result = -1;
    np_proc_status status = NP_PROC_RUNNING;
    int code = -2;
    std::string error;
    std::string output;
};

std::string contentOf(np_fio_file file) {
    std::string content(20000, '\0');
    std::size_t count = 0;
    np_fio_read_at(file, 0, content.data(), content.size(), &count);
    return content.substr(0, count);
}

// Runs a shell line to its end.
Result shell(char const *line, int seconds = 0, unsigned flags = NP_PROC_OWN_GROUP,
             char const *const *environment = nullptr) {
    char name[200];
    np_proc_record record{NP_FIO_NONE, environment};
    EXPECT_EQ(NP_FIO_OK, np_fio_tmpfile(nullptr, "kqbproc", name, sizeof name, &record.output));
    Result seen;
    np_proc *child = nullptr;
    seen.result = np_proc_shellexec(line, flags | NP_PROC_OUTPUT, &record, &child);
    if (seen.result == 0) seen.result = np_proc_wait(child, seconds, &seen.status, &seen.code);
    seen.error = np_proc_geterr(child);
    np_proc_release(child);
    seen.output = contentOf(record.output);
    np_fio_close(record.output);
    np_fio_delete(name);
    return seen;
}

double secondsSince(steady_clock::time_point start) {
    return std::chrono::duration<double>(steady_clock::now() - start).count();
}

// Whether the process has ended; its new parent may not have noticed yet.
bool isGone(std::string const &number) {
    std::ifstream stat("/proc/" + std::to_string(std::stoi(number)) + "/stat");
    std::string process, name, state;
    return !(stat >> process >> name >> state) || state == "Z";
}

bool hasChildren() {
    siginfo_t info;
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

std::ptrdiff_t descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(Kqssysproc, TellsHowAChildEnded) {
    std::tuple<char const *, np_proc_status, int> const cases[] = {
        {"exit 0", NP_PROC_ENDED, 0},       {"exit 255", NP_PROC_ENDED, 255},
        {"kill -9 $$", NP_PROC_ABORTED, 9}, {"kill -15 $$", NP_PROC_ABORTED, 15},
        {"/no/such", NP_PROC_ENDED, 127},   {"-x 2>/dev/null", NP_PROC_ENDED, 127}};
    for (auto const &[line, status, code] : cases) {
        for (int const seconds : {0, -1, 30}) {
            Result const seen = shell(line, seconds);
            EXPECT_EQ(std::tuple(0, status, code), std::tuple(seen.result, seen.status, seen.code))
                << line;
        }
    }
}

TEST(Kqssysproc, RefusesWithAReason) {
    TemporaryFolder const folder;
    std::string const plain = folder.write("plain", "text");
    std::string const script = folder.write("script", "#!/no/such/interpreter\n");
    std::filesystem::permissions(script, std::filesystem::perms(0700));
    char const *const noEquals[] = {"A=1", "B", nullptr};
    char const *const noName[] = {"=1", nullptr};
    np_proc_record const withoutEquals{NP_FIO_NONE, noEquals}, withoutName{NP_FIO_NONE, noName};
    np_proc_record const closed{9999, nullptr};
    std::tuple<char const *, np_proc_record const *, unsigned, int, char const *> const cases[] = {
        {nullptr, nullptr, 0, EINVAL, "Invalid"},
        {"", nullptr, 0, ENOENT, "No such file"},
        {"/no/such", nullptr, 0, ENOENT, "No such file"},
        {"kqb-no-such-program", nullptr, 128, ENOENT, "No such file"},
        {"/tmp", nullptr, 128, EACCES, "Permission"},
        {plain.c_str(), nullptr, 0, EACCES, "Permission"},
        {script.c_str(), nullptr, 0, ENOENT, "No such file"},
        {"true", nullptr, NP_PROC_OUTPUT, EINVAL, "Invalid"},
        {"true", &closed, NP_PROC_OUTPUT, EBADF, "Bad file"},
        {"true", &withoutEquals, NP_PROC_ENVIRONMENT, EINVAL, "\"B\""},
        {"true", &withoutName, NP_PROC_ENVIRONMENT, EINVAL, "\"=1\""}};
    auto const before = descriptors();
    for (auto const &[program, record, flags, error, text] : cases) {
        char const *const argv[] = {program, nullptr};
        np_proc *child = nullptr;
        EXPECT_EQ(error, np_proc_execute(argv, flags, record, &child)) << text;
        EXPECT_NE(nullptr, std::strstr(np_proc_geterr(child), text)) << np_proc_geterr(child);
        np_proc_status status;
        int code;
        EXPECT_EQ(ECHILD, np_proc_wait(child, 1, &status, &code));
        np_proc_release(child);
    }
    EXPECT_EQ(before, descriptors());
    EXPECT_FALSE(hasChildren());
}

TEST(Kqssysproc, ChildInheritsNothingElse) {
    int const open = ::open("/dev/null", O_RDONLY);  // not close-on-exec
    sigset_t blocked, before;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    auto const handler = signal(SIGPIPE, SIG_IGN);
    Result const files = shell("ls /proc/$$/fd; cat");
    // Without the two that are the C library's own.
    Result const signals = shell("sed -n 's/^Sig...:.*\\(.\\{7\\}\\)$/\\1/p' /proc/self/status");
    Result const group = shell("set -- $$ $(cat /proc/$$/stat); echo $(($1 == $6))");
    signal(SIGPIPE, handler);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(open);
    EXPECT_EQ("0\n1\n2\n", files.output);
    EXPECT_EQ("0000000\n0000000\n0000000\n0000000\n", signals.output);
    EXPECT_EQ("1\n", group.output);
}

TEST(Kqssysproc, BothStreamsGoToTheFileInOrder) {
    EXPECT_EQ("one\ntwo\nthree\n", shell("echo one; echo two >&2; echo three").output);
    EXPECT_EQ(std::string("\0\xff", 2), shell("printf '\\000\\377'").output);
    EXPECT_EQ("", shell("exec >&- 2>&-; echo lost").output);
}

// The file may have any number below 3 where the process has no streams of its own.
TEST(Kqssysproc, ProcessWithoutStreams) {
    auto const run = [] {
        for (int const stream : {0, 1, 2}) close(stream);
        for (int i = 0; i < 4; ++i) {
            bool const isRight = shell("echo out; echo error >&2; cat").output == "out\nerror\n";
            char const *const argv[] = {"sh", "-c", "echo x && echo y >&2", nullptr};
            np_proc *child = nullptr;
            np_proc_status status;
            int code = -1;
            if (!isRight || np_proc_execute(argv, 0, nullptr, &child) != 0) _exit(1);
            if (np_proc_wait(child, 5, &status, &code) != 0 || code != 0) _exit(2);
            np_proc_release(child);
            ::open("/dev/null", O_RDWR);
        }
        _exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(Kqssysproc, EntriesReplaceInOrder) {
    setenv("KQB_PROC_A", "own", 1);
    setenv("KQB_PROC_AB", "stays", 1);
    char const *const entries[] = {"KQB_PROC_A=1", "KQB_PROC_B=x=y", "KQB_PROC_A=2",
                                   "KQB_PROC_C=", nullptr};
    Result const seen = shell("env | grep ^KQB_PROC | sort", 0, NP_PROC_ENVIRONMENT, entries);
    EXPECT_EQ("KQB_PROC_A=2\nKQB_PROC_AB=stays\nKQB_PROC_B=x=y\nKQB_PROC_C=\n", seen.output);
    EXPECT_EQ("own\n", shell("echo $KQB_PROC_A", 0, 0, entries).output) << "not asked for";
}

TEST(Kqssysproc, LimitEndsTheWholeGroup) {
    std::tuple<char const *, int, double> const cases[] = {
        {"sleep 100 & echo $!; wait", SIGTERM, 1.9},
        {"sleep 100 & echo $!; kill -STOP $$", SIGTERM, 1.9},
        {"trap '' TERM; (while :; do sleep 1; done) & echo $!; wait", SIGKILL, 3.9}};
    for (auto const &[line, code, most] : cases) {
        auto const start = steady_clock::now();
        Result const seen = shell(line, 1);
        EXPECT_EQ(ETIMEDOUT, seen.result);
        EXPECT_EQ("The time limit of 1 second has passed", seen.error);
        EXPECT_EQ(std::tuple(NP_PROC_ABORTED, code), std::tuple(seen.status, seen.code)) << line;
        EXPECT_LE(1.0, secondsSince(start));
        EXPECT_GT(most, secondsSince(start));
        EXPECT_TRUE(isGone(seen.output)) << line;
    }
    EXPECT_FALSE(hasChildren());
}

TEST(Kqssysproc, NothingOfTheOwnGroupOutlivesItsLeader) {
    for (char const *const line : {"sleep 100 & echo $!", "sleep 100 & echo $!; kill -9 $$",
                                   "trap '' TERM; sleep 100 & echo $!"}) {
        auto const start = steady_clock::now();
        Result const seen = shell(line);
        EXPECT_EQ(0, seen.result);
        EXPECT_TRUE(isGone(seen.output)) << line;
        EXPECT_GT(3.0, secondsSince(start));
    }
    Result const kept = shell("sleep 100 & echo $!", 0, 0);
    EXPECT_EQ(0, kill(std::stoi(kept.output), SIGKILL)) << "not of an own group";
}

TEST(Kqssysproc, WhoLeftTheGroupHangsNobody) {
    auto const start = steady_clock::now();
    Result const seen = shell("setsid sh -c 'echo $$; exec sleep 100' & sleep 0.3");
    EXPECT_EQ(std::tuple(0, 0), std::tuple(seen.result, seen.code));
    EXPECT_GT(1.5, secondsSince(start));
    EXPECT_EQ(0, kill(std::stoi(seen.output), SIGKILL));
}

// The kernel then keeps no status; and a process may be out of descriptors to watch a child with.
TEST(Kqssysproc, HostThatIgnoresItsChildren) {
    auto const handler = signal(SIGCHLD, SIG_IGN);
    for (int const seconds : {0, 5}) {
        Result const seen = shell("sleep 0.1; exit 3", seconds);
        EXPECT_EQ(std::tuple(0, NP_PROC_ENDED, -1),
                  std::tuple(seen.result, seen.status, seen.code));
    }
    EXPECT_EQ(ETIMEDOUT, shell("sleep 100", 1).result);
    signal(SIGCHLD, handler);
}

TEST(Kqssysproc, WaitsWithoutADescriptorToSpare) {
    char const *const argv[] = {"sh", "-c", "sleep 0.1; exit 3", nullptr};
    np_proc *child = nullptr;
    ASSERT_EQ(0, np_proc_execute(argv, NP_PROC_OWN_GROUP, nullptr, &child));
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    rlimit const none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    np_proc_status status;
    int code = 0;
    EXPECT_EQ(0, np_proc_wait(child, 5, &status, &code));
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(3, code);
    EXPECT_EQ(0, np_proc_wait(child, 5, &status, &code)) << "asked again";
    EXPECT_EQ(3, code);
    np_proc_release(child);
}

TEST(Kqssysproc, ReleaseEndsWhatStillRuns) {
    np_proc *child = nullptr;
    ASSERT_EQ(0, np_proc_shellexec("sleep 100 & sleep 100", NP_PROC_OWN_GROUP, nullptr, &child));
    np_proc_release(child);
    EXPECT_FALSE(hasChildren());
    np_proc_release(nullptr);
}

TEST(Kqssysproc, WithoutMemoryNothingIsStarted) {
    char const *const argv[] = {"true", nullptr};
    char const *const entries[] = {"A=1", nullptr};
    np_proc_record const record{NP_FIO_NONE, entries};
    for (long n = 1;; ++n) {
        np_proc *child = nullptr;
        AllocFaults::failAt(n);
        int const result = np_proc_execute(argv, NP_PROC_ENVIRONMENT, &record, &child);
        AllocFaults::off();
        EXPECT_EQ(AllocFaults::hit() ? ENOMEM : 0, result);
        EXPECT_STREQ(AllocFaults::hit() ? "Cannot allocate memory" : "", np_proc_geterr(child));
        np_proc_release(child);
        EXPECT_FALSE(hasChildren());
        if (!AllocFaults::hit()) break;
    }
}

TEST(KqssysprocThreads, ManyRunsLeaveNothingBehind) {
    auto const before = descriptors();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            for (int k = 0; k < 12; ++k) {
                std::string const text = std::to_string(i * 100 + k);
                Result const seen = shell(("echo " + text).c_str(), k % 2 * 20);
                EXPECT_EQ(text + "\n", seen.output);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(before, descriptors());
    EXPECT_FALSE(hasChildren());
}

}  // namespace
