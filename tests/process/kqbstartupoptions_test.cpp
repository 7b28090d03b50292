// Options that a host hands over as attribute lists, and their undoing.
#include <thread>
#include <vector>

#include "process/host.h"
#include "support/alloc_faults.h"

namespace {

class StartupOptionsTest : public HostTest {
protected:
    struct Undo {
        ~Undo() {
            for (KqbStringCursor *cursor : {previous, added}) {
                if (cursor != nullptr) cursor->release();
            }
        }
        KqbStringCursor *previous = nullptr;
        KqbStringCursor *added = nullptr;
    };

    // How a failure shows a string: null is told from empty.
    static std::string shown(KqbString const &text) {
        return text.isNull() ? "<null>" : text.asCstr();
    }

    // "key=value " for every option of a registry.
    static std::string optionsOf(char const *registry) {
        std::string text;
        KqbString key, value;
        KqbConfigOptions *const options = kqbGetConfigOptions(registry);
        for (int i = 0; options->getOptionAt(i, &key, &value, false); ++i)
            text += shown(key) + "=" + shown(value) + " ";
        return text;
    }

    // "value,value " for every row; the cursor stands before the first one again afterwards.
    static std::string rowsOf(KqbStringCursor *cursor) {
        std::string text;
        while (cursor->next() == KqbCursorRow) {
            for (int i = 0; i < cursor->getColumnCount(); ++i)
                text += (i > 0 ? "," : "") + shown(cursor->getValue(i));
            text += " ";
        }
        EXPECT_TRUE(cursor->rewind());
        return text;
    }

    static void setParsed(char const *text, Undo *undo) {
        char const *reason = "left";
        ASSERT_EQ(kqbStartupSetParsedOptions(text, &undo->previous, &undo->added, &reason), 0);
        ASSERT_EQ(reason, nullptr);
    }

