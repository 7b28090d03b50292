#include "kqb/kqbconfigfile.h"

#include <sys/resource.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "config/config_fixture.h"
#include "support/alloc_faults.h"

namespace {

class ConfigFileTest : public ConfigFixture {
protected:
    std::string written(KqbConfigFile &config) {
        EXPECT_TRUE(config.write(path("out"))) << shown(config.getErrorMessage());
        return folder_.read("out");
    }
};

TEST_F(ConfigFileTest, linesSurvive) {
    char const *const cases[][2] = {
        {"  key  =  some = thing  ", "key=some = thing\n"},
        {" # c \n\n\t \nplain\n", "# c\n\n\nplain\n"},
        {"#\nx=1\n#\n", "#\nx=1\n#\n"},
        {"=v\nk=\n=\n", "=v\nk=\n=\n"},
        {"a=1 # no comment\r\nb=\\n\rc=\"q\"\n", "a=1 # no comment\nb=\\n\nc=\"q\"\n"},
        {"#one\na=1\n#two\nA=2\n", "#one\nA=1\n#two\nA=2\n"},
        {"\xC3\x84=1\n\xC3\xA4=2\n", "\xC3\xA4=1\n\xC3\xA4=2\n"},
    };
    for (auto const &[in, out] : cases) {
        KqbConfigFile config;
        ASSERT_TRUE(config.read(file("in", in)));
        EXPECT_EQ(written(config), out) << in;
    }
}

TEST_F(ConfigFileTest, changesTouchOnlyTheirOwnLines) {
    struct {
        char const *in;
        std::function<void(KqbConfigFile &)> change;
        char const *out;
    } const cases[] = {
        {"# c\nx=1\ny=2\n", [](KqbConfigFile &c) { c.deleteEntry("X"); },
         "# c\n#-DELETED X=1\ny=2\n"},
        {"x=1\ny=2\n", [](KqbConfigFile &c) { c.setEntryComment("x", "mine"), c.deleteEntry("x"); },
         "#mine\n#-DELETED x=1\ny=2\n"},
        {"a=1\n",
         [](KqbConfigFile &c) { c.setEntry("k", "old"), c.clear(), c.setEntry("K", "new"); },
         "\nk=new\n"},
        // The example of docs/configuration-file.md.
        {"# Shared directory\n  Temp = /tmp\r\n\nnote\nTEMP=/var\na=1\n",
         [](KqbConfigFile &c) {
             c.setEntry("b", "2");
             c.setEntryComment("b", "one\r\ntwo");
             c.deleteEntry("a");
         },
         "# Shared directory\nTEMP=/tmp\n\nnote\nTEMP=/var\n#-DELETED a=1\n\n#one\\ntwo\nb=2\n"}};
    for (auto const &c : cases) {
        KqbConfigFile config;
        ASSERT_TRUE(config.read(file("in", c.in)));
        c.change(config);
        KqbConfigFile const handle = config;
        config = handle;
        EXPECT_EQ(written(config), c.out) << c.in;
    }
}

TEST_F(ConfigFileTest, readingMerges) {
    KqbConfigFile config;
    ASSERT_TRUE(config.read(file("one", "# c\na=1\nb=1\n# last\n")));
    config.setEntryComment("b", "mine");
    config.setEntry("n", "added");
    ASSERT_TRUE(config.read(file("two", "A=2\nB=2\nN=2\n")));
    EXPECT_EQ(shown(config.getEntryComment("a")), "");
    // An added entry has no line of its own, so what it was stands in front of all others.
    EXPECT_EQ(written(config), "N=added\n# c\nA=1\n#mine\nB=1\n# last\nA=2\nB=2\nN=2\n\nn=2\n");
}

TEST_F(ConfigFileTest, lookingUp) {
    KqbConfigFile config;
    ASSERT_TRUE(config.read(file("in", "# note\\nmore\nPath=1\nb=\n=e\n")));
    config.setEntry(KqbString(), "null");
    EXPECT_EQ(config.getEntryCount(), 4);
    EXPECT_EQ(shown(config.getEntry("PATH")), "1");
    EXPECT_EQ(shown(config.getEntryComment("path")), " note\nmore");
    EXPECT_EQ(shown(config.getEntryComment("b")), "");
    EXPECT_EQ(shown(config.getEntry("b")), "");
    EXPECT_EQ(shown(config.getEntry("none")), "<null>");
    EXPECT_EQ(shown(config.getEntryComment("none")), "<null>");
    char const *const expected[][2] = {{"<null>", "null"}, {"", "e"}, {"b", ""}, {"Path", "1"}};
    KqbString key;
    KqbString value;
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(config.getEntry(i, &key, &value));
        EXPECT_EQ(shown(key), expected[i][0]);
        EXPECT_TRUE(config.getNextEntry(i == 0, &key, &value));
        EXPECT_EQ(shown(value), expected[i][1]);
    }
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(config.getNextEntry(false, &key, &value));
    EXPECT_EQ(shown(value), "1");
    for (int index : {-1, 4}) {
        EXPECT_FALSE(config.getEntry(index, &key, &value));
        EXPECT_TRUE(key.isNull() && value.isNull());
        key = value = "full";
    }
    EXPECT_TRUE(config.getEntry(3, nullptr, nullptr));
}

