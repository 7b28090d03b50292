// Follows a command line as the shell would, as far as it takes to know what the quotes mean at a
// placeholder. What it does not follow makes everything behind it unclear, where only plain words
// are let through: they mean the same with any quotes and without.
#include "system/kqbshellquote_internal.h"

#include <algorithm>
#include <array>

namespace {

using std::string_view;

constexpr char kNotSafe[] =
    "a value that is not a plain word stands where quotes would not protect it from the shell";
constexpr char kOption[] = "a value that begins with '-' would be taken for an option";

bool isNameCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool isPlainCharacter(char c) {
    return isNameCharacter(c) || string_view("@+:,./-").find(c) != string_view::npos;
}

bool isPlain(string_view value) {
    return !value.empty() && std::all_of(value.begin(), value.end(), isPlainCharacter);
}

bool endsWord(char c) { return string_view(" \t\n;&|<>()").find(c) != string_view::npos; }

// Programs that read a part of the line a second time.
bool isReader(string_view word) {
    static constexpr std::array<string_view, 16> kReaders = {
        "eval", "trap", "alias", "sh",    "bash",     "dash",   "ksh",      "zsh",
        "su",   "ssh",  "rsh",   "watch", "parallel", "$SHELL", "${SHELL}", "$0"};
    string_view const name = word.substr(word.rfind('/') + 1);
    return std::find(kReaders.begin(), kReaders.end(), name) != kReaders.end();
}

class Follower {
public:
    explicit Follower(string_view line) : line_(line) {}

    std::size_t place() const { return at_; }
    char quote() const { return quote_; }  // '\'', '"' or 0
    bool isWordEmpty() const { return word_.empty(); }

    // Whether quotes put in here mean what they should.
    bool isClear() const {
        char const before = at_ > 0 ? line_[at_ - 1] : ' ';
        bool const isEscaped = quote_ != '\'' && (before == '\\' || before == '$');
        return isClear_ && !isEscaped;
    }

    // Goes on by a character, or by an escaped one with its backslash, but not beyond end.
    void step(std::size_t end) {
        char const c = line_[at_++];
        if (quote_ == '\'') return stepSingle(c);
        if (c == '\\') return skipEscaped(end);
        if (c == '`') isClear_ = false;
        if (c == '$') followDollar();
        if (quote_ == '"') return stepDouble(c);
        stepBare(c);
    }

    // Goes over a placeholder.
    void skip(std::size_t size) {
        at_ += size;
        word_ += '%';
    }

    // Takes the line's end for the end of a word.
    void finish() { endWord(); }
    bool startsReader() const { return startsReader_; }

private:
    void stepSingle(char c) {
        if (c == '\'')
            quote_ = 0;
        else
            word_ += c;
    }

    void stepDouble(char c) {
        if (c == '"')
            quote_ = 0;
        else
            word_ += c;
    }

    void stepBare(char c) {
        if (c == '\'' || c == '"')
            quote_ = c;
        else if (endsWord(c))
            stepOver(c);
        else {
            if (c == '#' && word_.empty()) isClear_ = false;
            word_ += c;
        }
    }

    void stepOver(char c) {
        endWord();
        if (c == '<' && at_ < line_.size() && line_[at_] == '<') isClear_ = false;
    }

    void skipEscaped(std::size_t end) {
        if (at_ < end) word_ += line_[at_++];
    }

    // A variable is followed; what else a dollar sign begins is not.
    void followDollar() {
        if (at_ == line_.size()) return;
        char const c = line_[at_];
        if (c == '(' || ((c == '\'' || c == '"') && quote_ == 0)) isClear_ = false;
        if (c != '{') return;
        std::size_t end = at_ + 1;
        while (end < line_.size() && isNameCharacter(line_[end])) ++end;
        if (end == line_.size() || line_[end] != '}') isClear_ = false;
    }

    void endWord() {
        startsReader_ = startsReader_ || isReader(word_);
        word_.clear();
    }

    string_view line_;
    std::size_t at_ = 0;
    char quote_ = 0;
    bool isClear_ = true;
    bool startsReader_ = false;
    std::string word_;  // so far, without its quotes
};

bool startsReader(string_view line) {
    Follower follower(line);
    while (follower.place() < line.size()) follower.step(line.size());
    follower.finish();
    return follower.startsReader();
}

// Ends the quotes that are open, puts the value in quotes of its own and opens the others again.
void appendQuoted(std::string &line, string_view value, char quote) {
    if (quote == '"') line += '"';
    if (quote != '\'') line += '\'';
    for (char const c : value) {
        if (c == '\'')
            line += "'\\''";
        else
            line += c;
    }
    if (quote != '\'') line += '\'';
    if (quote == '"') line += '"';
}

char const *refusalOf(string_view value, Follower const &place, bool isReadTwice) {
    if (value.substr(0, 1) == "-" && place.isWordEmpty()) return kOption;
    return isPlain(value) || (place.isClear() && !isReadTwice) ? nullptr : kNotSafe;
}

}  // namespace

std::string kqbFilledForShell(string_view line, string_view placeholder, string_view value,
                              char const **refusal) {
    bool const isReadTwice = startsReader(line);
    std::string filled;
    *refusal = nullptr;
    Follower follower(line);
    while (follower.place() < line.size() && *refusal == nullptr) {
        std::size_t const from = follower.place();
        std::size_t const next = std::min(line.find(placeholder, from), line.size());
        while (follower.place() < next) follower.step(next);
        filled += line.substr(from, next - from);
        if (next == line.size()) break;
        *refusal = refusalOf(value, follower, isReadTwice);
        if (isPlain(value))
            filled += value;
        else
            appendQuoted(filled, value, follower.quote());
        follower.skip(placeholder.size());
    }
    return filled;
}
