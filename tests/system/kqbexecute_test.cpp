#include "kqb/kqbexecute.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "kqb/kqbmessage.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"
#include "support/temporary_folder.h"

namespace {

using Words = std::vector<char const *>;

// "<null>" for null.
std::string shown(KqbString const &text) { return text.isNull() ? "<null>" : text.asCstr(); }

std::string message(int number, std::initializer_list<KqbString> arguments = {}) {
    return kqb_get_message(KQB_EVENT_PLUGIN, number, "kqbexecute", arguments).asCstr();
}

void set(KqbExecute *command, Words const &words) {
    command->setCommand(words[0]);
    for (std::size_t i = 1; i < words.size(); ++i) command->addOption(words[i]);
}

// The output of a run that succeeds.
std::string output(bool useShell, Words const &words) {
    KqbExecute command;
    set(&command, words);
    EXPECT_TRUE(command.run(useShell, true, 0)) << shown(command.getErrorMessage());
    return shown(command.getOutputLog());
}

Words script(char const *text) { return {"sh", "-c", text}; }

// What a run must leave as it was.
struct Surroundings {
    std::ptrdiff_t descriptors =
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    bool hasChildren = waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0;
    bool operator==(Surroundings const &other) const = default;
};

// Temporary files go to a folder of the test's own.
class ExecuteTest : public PoolTest {
protected:
    void SetUp() override {
        PoolTest::SetUp();
        setenv("TMPDIR", folder_.path().c_str(), 1);
    }
    void TearDown() override {
        EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
        EXPECT_EQ(before_, Surroundings());
        unsetenv("TMPDIR");
        PoolTest::TearDown();
    }

