// Tokens are stretches of the one copy of the text: a doubled character is literal by taking one of
// the two into the run beside it, so nothing is ever put together while parsing. An expansion first
// gets hold of every value, and then writes a text of known size once.
#include "kqb/kqbtemplate.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "config/kqbmemory_internal.h"
#include "core/kqbcopy_internal.h"
#include "core/kqblog_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqschr.h"

namespace {

using std::string_view;

constexpr int kOutOfMemory = 444;
constexpr int kNoSuchIndex = 1420;
constexpr int kUsedTwice = 1666;
constexpr int kSingleCloser = 1758;
constexpr int kUnexpectedEnd = 1759;
constexpr int kBadCharacter = 1760;
constexpr int kNoSuchVariable = 1762;
constexpr int kEmptyName = 1763;

constexpr int kInformation = 2;
constexpr char kSource[] = "kqbtemplate";

// False, for the caller to return.
bool fail(KqbString *error, int number, std::initializer_list<KqbString> arguments = {}) {
    if (error != nullptr) *error = kqb_get_message(KQB_BASE_SERVICES, number, kSource, arguments);
    return false;
}

void succeed(KqbString *error) {
    if (error != nullptr) error->setNull();
}

// --- What was parsed ------------------------------------------------------------------------------

struct Variable {
    string_view name;
    bool isBracketed;
    bool isResolved = false;
    KqbString value;
};

constexpr unsigned kConstant = ~0U;

struct TemplateToken {
    unsigned begin;  // literal text
    unsigned bytes;
    unsigned variable;  // its place in the list, or kConstant
};

struct Parsed {
    KqbString text;  // tokens and names refer to it
    std::vector<TemplateToken> tokens;
    std::size_t bytes = 0;  // of the literal text in all
    unsigned characters = 0;
    std::vector<Variable> variables;  // in the order of their places
    std::vector<unsigned> byName;
};

// --- Parsing --------------------------------------------------------------------------------------

constexpr bool isSpecial(char c) { return c == '{' || c == '}' || c == '[' || c == ']'; }

// Whether one of sixteen bytes is special: brackets and braces differ in one bit.
bool hasSpecial(char const *text) {
    using Bytes = unsigned char __attribute__((vector_size(16)));
    using Words = unsigned long long __attribute__((vector_size(16)));
    Bytes bytes;
    std::memcpy(&bytes, text, sizeof bytes);
    Bytes const braces = bytes | 0x20;
    auto const found = reinterpret_cast<Words>((braces == '{') | (braces == '}'));
    return (found[0] | found[1]) != 0;
}

bool isSpaceAt(string_view text, std::size_t at) {
    bool const isVisible = text[at] > ' ' && text[at] < '\x7f';
    return !isVisible && np_uchar_isspace_n(&text[at], text.size() - at) > 0;
}

// Throws std::bad_alloc.
class Parser {
public:
    Parser(Parsed *into, KqbString *error)
        : into_(into), error_(error), text_(KqbStringAccess::view(into->text)) {}

    bool run();

private:
    std::size_t nextSpecial(std::size_t at) const;
    void addConstant(std::size_t end);
    bool afterOpener(std::size_t at);
    bool afterCloser(std::size_t at);
    bool takeName(std::size_t begin, char opener);
    bool addVariable(string_view name, std::size_t end, char opener);

    bool failEnd(char const *expected) {
        return fail(error_, kUnexpectedEnd, {KqbString(expected, true)});
    }
    KqbString character(std::size_t at) const;
    KqbString line(std::size_t at) const;