std::string upper(std::string text) {
    for (char &c : text) c = static_cast<char>(std::toupper(c));
    return text;
}

using Entries = std::map<std::string, std::pair<std::string, std::string>>;  // value, comment

// Deleted lines are comments of the next entry when they are read back.
void expectEntries(KqbConfigFile &config, Entries const &entries, bool withComments) {
    ASSERT_EQ(config.getEntryCount(), static_cast<int>(entries.size()));
    for (auto const &[key, entry] : entries) {
        EXPECT_EQ(config.getEntry(key.c_str()).asCstr(), entry.first);
        std::string const comment = config.getEntryComment(key.c_str()).asCstr();
        EXPECT_TRUE(!withComments || comment == entry.second) << comment;
    }
}

// The values of entries follow a map, also when written and read back, and lines that are no
// entries stay where they are.
TEST_F(ConfigFileTest, randomChangesLoseNothing) {
    std::mt19937 random(38219);
    auto const pick = [&](std::vector<std::string> const &of) { return of[random() % of.size()]; };
    for (int round = 0; round < 500; ++round) {
        std::vector<std::string> lines = {"a=1",    "B = 2 ",  "c=x=#y",
                                          "=empty", "plain 0", "plain 1"};
        std::shuffle(lines.begin(), lines.end(), random);
        std::string in;
        Entries model = {
            {"a", {"1", ""}}, {"b", {"2", ""}}, {"c", {"x=#y", ""}}, {"", {"empty", ""}}};
        for (std::string const &line : lines) in += line + "\n" + pick({"", "\n", "# c\n\n"});
        KqbConfigFile config;
        ASSERT_TRUE(config.read(file("in", in)));
        for (auto step = random() % 12; step > 0; --step) {
            std::string const key = pick({"a", "b", "c", "d", "e", ""});
            std::string const name = random() % 2 == 0 ? key : upper(key);
            auto const kind = random() % 3;
            std::string const text = pick({"v", "# v", "=", ""});
            if (kind == 0) config.deleteEntry(name.c_str()), model.erase(key);
            if (kind == 1) config.setEntry(name.c_str(), text.c_str()), model[key].first = text;
            if (kind != 2 || !model.contains(key)) continue;
            config.setEntryComment(name.c_str(), (text + "\nx").c_str());
            model[key].second = text + "\nx";
        }
        expectEntries(config, model, true);
        KqbConfigFile back;
        std::string const out = written(config);
        ASSERT_TRUE(back.read(path("out")));
        expectEntries(back, model, false);
        EXPECT_EQ(written(back), out);
        auto const isInOrder = [](std::string const &s) {
            return s.find("plain 0") < s.find("plain 1");
        };
        EXPECT_EQ(isInOrder(out), isInOrder(in)) << in << out;
    }
}

