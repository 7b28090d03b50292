#include "kqb/kqbtemplate.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kqb/kqbmessage.h"
#include "platform/kqlog.h"
#include "support/alloc_faults.h"
#include "support/pool_faults.h"
#include "support/pool_test.h"

namespace {

struct Release {
    void operator()(KqbTemplate *made) const { made->release(); }
};
using Template = std::unique_ptr<KqbTemplate, Release>;

Template make(KqbTemplateValueCB *callback) {
    KqbString error("left");
    Template made(kqbCreateBasicTemplate(callback, &error));
    EXPECT_TRUE(made != nullptr && error.isNull());
    return made;
}

// "<name>" for every name, counting how often each was asked for.
class Values : public KqbTemplateValueCB {
public:
    bool getValue(KqbString const &name, KqbString *value, KqbString *error) override {
        ++asked[name.asCstr()];
        if (failing.count(name.asCstr()) > 0) {
            error->assign("nobody knows ").append(name);
            return false;
        }
        if (*name.asCstr() != '0') value->assign("<").append(name).append(">");
        return true;
    }

    std::map<std::string, int> asked;
    std::set<std::string> failing;
};

std::string message(int number, std::initializer_list<KqbString> arguments = {}) {
    return kqb_get_message(KQB_BASE_SERVICES, number, "kqbtemplate", arguments).asCstr();
}

// The expansion and the variables, or the error.
std::string outcome(std::string const &text) {
    Values values;
    Template const made = make(&values);
    KqbString error("left");
    bool const isParsed = made->parse(text.c_str(), &error);
    EXPECT_NE(isParsed, !error.isNull());
    if (!isParsed) {
        EXPECT_EQ(made->getVariableCount(), 0);
        EXPECT_STREQ(made->expand(nullptr).asCstr(), "");
        return error.asCstr();
    }
    KqbString const expansion = made->expand(&error);
    EXPECT_FALSE(expansion.isNull());
    EXPECT_EQ(expansion.length(), KqbString(expansion.asCstr()).length());
    std::string result = expansion.asCstr();
    for (int i = 0; i < made->getVariableCount(); ++i) {
        bool isBracketed = false;
        result += i == 0 ? " | " : ",";
        result += made->getVariable(i, &isBracketed, &error).asCstr();
        if (isBracketed) result += "*";
    }
    return result;
}

// The rules once more, a character at a time.
class TemplateModel {
public:
    std::string run(std::string const &text) {
        for (std::size_t i = 0; i < text.size(); i += characterAt(text, i).size()) {
            if (!take(characterAt(text, i))) return error_;
        }
        if (state_ == kName || state_ == kCloser) return message(1759, {"'}'"});
        if (state_ == kOpener) return message(1759, {"'{' or character"});
        char const *separator = " | ";
        for (auto const &[name, isBracketed] : variables_) {
            out_ += separator + name + (isBracketed ? "*" : "");
            separator = ",";
        }
        return out_;
    }

private:
    enum State { kLiteral, kOpener, kName, kCloser };

    static std::string characterAt(std::string const &text, std::size_t at) {
        std::size_t end = at + 1;
        while ((text[at] & 0x80) != 0 && end < text.size() && (text[end] & 0xC0) == 0x80) ++end;
        return text.substr(at, end - at);
    }

    bool fail(std::string const &error) {
        error_ = error;
        return false;
    }

    bool take(std::string const &c) {
        if (state_ == kOpener && c != special_) {
            state_ = kName;
            name_.clear();
        }
        switch (state_) {
            case kLiteral:
                if (c == "\n") ++line_;
                if (c == "{" || c == "[" || c == "}" || c == "]") special_ = c;
                if (c == "{" || c == "[") state_ = kOpener;
                if (c == "}" || c == "]") state_ = kCloser;
                if (state_ == kLiteral) out_ += c;
                return true;
            case kName:
                return takeInName(c);
            default:
                if (c != special_)
                    return fail(message(1758, {("'" + special_ + "'").c_str(), c.c_str()}));
                out_ += c;
                state_ = kLiteral;
                return true;
        }
    }

    bool takeInName(std::string const &c) {
        static std::set<std::string> const kSpaces = {" ", "\n", "\t", "\xE2\x80\x83"};
        if (c == (special_ == "{" ? "}" : "]")) return closeName();
        if (c == special_ || kSpaces.count(c) > 0)
            return fail(message(1760, {c.c_str(), KqbString().assign(line_)}));
        name_ += c;
        return true;
    }

    bool closeName() {
        if (name_.empty()) return fail(message(1763, {KqbString().assign(line_)}));
        if (!variables_.emplace(name_, special_ == "[").second)
            return fail(message(1666, {name_.c_str()}));
        if (name_[0] != '0') out_ += "<" + name_ + ">";
        state_ = kLiteral;
        return true;
    }

