// Queries: a list of pairs, and the handler that is its public face.
#include "kqb/kquriqueryhandler.h"

#include <algorithm>
#include <utility>

#include "uri/kquriescape_internal.h"
#include "uri/kquriparts_internal.h"
#include "uri/kquriquerylist_internal.h"
#include "uri/kquriresult_internal.h"
#include "uri/kquriscan_internal.h"

namespace {

using std::string_view;

// Lists up to this size are walked.
constexpr std::size_t kFewPairs = 16;

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
            KqbString ownKey = kqbStringOf(pairs_.key(static_cast<std::size_t>(index)));
            KqbString ownValue = kqbStringOf(pairs_.value(static_cast<std::size_t>(index)));
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

// --- The list -------------------------------------------------------------------------------------

void KqURIQueryList::parse(KqbString const &text) {
    if (kqbIsAbsent(text)) return;
    string_view const query = text_.isNull() ? KqbStringAccess::view(text_ = text) : keep(text);
    NextPlace equals(query, '=');
    NextPlace percent(query, '%');
    NextPlace ampersand(query, '&');
    auto const part = [&](std::size_t begin, std::size_t end) {
        string_view const bytes = query.substr(begin, end - begin);
        return percent.from(begin) < end ? keep(kqbDecoded(bytes)) : bytes;
    };
    for (std::size_t at = 0; at < query.size();) {
        std::size_t const end = std::min(ampersand.from(at), query.size());
        std::size_t const sign = end > at ? equals.from(at) : string_view::npos;
        if (sign != string_view::npos && sign > at) {
            string_view const key = part(at, sign);
            // Where the sign is another part's there is no value in front of this part's end.
            put({key, part(std::min(sign + 1, end), end)});
        }
        at = end + 1;
    }
}

void KqURIQueryList::add(KqbString const &key, KqbString const &value) {
    std::size_t const found = allowDuplicates_ ? kNone : find(KqbStringAccess::view(key));
    if (found != kNone && pairs_[found].valueSlot != kNone) {
        KqbString &slot = kept_[pairs_[found].valueSlot];
        slot = value;
        pairs_[found].value = KqbStringAccess::view(slot);
        return;
    }
    string_view const ownKey = found != kNone ? pairs_[found].key : keep(key);
    string_view const ownValue = keep(value);
    put({ownKey, ownValue, kept_.size() - 1});
}

string_view KqURIQueryList::keep(KqbString const &string) {
    kept_.push_back(KqbString(string));
    return KqbStringAccess::view(kept_.back());
}

void KqURIQueryList::put(Pair pair) {
    std::size_t const found = allowDuplicates_ ? kNone : find(pair.key);
    if (found == kNone) return append(pair);
    pairs_[found].value = pair.value;
    pairs_[found].valueSlot = pair.valueSlot;
}

void KqURIQueryList::append(Pair const &pair) {
    if (pair.key.size() > kKqbStringMaxBytes - keyBytes_) throw std::bad_alloc();
    pairs_.push_back(Pair(pair));
    try {
        enterLast();
    } catch (...) {
        pairs_.pop_back();
        throw;
    }
    keyBytes_ += pair.key.size();
}

void KqURIQueryList::enterLast() {
    if (allowDuplicates_ || pairs_.size() <= kFewPairs) return;
    if (!index_.empty()) {
        index_.emplace(pairs_.back().key, pairs_.size() - 1);
        return;
    }
    std::unordered_map<string_view, std::size_t> index;
    for (std::size_t i = 0; i < pairs_.size(); ++i) index.emplace(pairs_[i].key, i);
    index_ = std::move(index);
}

std::size_t KqURIQueryList::find(string_view key) const {
    if (!index_.empty()) {
        auto const found = index_.find(key);
        return found != index_.end() ? found->second : kNone;
    }
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        if (pairs_[i].key == key) return i;
    }
    return kNone;
}

KqbString KqURIQueryList::valueOf(string_view key) const {
    std::size_t const found = find(key);
    return found != kNone ? kqbStringOf(value(found)) : KqbString();
}

void KqURIQueryList::write(KqURIText &out) const {
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        if (i > 0) out.add('&');
        kqbAddComponent(out, pairs_[i].key, kKqURIPairEscapes);
        out.add('=');
        kqbAddComponent(out, pairs_[i].value, kKqURIPairEscapes);
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