    Parsed *into_;
    KqbString *error_;
    string_view text_;
    std::size_t run_ = 0;  // where the literal run begins
    std::size_t at_ = 0;   // what is not looked at yet
    std::unordered_set<string_view> names_;
};

bool Parser::run() {
    while ((at_ = nextSpecial(at_)) < text_.size()) {
        bool const isOpener = text_[at_] == '{' || text_[at_] == '[';
        if (!(isOpener ? afterOpener(at_) : afterCloser(at_))) return false;
    }
    addConstant(text_.size());
    auto &order = into_->byName;
    order.resize(into_->variables.size());
    std::iota(order.begin(), order.end(), 0U);
    std::sort(order.begin(), order.end(), [this](unsigned a, unsigned b) {
        return into_->variables[a].name < into_->variables[b].name;
    });
    return true;
}

std::size_t Parser::nextSpecial(std::size_t at) const {
    for (; at + 16 <= text_.size() && !hasSpecial(&text_[at]); at += 16) {
    }
    while (at < text_.size() && !isSpecial(text_[at])) ++at;
    return at;
}

// The run up to end, unless it is empty.
void Parser::addConstant(std::size_t end) {
    if (end == run_) return;
    string_view const piece = text_.substr(run_, end - run_);
    into_->tokens.push_back(
        {static_cast<unsigned>(run_), static_cast<unsigned>(piece.size()), kConstant});
    into_->bytes += piece.size();
    into_->characters += np_uchar_length_n(piece.data(), piece.size());
}

bool Parser::afterOpener(std::size_t at) {
    addConstant(at);
    std::size_t const next = at + 1;
    if (next == text_.size()) return failEnd("'{' or character");
    if (text_[next] != text_[at]) return takeName(next, text_[at]);
    run_ = next;
    at_ = next + 1;
    return true;
}

bool Parser::afterCloser(std::size_t at) {
    std::size_t const next = at + 1;
    addConstant(next);
    if (next == text_.size()) return failEnd("'}'");
    if (text_[next] != text_[at]) {
        char const *const expected = text_[at] == '}' ? "'}'" : "']'";
        return fail(error_, kSingleCloser, {KqbString(expected, true), character(next)});
    }
    run_ = at_ = next + 1;
    return true;
}

bool Parser::takeName(std::size_t begin, char opener) {
    char const closer = opener == '{' ? '}' : ']';
    for (std::size_t at = begin; at < text_.size(); ++at) {
        if (text_[at] == closer) {
            return addVariable(text_.substr(begin, at - begin), at, opener);
        }
        if (text_[at] == opener || isSpaceAt(text_, at)) {
            return fail(error_, kBadCharacter, {character(at), line(at)});
        }
    }
    return failEnd("'}'");
}

bool Parser::addVariable(string_view name, std::size_t end, char opener) {
    if (name.empty()) return fail(error_, kEmptyName, {line(end)});
    if (!names_.insert(name).second) return fail(error_, kUsedTwice, {kqbStringOf(name)});
    into_->tokens.push_back({0, 0, static_cast<unsigned>(into_->variables.size())});
    into_->variables.push_back({name, opener == '[', false, KqbString()});
    run_ = at_ = end + 1;
    return true;
}

KqbString Parser::character(std::size_t at) const {
    std::size_t const limit = std::min(text_.size(), at + (np_uchar_isascii(&text_[at]) ? 1 : 4));
    std::size_t end = at + 1;
    while (end < limit && kqbIsContinuation(text_[end])) ++end;
    return kqbStringOf(text_.substr(at, end - at));
}

// Every line feed before a fault stands in literal text.
KqbString Parser::line(std::size_t at) const {
    return KqbString().assign(1 + std::count(text_.begin(), text_.begin() + at, '\n'));
}

// --- The template ---------------------------------------------------------------------------------

class KqbTemplateImpl final : public KqbTemplate {
public:
    explicit KqbTemplateImpl(KqbTemplateValueCB *callback) : callback_(callback) {}

    KqbString getVariable(int index, bool *bracketed, KqbString *error) override;
    int getVariableCount() override;
    void release() override;
    KqbString expand(KqbString *error) override;
    bool parse(KqbString const &text, KqbString *error) override;

private:
    class Expansion;
    class Use;

    KqbTemplateValueCB *const callback_;
    KqLogger *const constants_ = kqlogGetLogger("KQ.Base.Template.TokenConstant");
    KqLogger *const variables_ = kqlogGetLogger("KQ.Base.Template.TokenVariable");
    std::shared_ptr<Parsed> parsed_;  // null: no tokens. Shared with expansions under way
    int uses_ = 0;
    bool isReleased_ = false;
};

// Keeps a template alive while a callback may release it.
class KqbTemplateImpl::Use {
public:
    explicit Use(KqbTemplateImpl *of) : of_(of) { ++of_->uses_; }
    ~Use() {
        if (--of_->uses_ == 0 && of_->isReleased_) delete of_;
    }
    Use(Use const &) = delete;
    Use &operator=(Use const &) = delete;

private:
    KqbTemplateImpl *of_;
};

// --- Expanding ------------------------------------------------------------------------------------

// Throws std::bad_alloc.
class KqbTemplateImpl::Expansion {
public:
    Expansion(KqbTemplateImpl *of, KqbString *error)
        : of_(of), error_(error), parsed_(of->parsed_),
          logsConstants_(of->constants_->isEnabled(kInformation)),
          logsVariables_(of->variables_->isEnabled(kInformation)) {}

    // False, with the error set, when a value cannot be had.
    bool run(KqbString *result);

private:
    bool gather(Variable *variable);
    bool lookUp(Variable *variable);
    bool ask(Variable *variable);
    void write(char *to) const;

    string_view constant(TemplateToken const &token) const {
        return {parsed_->text.asCstr() + token.begin, token.bytes};
    }
    string_view piece(TemplateToken const &token) const {
        return token.variable == kConstant
                   ? constant(token)
                   : KqbStringAccess::view(parsed_->variables[token.variable].value);
    }