    static void undoAll(Undo &undo) {
        EXPECT_EQ(kqbStartupSetOptions(undo.previous, nullptr), 0);
        EXPECT_EQ(kqbStartupDeleteOptions(undo.added, nullptr), 0);
    }
};

TEST_F(StartupOptionsTest, listsAreStagedAndEffective) {
    writeAppConfig("A=app\nB=app\n");
    ASSERT_EQ(initialize(), "");
    EXPECT_EQ(kqbStartupAddParsedOptions("a=1; Word ;c=x%3By;d=;=v;%20= ;;A=2", nullptr), 0);
    EXPECT_EQ(kqbStartupAddParsedOptions("", nullptr), 0);
    EXPECT_EQ(kqbStartupAddParsedOptions(nullptr, nullptr), 0);
    EXPECT_EQ(optionsOf(".@=CommandArgs=@."),
              "a=2 Word=<null> c=x;y d=<null> v=<null> <null>=<null> ");
    ASSERT_EQ(startup(), "");
    EXPECT_EQ(option("A") + option("B") + option("word") + option("C"), "2appx;y");
}

TEST_F(StartupOptionsTest, nothingWorksBeforeInitialisation) {
    char const *reason = nullptr;
    Undo undo;
    EXPECT_EQ(kqbStartupAddParsedOptions("a=1", &reason), 1);
    EXPECT_STREQ(reason, "The library is not initialized.");
    EXPECT_EQ(kqbStartupSetParsedOptions("a=1", &undo.previous, &undo.added, &reason), 1);
    EXPECT_TRUE(undo.previous == nullptr && undo.added == nullptr);
    EXPECT_EQ(kqbStartupSetOptions(nullptr, &reason), 1);
    EXPECT_EQ(kqbStartupDeleteOptions(nullptr, nullptr), 1);
    EXPECT_EQ(kqbStartupAddConfigFile("f", nullptr), 1);
}

TEST_F(StartupOptionsTest, whatIsSetCanBeUndone) {
    struct {
        char const *text;
        char const *previous;
        char const *added;
        char const *options;  // set on top of A=1 Empty= C=%%A%%
    } const cases[] = {
        {"a=2;b=3", "a,1 ", "b ", "A=2 Empty= C=%%A%% b=3 "},
        {"", "", "", "A=1 Empty= C=%%A%% "},
        {"x=%%c%%;y=%%none%%;z=%%a;w=%%a%%b%%;v=%%%%", "", "x y z w v ",
         "A=1 Empty= C=%%A%% x=%%A%% y=%%none%% z=%%a w=%%a%%b%% v=%%%% "},
        {"a=%%EMPTY%%;empty=%%A%%", "a,1 empty, ", "", "A= Empty= C=%%A%% "},
        {"word;a=", "a,1 ", "<null> ", "A=<null> Empty= C=%%A%% <null>=word "},
        {"n=1;N=2", "N,1 ", "n ", "A=1 Empty= C=%%A%% n=2 "},
        {"\xC3\xA4%3D=%3B", "", "\xC3\xA4= ", "A=1 Empty= C=%%A%% \xC3\xA4===; "},
    };
    ASSERT_EQ(initialize(), "");
    for (auto const &c : cases) {
        kqbClearConfigOptions("");
        KqbConfigOptions *const options = kqbGetConfigOptions("");
        options->setOption("A", "1");
        options->setOption("Empty", "");
        options->setOption("C", "%%A%%");
        Undo undo;
        setParsed(c.text, &undo);
        EXPECT_EQ(rowsOf(undo.previous), c.previous) << c.text;
        EXPECT_EQ(rowsOf(undo.added), c.added) << c.text;
        EXPECT_STREQ(undo.previous->getColumnName(1).asCstr(), "value");
        EXPECT_EQ(optionsOf(""), c.options) << c.text;
        undoAll(undo);
        EXPECT_EQ(optionsOf(""), "A=1 Empty= C=%%A%% ") << c.text;
    }
    EXPECT_EQ(kqbStartupSetParsedOptions("q=1", nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(option("Q"), "1");
}

TEST_F(StartupOptionsTest, cursorsAreReadFromTheirPlaceOn) {
    ASSERT_EQ(initialize(), "");
    Undo undo;
    undo.added = createStringResidentCursor();
    auto *const rows = static_cast<KqbStringCursorCreater *>(undo.added);
    rows->addColumn("key");
    rows->createColumns();
    for (char const *key : {"a", "b", "c"}) {
        rows->beginRow();
        rows->setValue(0, key);
        rows->endRow();
    }
    EXPECT_EQ(kqbStartupSetOptions(rows, nullptr), 0);
    EXPECT_EQ(optionsOf(""), "a=<null> b=<null> c=<null> ");
    EXPECT_EQ(kqbStartupDeleteOptions(rows, nullptr), 0);  // stands behind the last row
    rows->rewind();
    rows->next();
    EXPECT_EQ(kqbStartupDeleteOptions(rows, nullptr), 0);
    EXPECT_EQ(optionsOf(""), "a=<null> ");
    EXPECT_EQ(kqbStartupSetOptions(nullptr, nullptr), 0);
}

TEST_F(StartupOptionsTest, pathsOfEveryLength) {
    ASSERT_EQ(initialize(), "");
    EXPECT_STREQ(kqbStartupGetUserPath(), "");
    for (std::size_t size : {259U, 260U, 300U}) {
        std::string const path = "/" + std::string(size - 1, 'p');
        kqbStartupSetUserPath(path.c_str());
        EXPECT_EQ(kqbStartupGetUserPath(), path.substr(0, 259));
        EXPECT_EQ(kqbStartupAddConfigFile(path.c_str(), nullptr), 0);
    }
    KqbString path;
    KqbConfigOptions *const files = kqbGetConfigOptions(".@=Files=@.");
    EXPECT_TRUE(files->getOption("FilePrefix_0003", &path, false));
    EXPECT_EQ(path.length(), 300U);
    kqbStartupSetUserPath(kqbStartupGetUserPath() + 1);
    EXPECT_EQ(kqbStartupGetUserPath(), std::string(258, 'p'));
    kqbStartupSetUserPath(nullptr);
    EXPECT_STREQ(kqbStartupGetUserPath(), "");
    writeAppConfig("");
    ASSERT_EQ(startup(), "");  // files that cannot be are passed over
}

TEST_F(StartupOptionsTest, longLists) {
    ASSERT_EQ(initialize(), "");
    std::string const value(10'000'000, 'v');
    EXPECT_EQ(kqbStartupAddParsedOptions(("big=" + value).c_str(), nullptr), 0);
    std::string text;
    for (int i = 0; i < 10000; ++i) text += "key" + std::to_string(i) + "=value;";
    EXPECT_EQ(kqbStartupAddParsedOptions(text.c_str(), nullptr), 0);
    EXPECT_EQ(kqbGetConfigOptions(".@=CommandArgs=@.")->getOptionCount(), 10001);
    Undo undo;
    setParsed((text + text).c_str(), &undo);
    EXPECT_EQ(kqbGetConfigOptions("")->getOptionCount(), 10000);
    undoAll(undo);
    EXPECT_EQ(kqbGetConfigOptions("")->getOptionCount(), 0);
}

using StartupOptionsThreads = StartupOptionsTest;

TEST_F(StartupOptionsThreads, stageTogether) {
    constexpr int kThreads = 4;
    constexpr int kEach = 2500;
    ASSERT_EQ(initialize(), "");
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kEach; ++i) {
                std::string const key = std::to_string(t) + "/" + std::to_string(i);
                EXPECT_EQ(kqbStartupAddOption(key.c_str(), "value", nullptr), 0);
                if (i % 10 != 0) continue;
                EXPECT_EQ(kqbStartupAddConfigFile(key.c_str(), nullptr), 0);
                EXPECT_EQ(kqbStartupAddParsedOptions("shared=1;word", nullptr), 0);
                kqbStartupSetUserPath(key.c_str());
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(kqbGetConfigOptions(".@=CommandArgs=@.")->getOptionCount(), kThreads * kEach + 2);
    constexpr int kFiles = kThreads * kEach / 10;
    KqbConfigOptions *const files = kqbGetConfigOptions(".@=Files=@.");
    EXPECT_EQ(files->getOptionCount(), kFiles + 1);
    KqbString count;
    EXPECT_TRUE(files->getOption("FileCount", &count, false));
    EXPECT_EQ(count.asInt(), kFiles);
}

// Every allocation fails in turn. A call that says it worked can be undone wholly; one that failed
// says why and hands over nothing.
TEST_F(StartupOptionsTest, everyAllocationMayFail) {
    std::string const longText(2000, 'x');  // goes to the heap, beyond the pool's stock
    std::string const text = "a=" + longText + ";b=%%a%%;" + longText + "=1;word";
    ASSERT_EQ(initialize(), "");
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    bool isDone = false;
    for (int n = 1; !isDone; ++n) {
        ASSERT_LT(n, 2000);
        for (char const *key : {"b", longText.c_str()}) options->deleteOption(key);
        options->deleteOption(KqbString());
        options->setOption("a", ("1" + longText).c_str());
        std::string const before = optionsOf("");
        char const *reason = nullptr;
        Undo undo;
        AllocFaults::failAt(n);
        int result = kqbStartupSetParsedOptions(text.c_str(), &undo.previous, &undo.added, &reason);
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        EXPECT_EQ(result == 0, reason == nullptr) << n;
        EXPECT_EQ(result == 0, undo.previous != nullptr && undo.added != nullptr) << n;
        EXPECT_EQ(result != 0, undo.previous == nullptr && undo.added == nullptr) << n;
        if (result != 0) continue;
        // The same for the undoing; what failed is done again.
        for (int m = 1; result != 0 || m == 1 || AllocFaults::hit(); ++m) {
            undo.previous->rewind();
            undo.added->rewind();
            AllocFaults::failAt(m);
            result = kqbStartupSetOptions(undo.previous, nullptr);
            if (result == 0) result = kqbStartupDeleteOptions(undo.added, nullptr);
            AllocFaults::off();
            EXPECT_TRUE(result != 0 || optionsOf("") == before) << n << " " << m;
        }
    }
}

// The same before start-up: what is staged is the beginning of what was asked for.
TEST_F(StartupOptionsTest, everyAllocationOfStagingMayFail) {
    std::string const longText(2000, 'x');
    std::string const text = "a=" + longText + ";b%3D";
    std::string const all = "a=" + longText + " b=<null> ";
    std::string const file = "FilePrefix_0001=one ";
    std::string const files = "FileCount=2 " + file + "FilePrefix_0002=" + longText + " ";
    ASSERT_EQ(initialize(), "");
    bool isDone = false;
    for (int n = 1; !isDone; ++n) {
        kqbClearConfigOptions(".@=CommandArgs=@.");
        kqbClearConfigOptions(".@=Files=@.");
        ASSERT_EQ(kqbStartupAddConfigFile("one", nullptr), 0);
        char const *reasons[2] = {nullptr, nullptr};
        AllocFaults::failAt(n);
        int const optionsResult = kqbStartupAddParsedOptions(text.c_str(), &reasons[0]);
        int const fileResult = kqbStartupAddConfigFile(longText.c_str(), &reasons[1]);
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        EXPECT_EQ(optionsResult == 0, reasons[0] == nullptr) << n;
        EXPECT_EQ(fileResult == 0, reasons[1] == nullptr) << n;
        std::string const staged = optionsOf(".@=CommandArgs=@.");
        EXPECT_TRUE(optionsResult == 0 ? staged == all : all.starts_with(staged)) << n << staged;
        std::string const stagedFiles = optionsOf(".@=Files=@.");
        EXPECT_TRUE(fileResult != 0 || stagedFiles == files) << n << stagedFiles;
        EXPECT_NE(stagedFiles.find(file), std::string::npos) << n << stagedFiles;
    }
}

}  // namespace