TEST_F(ConfigFileTest, unreadableFilesLeaveWhatWasThere) {
    KqbConfigFile config;
    config.setEntry("a", "1");
    EXPECT_FALSE(config.read(path("missing")));
    EXPECT_FALSE(config.getErrorMessage().isNull());
    EXPECT_FALSE(config.read(string(folder_.path())));
    EXPECT_FALSE(config.read(KqbString()));
    EXPECT_EQ(config.getEntryCount(), 1);
    EXPECT_FALSE(config.read(file("binary", std::string_view("b=2\n#c\nx\0y=3\n", 14))));
    EXPECT_EQ(written(config), "b=2\n#c\n\na=1\n");
    EXPECT_FALSE(config.getErrorMessage().isNull());
    config.clear();
    EXPECT_TRUE(config.getErrorMessage().isNull());
}

TEST_F(ConfigFileTest, encodings) {
    KqbConfigFile config;
    std::string const wide(
        "\xFF\xFE"
        "a\0=\0\xE4\0\n\0",
        10);
    ASSERT_TRUE(config.read(file("wide", wide)));
    EXPECT_EQ(shown(config.getEntry("A")), "\xC3\xA4");
    ASSERT_TRUE(config.write(path("wide")));
    EXPECT_EQ(folder_.read("wide"), wide);
    EXPECT_EQ(written(config), "a=\xC3\xA4\n");
    // Bytes that are no text are not lost.
    KqbConfigFile torn;
    ASSERT_TRUE(torn.read(file("torn", "k=\xFFv\n")));
    EXPECT_EQ(shown(torn.getEntry("k")), "\xFFv");
    torn.write(path("torn"));
    EXPECT_EQ(folder_.read("torn"), "k=\xFFv\n");
}

TEST_F(ConfigFileTest, fullDiskLeavesTheOldFile) {
    KqbConfigFile config;
    for (int i = 0; i < 2000; ++i) config.setEntry(KqbString().assign(i), "some value");
    KqbString const target = file("target", "old=1\n");
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit const small{4096, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    bool const isWritten = config.write(target);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_FALSE(isWritten);
    EXPECT_FALSE(config.getErrorMessage().isNull());
    EXPECT_EQ(folder_.read("target"), "old=1\n");
    EXPECT_EQ(config.getEntryCount(), 2000);
    EXPECT_FALSE(config.write(path("no/such/folder")));
    EXPECT_TRUE(config.write(target));
}

// Every allocation fails in turn: a change is made wholly or not at all.
TEST_F(ConfigFileTest, withoutMemory) {
    std::string const longText(2000, 'x');  // goes to the heap, beyond the pool's stock
    KqbString const source = file("in", "# c\na=1\nA=" + longText + "\n# d\\ne\nb=2\n");
    bool isDone = false;
    for (long nth = 1; !isDone; ++nth) {
        KqbConfigFile config;
        config.setEntry("k", "1");
        AllocFaults::failAt(nth);
        bool const isRead = config.read(source);
        KqbString const value = config.getEntry("a");
        config.setEntry("new", "2");
        config.setEntryComment("k", "comment");
        config.deleteEntry("A");
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        EXPECT_EQ(config.getErrorMessage().isNull(), isRead);
        EXPECT_TRUE(value.isNull() || shown(value) == "1" || shown(value) == longText);
        EXPECT_EQ(shown(config.getEntryComment("k")), "comment");
        std::string const text = written(config);
        EXPECT_TRUE(text.ends_with("\n#comment\nk=1\n") ||
                    text.ends_with("\n#comment\nk=1\n\nnew=2\n"))
            << text;
        if (isDone) {
            EXPECT_EQ(text, "# c\nA=1\n#-DELETED A=" + longText +
                                "\n# d\\ne\nb=2\n\n#comment\nk=1\n\nnew=2\n");
        }
    }
}

}  // namespace