    KqbTemplateImpl *of_;
    KqbString *error_;
    std::shared_ptr<Parsed> parsed_;
    bool logsConstants_;
    bool logsVariables_;
    std::size_t bytes_ = 0;
    unsigned characters_ = 0;
};

void log(KqLogger *logger, int line, char const *format, string_view text) {
    kqbWithMemory([&] { kqbLog(logger, kInformation, kSource, line, format, kqbStringOf(text)); });
}

bool KqbTemplateImpl::Expansion::run(KqbString *result) {
    bytes_ = parsed_->bytes;
    characters_ = parsed_->characters;
    for (TemplateToken const &token : parsed_->tokens) {
        if (token.variable != kConstant) {
            if (!gather(&parsed_->variables[token.variable])) return false;
        } else if (logsConstants_) {
            log(of_->constants_, __LINE__, "Appending: '%S'", constant(token));
        }
    }
    succeed(error_);
    if (bytes_ == 0) {
        *result = KqbString("", true);
        return true;
    }
    char *const text = KqbStringAccess::room(*result, bytes_, characters_);
    if (text == nullptr) throw std::bad_alloc();
    write(text);
    return true;
}

bool KqbTemplateImpl::Expansion::gather(Variable *variable) {
    if (!lookUp(variable)) return false;
    bytes_ += KqbStringAccess::view(variable->value).size();
    characters_ += variable->value.length();
    return true;
}

bool KqbTemplateImpl::Expansion::lookUp(Variable *variable) {
    KqLogger *const logger = of_->variables_;
    if (logsVariables_) log(logger, __LINE__, "Looking up variable: '%S'", variable->name);
    if (!variable->isResolved && !ask(variable)) {
        if (logsVariables_) {
            log(logger, __LINE__, "Failed to retrieve variable: '%S'", variable->name);
        }
        return false;
    }
    if (logsVariables_) {
        log(logger, __LINE__, "Appending: '%S'", KqbStringAccess::view(variable->value));
    }
    return true;
}

bool KqbTemplateImpl::Expansion::ask(Variable *variable) {
    KqbString unwanted;
    KqbString *const error = error_ != nullptr ? error_ : &unwanted;
    KqbString const name = kqbStringOf(variable->name);
    KqbTemplateValueCB *const callback = of_->callback_;
    if (callback != nullptr && !callback->getValue(name, &variable->value, error)) return false;
    if (of_->parsed_ != parsed_) return fail(error, kNoSuchVariable, {name});
    variable->isResolved = true;
    return true;
}

void KqbTemplateImpl::Expansion::write(char *to) const {
    for (TemplateToken const &token : parsed_->tokens) {
        string_view const text = piece(token);
        kqbCopy(to, text.data(), text.size());
        to += text.size();
    }
}

KqbString KqbTemplateImpl::expand(KqbString *error) {
    KqbString result;
    succeed(error);
    if (parsed_ == nullptr) return KqbString("", true);
    Use const use(this);
    Expansion expansion(this, error);
    if (!kqbWithMemory([&] { expansion.run(&result); })) fail(error, kOutOfMemory);
    return result;
}

// --- The other operations -------------------------------------------------------------------------

bool KqbTemplateImpl::parse(KqbString const &text, KqbString *error) {
    KqbString const given = text;  // which may be the error's string
    parsed_.reset();
    succeed(error);
    bool const isDone = kqbWithMemory([&] {
        auto const fresh = std::make_shared<Parsed>();
        fresh->text = kqbStringOf(KqbStringAccess::view(given));
        if (Parser(fresh.get(), error).run()) parsed_ = fresh;
    });
    return isDone ? parsed_ != nullptr : fail(error, kOutOfMemory);
}

int KqbTemplateImpl::getVariableCount() {
    return parsed_ != nullptr ? static_cast<int>(parsed_->variables.size()) : 0;
}

KqbString KqbTemplateImpl::getVariable(int index, bool *bracketed, KqbString *error) {
    KqbString name("", true);
    if (index < 0 || index >= getVariableCount()) {
        fail(error, kNoSuchIndex);
        return name;
    }
    auto const place = parsed_->byName[static_cast<std::size_t>(index)];
    Variable const &variable = parsed_->variables[place];
    if (!kqbWithMemory([&] { name = kqbStringOf(variable.name); })) {
        fail(error, kOutOfMemory);
        return name;
    }
    if (bracketed != nullptr) *bracketed = variable.isBracketed;
    succeed(error);
    return name;
}

void KqbTemplateImpl::release() {
    isReleased_ = true;
    if (uses_ == 0) delete this;
}

}  // namespace

KqbTemplate *kqbCreateBasicTemplate(KqbTemplateValueCB *callback, KqbString *error) {
    KqbTemplate *const made = new (std::nothrow) KqbTemplateImpl(callback);
    made != nullptr ? succeed(error) : (void)fail(error, kOutOfMemory);
    return made;
}