    State state_ = kLiteral;
    std::string special_, name_, out_, error_;
    std::map<std::string, bool> variables_;
    int line_ = 1;
};

using TemplateTest = PoolTest;

TEST_F(TemplateTest, textsOfEveryKind) {
    std::pair<char const *, std::string> const cases[] = {
        {"", ""},
        {"a{{b", "a{b"},
        {"a}}b", "a}b"},
        {"[[]]}}{{", "[]}{"},
        {"{x} and [y]", "<x> and <y> | x,y*"},
        {"{b}{a}[B]{\xC3\xA4}", "<b><a><B><\xC3\xA4> | B*,a,b,\xC3\xA4"},
        {"{a]b}[a}b]{[c}", "<a]b><a}b><[c> | [c,a]b,a}b*"},
        {"-{0}-", "-- | 0"},
        {"a}b", message(1758, {"'}'", "b"})},
        {"a]\xC3\xA4", message(1758, {"']'", "\xC3\xA4"})},
        {"{x}{x}", message(1666, {"x"})},
        {"{x}[x]", message(1666, {"x"})},
        {"{ x}", message(1760, {" ", "1"})},
        {"\n{{\n{a{", message(1760, {"{", "3"})},
        {"\n{a\n}", message(1760, {"\n", "2"})},
        {"\n[]", message(1763, {"2"})},
        {"abc{", message(1759, {"'{' or character"})},
        {"[", message(1759, {"'{' or character"})},
        {"{abc", message(1759, {"'}'"})},
        {"a]", message(1759, {"'}'"})},
    };
    for (auto const &[text, expected] : cases) EXPECT_EQ(outcome(text), expected) << text;
}

TEST_F(TemplateTest, everyWrongCharacterAtEveryPlace) {
    std::string const good =
        "Dear {name},\n\xC3\xA4 {{[0]}} and ]]\nyours, the one in [[ {x} \n end";
    EXPECT_EQ(outcome(good), TemplateModel().run(good));
    for (char const *const wrong : {"{", "}", "[", "]", "\n", "\t", "\xE2\x80\x83", "\xFF", "x"}) {
        for (std::size_t i = 0; i <= good.size(); ++i) {
            std::string const inserted = good.substr(0, i) + wrong + good.substr(i);
            std::string const replaced = good.substr(0, i) + wrong + good.substr(i).erase(0, 1);
            ASSERT_EQ(outcome(inserted), TemplateModel().run(inserted)) << inserted;
            ASSERT_EQ(outcome(replaced), TemplateModel().run(replaced)) << replaced;
            ASSERT_EQ(outcome(good.substr(0, i)), TemplateModel().run(good.substr(0, i)));
        }
    }
}

TEST_F(TemplateTest, everyShortText) {
    std::string const alphabet = "{}[]a\n";
    for (unsigned number = 0; number < 6 * 6 * 6 * 6 * 6; ++number) {
        std::string text;
        for (unsigned left = number; left > 0; left /= 6) text += alphabet[left % 6];
        ASSERT_EQ(outcome(text), TemplateModel().run(text)) << text;
    }
}

TEST_F(TemplateTest, asksOncePerVariableAndParse) {
    Values values;
    Template const made = make(&values);
    for (int parsed = 1; parsed <= 2; ++parsed) {
        ASSERT_TRUE(made->parse("{a}{b}", nullptr));
        values.failing = {"b"};
        for (int i = 0; i < 2; ++i) {
            KqbString error;
            EXPECT_TRUE(made->expand(&error).isNull());
            EXPECT_STREQ(error.asCstr(), "nobody knows b");
        }
        values.failing.clear();
        KqbString error("left");
        for (int i = 0; i < 2; ++i) EXPECT_STREQ(made->expand(&error).asCstr(), "<a><b>");
        EXPECT_TRUE(error.isNull());
        EXPECT_EQ(values.asked["a"], parsed);
        EXPECT_EQ(values.asked["b"], 3 * parsed);
    }
    Template const silent = make(nullptr);
    ASSERT_TRUE(silent->parse("-{a}-", nullptr));
    EXPECT_STREQ(silent->expand(nullptr).asCstr(), "--");
}

TEST_F(TemplateTest, indexesOutsideFail) {
    Template const made = make(nullptr);
    ASSERT_TRUE(made->parse("{b}[a]", nullptr));
    EXPECT_STREQ(made->getVariable(1, nullptr, nullptr).asCstr(), "b");
    for (int const index : {-1, 2, 3}) {
        KqbString error;
        bool isBracketed = true;
        KqbString const name = made->getVariable(index, &isBracketed, &error);
        EXPECT_TRUE(!name.isNull() && name.length() == 0 && isBracketed);
        EXPECT_EQ(error.asCstr(), message(1420));
    }
}

// Does something with the template that asks, when the variable x is asked for.
class Meddler : public Values {
public:
    bool getValue(KqbString const &name, KqbString *value, KqbString *error) override {
        if (std::string(name.asCstr()) == "x" && ++depth_ == 1) meddle();
        return Values::getValue(name, value, error);
    }
    KqbTemplate *made = nullptr;
    void (*what)(KqbTemplate *) = nullptr;

private:
    void meddle() { what(made); }
    int depth_ = 0;
};

TEST_F(TemplateTest, callbacksThatComeBack) {
    std::tuple<void (*)(KqbTemplate *), char const *, bool> const cases[] = {
        {[](KqbTemplate *t) { EXPECT_STREQ(t->expand(nullptr).asCstr(), "<a>-<x>-<z>"); },
         "<a>-<x>-<z>", true},
        {[](KqbTemplate *t) { EXPECT_STREQ(t->getVariable(0, nullptr, nullptr).asCstr(), "a"); },
         "<a>-<x>-<z>", true},
        {[](KqbTemplate *t) { EXPECT_TRUE(t->parse("{new}", nullptr)); }, nullptr, true},
        {[](KqbTemplate *t) { EXPECT_FALSE(t->parse("}", nullptr)); }, nullptr, true},
        {[](KqbTemplate *t) { t->release(); }, "<a>-<x>-<z>", false}};
    for (auto const &[what, expected, isOurs] : cases) {
        Meddler meddler;
        Template made = make(&meddler);
        meddler.made = made.get();
        meddler.what = what;
        ASSERT_TRUE(made->parse("{a}-{x}-{z}", nullptr));
        KqbString error("left");
        KqbString const result = made->expand(&error);
        EXPECT_EQ(result.isNull(), expected == nullptr);
        EXPECT_EQ(expected == nullptr ? message(1762, {"x"}) : expected,
                  expected == nullptr ? error.asCstr() : result.asCstr());
        if (!isOurs) made.release();
    }
}

TEST_F(TemplateTest, textMayGoAfterParsing) {
    Values values;
    Template const made = make(&values);
    char text[] = "at {a}";
    ASSERT_TRUE(made->parse(KqbString(text, true), nullptr));
    text[0] = text[4] = '?';
    KqbString result = made->expand(nullptr);
    EXPECT_STREQ(result.asCstr(), "at <a>");
    ASSERT_TRUE(made->parse(result, &result)) << "text and error in one string";
    EXPECT_STREQ(made->expand(nullptr).asCstr(), "at <a>");
}

TEST_F(TemplateTest, tenMegabytes) {
    std::string text, expected;
    for (int i = 0; text.size() < 10'000'000; ++i) {
        std::string const name = "v" + std::to_string(i);
        text += "{{" + std::string(static_cast<std::size_t>(i % 2000), 'x') + "}}{" + name + "}";
        expected += "{" + std::string(static_cast<std::size_t>(i % 2000), 'x') + "}<" + name + ">";
    }
    Values values;
    Template const made = make(&values);
    ASSERT_TRUE(made->parse(text.c_str(), nullptr));
    EXPECT_TRUE(made->expand(nullptr).asCstr() == expected);
    EXPECT_STREQ(made->getVariable(made->getVariableCount() - 1, nullptr, nullptr).asCstr(),
                 "v999");
}

TEST_F(TemplateTest, logsWhatItAppends) {
    kqlogInitialize();
    kqlogGetLogger("KQ.Base.Template")->setLevel(2);
    Values values;
    values.failing = {"b"};
    Template const made = make(&values);
    ASSERT_TRUE(made->parse("to {a}{b}", nullptr));
    testing::internal::CaptureStderr();
    made->expand(nullptr);
    kqlogConfigure(nullptr);
    kqlogTerminate();
    std::string const log = testing::internal::GetCapturedStderr();
    std::size_t at = 0;
    for (char const *const record :
         {"TokenConstant", "Appending: 'to '", "TokenVariable", "Looking up variable: 'a'",
          "Appending: '<a>'", "Looking up variable: 'b'", "Failed to retrieve variable: 'b'"}) {
        at = log.find(record, at);
        ASSERT_NE(at, std::string::npos) << record << " in " << log;
    }
}

// Every allocation fails in turn: the answer is right, or a failure that says so.
TEST_F(TemplateTest, withoutMemory) {
    refusesRequests_ = true;
    std::string const padding(3000, '-');  // goes to the heap
    KqbString const text((padding + "{a}[b]" + padding).c_str());
    std::string const expected = padding + "<a><b>" + padding;
    bool isDone = false;
    for (long nth = 1; !isDone; ++nth) {
        Values values;
        values.asked = {{"a", 0}, {"b", 0}};
        KqbString error;
        AllocFaults::failAt(nth);
        KqbTemplate *const made = kqbCreateBasicTemplate(&values, &error);
        bool const isParsed = made != nullptr && made->parse(text, &error);
        KqbString const result = isParsed ? made->expand(&error) : KqbString();
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        EXPECT_TRUE(result.isNull() ? !error.isNull() : result.asCstr() == expected) << nth;
        if (made == nullptr) continue;
        EXPECT_EQ(made->getVariableCount(), isParsed ? 2 : 0);
        ASSERT_TRUE(isParsed || made->parse(text, &error));
        EXPECT_EQ(made->expand(&error).asCstr(), expected) << "afterwards";
        made->release();
    }
}

}  // namespace