    TemporaryFolder const folder_;
    Surroundings const before_{};
};
using ExecuteTestThreads = ExecuteTest;

TEST_F(ExecuteTest, wordsReachTheProgram) {
    std::tuple<bool, Words, std::string> const cases[] = {
        {false, {"printf", "[%s]", "a b", "", "\"c\"", "$HOME", "*;"}, "[a b][][\"c\"][$HOME][*;]"},
        {true, {"printf", "'[%s]'", "a b", "\"c d\"", "e"}, "[a b][c d][e]"},
        {true, {"printf", "%s.", "\"a b\" \"c\"", "$((1+1))", ";", "echo", "d"}, "a b.c.2.d "},
        {true, {"\"echo\" one; echo", "two"}, "one two "},
        {true, {"echo one; echo", "2>&1", "||", "echo", "none"}, "none "},
        {true, {"-x", "2>/dev/null", "||", "echo", "none"}, "none "}};
    for (auto const &[useShell, words, expected] : cases) {
        std::string const seen = output(useShell, words);
        EXPECT_EQ(seen.substr(seen.size() - std::min(seen.size(), expected.size())), expected);
    }
}

// A command with a blank in it is one word, unless it comes in quotes.
TEST_F(ExecuteTest, quotedCommands) {
    TemporaryFolder const programs;
    std::string const program = programs.write("a program", "#!/bin/sh\necho \"$# $1\"\n");
    std::filesystem::permissions(program, std::filesystem::perms(0700));
    std::string const quoted = "\"" + program + "\" 1";
    EXPECT_EQ(output(true, {program.c_str(), "x y"}), "1 x y ");
    EXPECT_EQ(output(true, {quoted.c_str(), "2"}), "2 1 ");
    EXPECT_EQ(output(false, {program.c_str(), "x y"}), "1 x y ");
}

TEST_F(ExecuteTest, outputBecomesOneLine) {
    std::string const line = "0123456789abcde\n";
    std::string const printing = "yes 0123456789abcde | head -n ";
    std::string expected;
    while (expected.size() < 8192) expected += "0123456789abcde ";
    std::tuple<std::string, std::string> const cases[] = {
        {"printf 'a\\tb\\r\\n\\342\\200\\203c\\302\\205\\303\\244'", "a b     c  \xC3\xA4"},
        {"echo out; echo err >&2; echo out", "out err out "},
        {"printf 'a \\0b c'", "a "},
        {"printf '\\0b'", ""},
        {"printf '\\377\\n\\342\\200'", "\xFF \xE2\x80"},
        {"exec >&- 2>&-; echo lost", "<null>"},
        {"exit 1", "<null>"},
        {"cat", "<null>"},
        {printing + "511", expected.substr(0, 511 * 16)},
        {printing + "512", expected},
        {printing + "513", expected},
        {printing + "2000000", expected}};
    for (auto const &[command, log] : cases) {
        EXPECT_EQ(output(false, script(command.c_str())), log) << command;
    }
}

TEST_F(ExecuteTest, failuresSayWhy) {
    std::tuple<char const *, char const *> const cases[] = {
        {"/no/such program", "No such file or directory"},
        {"kqb-no-such-program", "No such file or directory"},
        {"", "No such file or directory"},
        {folder_.path().c_str(), "Permission denied"}};
    for (auto const &[name, reason] : cases) {
        for (bool const captures : {false, true}) {
            KqbExecute command;
            command.setCommand(name);
            EXPECT_FALSE(command.run(false, captures, 0));
            EXPECT_EQ(shown(command.getErrorMessage()), message(380, {reason}));
            EXPECT_EQ(shown(command.getOutputLog()),
                      "Failed to execute command " + std::string(name) + ". Error: " + reason);
        }
    }
    KqbExecute command;
    set(&command, script("kill -9 $$"));
    EXPECT_FALSE(command.run(false, true, 0));
    EXPECT_EQ(shown(command.getErrorMessage()), message(378, {"9"}));
    EXPECT_EQ(shown(command.getOutputLog()), "Command aborted with error: 9");
    KqbExecute heard;
    set(&heard, script("echo heard; kill -9 $$"));
    EXPECT_FALSE(heard.run(false, true, 0));
    EXPECT_EQ(shown(heard.getOutputLog()), "heard ");
    command.setCommand("false");
    EXPECT_TRUE(command.run(false, true, 0));
    EXPECT_EQ(shown(command.getErrorMessage()), message(378, {"9"})) << "stays";
    EXPECT_EQ(shown(command.getOutputLog()), "Command aborted with error: 9") << "stays";
}

TEST_F(ExecuteTest, environmentEntries) {
    KqbExecute command;
    set(&command, {"sh", "-c", "echo $KQB_A $KQB_B; echo ${PATH:+path}"});
    command.addEnvironment("KQB_A=1");
    command.addEnvironment("KQB_B=x y=z");
    command.addEnvironment("KQB_A=2");
    EXPECT_TRUE(command.run(false, true, 0));
    EXPECT_EQ(shown(command.getOutputLog()), "2 x y=z path ");
    command.addEnvironment("nothing");
    EXPECT_FALSE(command.run(false, true, 0));
    EXPECT_EQ(shown(command.getOutputLog()),
              "Failed to execute command sh. Error: The environment entry \"nothing\" is not of "
              "the form NAME=value");
}

TEST_F(ExecuteTest, limits) {
    KqbExecute quick;
    set(&quick, {"sleep", "0.1"});
    for (int const seconds : {0, -1, 30}) EXPECT_TRUE(quick.run(false, false, seconds));
    for (bool const captures : {true, false}) {
        KqbExecute slow;
        set(&slow, {"sh", "-c", "echo begun; sleep 100; echo ended"});
        EXPECT_FALSE(slow.run(false, captures, 1));
        EXPECT_EQ(shown(slow.getErrorMessage()), message(377));
        EXPECT_EQ(shown(slow.getOutputLog()),
                  captures ? "begun "
                           : "Failed to get status of command sh. Error: The time limit "
                             "of 1 second has passed");
    }
}

// Neither one that ended nor one that left the group and keeps the output open.
TEST_F(ExecuteTest, nobodyIsWaitedFor) {
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(output(false, script("sleep 100 & sleep 100 & echo left")), "left ");
    std::string const outsider =
        output(false, script("setsid sh -c 'echo $$; exec sleep 100' & sleep 0.3"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(kill(std::stoi(outsider), SIGKILL), 0);
}

TEST_F(ExecuteTest, temporaryFileThatCannotBe) {
    std::filesystem::path const gone = folder_.path("gone");
    std::filesystem::create_directory(gone);
    std::filesystem::permissions(gone, std::filesystem::perms(0));
    setenv("TMPDIR", gone.c_str(), 1);
    KqbExecute command;
    set(&command, {"sh", "-c", "echo ${TMPDIR##*/}"});
    bool const isRoot = geteuid() == 0;  // whom nothing is forbidden
    EXPECT_EQ(command.run(false, true, 0), isRoot);
    EXPECT_EQ(shown(command.getErrorMessage()),
              isRoot ? "<null>" : message(332, {"13", "Permission denied"}));
    EXPECT_TRUE(command.run(false, false, 0));
    std::filesystem::remove(gone);
}

// A copy shares the record; only one of the two is destroyed.
TEST_F(ExecuteTest, copiesShareTheirRecord) {
    alignas(KqbExecute) unsigned char place[sizeof(KqbExecute)];
    auto *const first = new (place) KqbExecute;
    KqbExecute second(*first);
    first->setCommand("echo");
    first->addOption("shared");
    EXPECT_TRUE(second.run(false, true, 0));
    EXPECT_EQ(shown(first->getOutputLog()), "shared ");
}

// Every allocation fails in turn: the command is run as it was asked for, or not at all.
TEST_F(ExecuteTest, withoutMemory) {
    refusesRequests_ = true;
    std::string const word(2000, 'x');
    KqbString const option(word.c_str());
    bool isDone = false;
    for (long nth = 1; !isDone; ++nth) {
        AllocFaults::failAt(nth);
        KqbExecute command;
        command.setCommand("printf");
        command.addOption("%s.%s");
        command.addOption(option);
        command.addEnvironment("A=1");
        command.addOption("end");
        bool const isRun = command.run(nth % 2 == 0, true, 5);
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        if (isRun) {
            std::string const log = shown(command.getOutputLog());
            bool const isLost = log == "Failed to allocate memory to read program output";
            EXPECT_TRUE(isLost ? !isDone : log == word + ".end") << nth;
        } else {
            std::string const error = shown(command.getErrorMessage());
            EXPECT_TRUE(std::set<std::string>({"<null>", message(29),
                                               message(332, {"12", "Cannot allocate memory"}),
                                               message(380, {"Cannot allocate memory"})})
                            .count(error))
                << error;
        }
    }
}

TEST_F(ExecuteTestThreads, manyRunsLeaveNothing) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            std::string const text = std::to_string(i);
            for (int k = 0; k < 10; ++k) {
                EXPECT_EQ(output(k % 2 == 0, {"echo", text.c_str()}), text + " ");
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
}

}  // namespace
