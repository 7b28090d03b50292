// Queries: a list of pairs, and the handler that is its public face.
#include "kqb/kquriqueryhandler.h"

#include <algorithm>
#include <utility>

#include "uri/kquriescape_internal.h"
#include "uri/kquriquerylist_internal.h"
#include "uri/kquriresult_internal.h"

namespace {

using std::string_view;

// Lists up to this size are walked.
constexpr std::size_t kFewPairs = 16;

// Finds the next place of a byte for searches that only move on, in one pass over the text.
class NextPlace {
public:
    NextPlace(string_view text, char byte) : text_(text), byte_(byte), place_(text.find(byte)) {}

    // The first place at or behind from; npos when there is none.
    std::size_t from(std::size_t from) {
        if (place_ < from) place_ = text_.find(byte_, from);
        return place_;
    }

private:
    string_view text_;
    char byte_;
    std::size_t place_;
};

class KqURIQueryHandlerImpl final : public KqURIQueryHandler {
public:
    explicit KqURIQueryHandlerImpl(bool allowDuplicates) : pairs_(allowDuplicates) {}

    void release() override { delete this; }

    bool addValue(KqbString const &key, KqbString const &value) override {
        return kqbWithMemory([&] { pairs_.add(key, value); });
    }

    unsigned int getCount() override { return static_cast<unsigned int>(pairs_.size()); }

    bool getPair(int index, KqbString *key, KqbString *value) override {
        if (index < 0 || static_cast<std::size_t>(index) >= pairs_.size()) return false;
        return kqbWithMemory([&] {
            KqbString ownKey = pairs_.key(static_cast<std::size_t>(index));
            KqbString ownValue = pairs_.value(static_cast<std::size_t>(index));
            if (key != nullptr) *key = std::move(ownKey);
            if (value != nullptr) *value = std::move(ownValue);
        });
    }

    KqbString getQueryString() override {
        KqbString result;
        kqbWithMemory([&] {
            KqURIText text;
            pairs_.write(text);
            result = text.take();
        });
        return result;
    }

    bool parse(KqbString const &text) override {
        return kqbWithMemory([&] { pairs_.parse(text); });
    }

    virtual ~KqURIQueryHandlerImpl() = default;

private:
    KqURIQueryList pairs_;
};

}  // namespace

// --- Pieces ---------------------------------------------------------------------------------------

KqURIQueryList::Piece::Piece(KqbString const &text, string_view part, bool hasEscapes)
    : whole_(hasEscapes ? kqbUnescaped(part) : text), size_(part.size()) {
    if (hasEscapes) {
        size_ = KqbStringAccess::view(whole_).size();
    } else if (!part.empty()) {
        at_ = static_cast<std::size_t>(part.data() - text.asCstr());
    }
}

KqbString KqURIQueryList::Piece::string() const {
    bool const isWhole = size_ == KqbStringAccess::view(whole_).size();
    return isWhole ? whole_ : kqbStringOf(view());
}

// --- The list -------------------------------------------------------------------------------------

void KqURIQueryList::parse(KqbString const &text) {
    string_view const query = KqbStringAccess::view(text);
    NextPlace equals(query, '=');
    NextPlace percent(query, '%');
    NextPlace ampersand(query, '&');
    auto const piece = [&](std::size_t begin, std::size_t end) {
        return Piece(text, query.substr(begin, end - begin), percent.from(begin) < end);
    };
    for (std::size_t at = 0; at < query.size();) {
        std::size_t const end = std::min(ampersand.from(at), query.size());
        std::size_t const sign = end > at ? equals.from(at) : string_view::npos;
        if (sign != string_view::npos && sign > at) {
            Piece key = piece(at, sign);
            // Where the sign is another part's there is no value in front of this part's end.
            put(std::move(key), piece(std::min(sign + 1, end), end));
        }
        at = end + 1;
    }
}

void KqURIQueryList::add(KqbString const &key, KqbString const &value) {
    put(Piece(key), Piece(value));
}

void KqURIQueryList::put(Piece key, Piece value) {
    std::size_t const found = allowDuplicates_ ? kNone : find(key.view());
    if (found != kNone) {
        pairs_[found].value = std::move(value);
    } else {
        append({std::move(key), std::move(value)});
    }
}

void KqURIQueryList::append(Pair pair) {
    std::size_t const bytes = pair.key.view().size();
    if (bytes > kKqbStringMaxBytes - keyBytes_) throw std::bad_alloc();
    pairs_.push_back(std::move(pair));
    try {
        enterLast();
    } catch (...) {
        pairs_.pop_back();
        throw;
    }
    keyBytes_ += bytes;
}

void KqURIQueryList::enterLast() {
    if (allowDuplicates_ || pairs_.size() <= kFewPairs) return;
    if (!index_.empty()) {
        index_.emplace(pairs_.back().key.view(), pairs_.size() - 1);
        return;
    }
    std::unordered_map<string_view, std::size_t> index;
    for (std::size_t i = 0; i < pairs_.size(); ++i) index.emplace(pairs_[i].key.view(), i);
    index_ = std::move(index);
}

std::size_t KqURIQueryList::find(string_view key) const {
    if (!index_.empty()) {
        auto const found = index_.find(key);
        return found != index_.end() ? found->second : kNone;
    }
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        if (pairs_[i].key.view() == key) return i;
    }
    return kNone;
}

KqbString KqURIQueryList::valueOf(string_view key) const {
    std::size_t const found = find(key);
    return found != kNone ? value(found) : KqbString();
}

void KqURIQueryList::write(KqURIText &out) const {
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        if (i > 0) out.add('&');
        kqbAddComponent(out, pairs_[i].key.view(), kKqURIPairEscapes);
        out.add('=');
        kqbAddComponent(out, pairs_[i].value.view(), kKqURIPairEscapes);
    }
}

// --- For the kinds of URI -------------------------------------------------------------------------

bool kqbAddQueryValue(KqbString &query, bool allowDuplicates, KqbString const &key,
                      KqbString const &value, KqbString *error) {
    if (error != nullptr) error->setNull();
    bool const added = kqbWithMemory([&] {
        KqURIQueryList pairs(allowDuplicates);
        pairs.parse(query);
        pairs.add(key, value);
        KqURIText text;
        pairs.write(text);
        query = text.take();
    });
    return added || kqbRefuse(error, kKqURIQueryValueRefused);
}

KqURIQueryHandler *getURIQueryHandler(KqbString const &query, bool allowDuplicates) {
    auto *const handler = new (std::nothrow) KqURIQueryHandlerImpl(allowDuplicates);
    if (handler == nullptr) {
        kqbNoteMemoryFailure();
        return nullptr;
    }
    handler->parse(query);
    return handler;
}
