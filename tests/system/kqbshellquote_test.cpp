#include "system/kqbshellquote_internal.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/temporary_folder.h"

namespace {

using std::string;

// What nobody may want to be run: each would leave a file, end the line or change its words.
char const *const kHostile[] = {"a b",
                                "$(touch ran)",
                                "`touch ran`",
                                ";touch ran;",
                                "&touch ran&",
                                "|touch ran|",
                                ">ran",
                                "'",
                                "\"",
                                "\\",
                                "'\"'\"\\'",
                                "';touch ran;'",
                                "\";touch ran;\"",
                                "\\';touch ran;\\'",
                                "'$(touch ran)'",
                                "\"`touch ran`\"",
                                "\\\ntouch ran\n",
                                "\ntouch ran\n",
                                "$HOME${HOME}$$$?",
                                "*?[a-z]{a,b}~",
                                "~root",
                                "#",
                                "!!",
                                "A=b",
                                "\t\xC3\xA4\xFF",
                                ""};

string replaced(string text, string const &from, string const &to) {
    for (std::size_t at = text.find(from); at != string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

class ShellQuoteTest : public testing::Test {
protected:
    void SetUp() override {
        folder_.write("show", "#!/bin/sh\nfor a; do printf '%s\\0' \"$a\"; done >seen\n");
        std::filesystem::permissions(folder_.path("show"), std::filesystem::perms::owner_all);
    }

    // The arguments that ./show sees, with a NUL behind each; "?" when the line does not run it.
    string shown(string const &line) {
        std::filesystem::remove(folder_.path("seen"));
        folder_.write("line", "cd '" + folder_.path() + "' || exit\n" + line);
        [[maybe_unused]] int const ignored =
            std::system(("exec 2>&- >&-; /bin/sh '" + folder_.path("line") + "'").c_str());
        return std::filesystem::exists(folder_.path("seen")) ? folder_.read("seen") : "?";
    }

    static string filled(string const &line, string const &value, char const **refusal) {
        return kqbFilledForShell(line, "%T", value, refusal);
    }

    TemporaryFolder folder_;
};

// What the shell makes of a line with a harmless word in it tells what it must make of the line
// with any value: the same arguments, with the value where the word was.
TEST_F(ShellQuoteTest, valuesStayValuesInAnyQuotes) {
    static char const *const parts[] = {
        "%T",      "%T", "%T",    "'",     "\"",     " ",      "x", "\\\"", "\\'", "\\\\", "$HOME",
        "${HOME}", "it", " '\" ", "\"'\"", "'a b' ", "<line ", "$", "\\ ",  "`",   "$(",   "#"};
    std::mt19937 random(380);
    int compared = 0, refused = 0;
    for (int round = 0; round < 400; ++round) {
        string line = "./show ";
        for (auto n = 1 + random() % 7; n > 0; --n) line += parts[random() % std::size(parts)];
        string const value = kHostile[static_cast<std::size_t>(round) % std::size(kHostile)];
        char const *refusal = nullptr;
        string const ready = filled(line, value, &refusal);
        refused += refusal != nullptr;
        bool const isSame = line.find("$$") == string::npos;  // process by process
        if (refusal != nullptr || line.find("%T") == string::npos || !isSame) continue;
        string const expected = replaced(shown(replaced(line, "%T", "+w+")), "+w+", value);
        ASSERT_EQ(shown(ready), expected) << line << "\n" << ready;
        ASSERT_FALSE(std::filesystem::exists(folder_.path("ran"))) << line << "\n" << ready;
        compared += expected != "?";
    }
    EXPECT_GT(compared, 60);
    EXPECT_GT(refused, 20);
}

TEST_F(ShellQuoteTest, everyHostileValueInEveryKindOfQuotes) {
    string const line = "./show %T \"%T\" '%T' a\"b %T\"'c %T'%T; exit # `";
    for (string const value : kHostile) {
        char const *refusal = nullptr;
        string const ready = filled(line, value, &refusal);
        ASSERT_EQ(refusal, nullptr);
        string const end(1, '\0');
        EXPECT_EQ(shown(ready), value + end + value + end + value + end + "ab " + value + "c " +
                                    value + value + end)
            << ready;
        EXPECT_FALSE(std::filesystem::exists(folder_.path("ran"))) << ready;
    }
}

TEST_F(ShellQuoteTest, plainWordsGoInAsTheyAre) {
    char const *refusal = nullptr;
    EXPECT_EQ(filled("mailer -t %T '%T'$(%T)", "a.b+c@d-e.org", &refusal),
              "mailer -t a.b+c@d-e.org 'a.b+c@d-e.org'$(a.b+c@d-e.org)");
    EXPECT_EQ(refusal, nullptr);
    EXPECT_EQ(filled("mailer %B", "x y", &refusal), "mailer %B");
    EXPECT_EQ(filled("%T%T", "x y", &refusal), "'x y''x y'");
}

TEST_F(ShellQuoteTest, placesWhereQuotesDoNotProtect) {
    for (char const *line : {"mailer \\%T",
                             "mailer \"\\%T\"",
                             "mailer $%T",
                             "mailer \"$%T\"",
                             "mailer $'%T'",
                             "mailer $\"%T\"",
                             "mailer `echo %T`",
                             "mailer \"`echo '%T'`\"",
                             "mailer $(echo %T)",
                             "mailer \"$(echo \"%T\")\"",
                             "mailer ${X:-%T}",
                             "mailer \"${X:-'%T'}\"",
                             "cat <<E\n%T\nE\n",
                             "cat <<'E'\n'%T'\nE\n",
                             "mailer # don't %T",
                             "sh -c \"mailer %T\"",
                             "/bin/sh -c 'mailer %T'",
                             "\"sh\" -c mailer\\ %T",
                             "x;eval mailer %T",
                             "mailer %T|bash",
                             "ssh host mailer %T",
                             "trap '%T' EXIT",
                             "$SHELL -c 'mailer %T'"}) {
        char const *refusal = nullptr;
        filled(line, "a b", &refusal);
        EXPECT_NE(refusal, nullptr) << line;
        filled(line, "a@b", &refusal);
        EXPECT_EQ(refusal, nullptr) << line;
    }
}

TEST_F(ShellQuoteTest, noValueBecomesAnOption) {
    for (string const value : {"-oQ/tmp", "- x", "-"}) {
        char const *refusal = nullptr;
        for (char const *line :
             {"mailer %T", "%T", "mailer '%T'", "mailer \"\"'%T'", "x;%T", "x<%T"}) {
            filled(line, value, &refusal);
            EXPECT_NE(refusal, nullptr) << line;
        }
        for (char const *line : {"mailer --to=%T", "mailer '<%T'", "mailer \\ %T", "mailer -t%T"}) {
            filled(line, value, &refusal);
            EXPECT_EQ(refusal, nullptr) << line;
        }
    }
}

}  // namespace
