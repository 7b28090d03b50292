// Queries: count and pairs agree with the rules written out with the operations of strings, and
// composing after parsing is a fixed point.
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kqb/kquri.h"
#include "kqb/kquriqueryhandler.h"
#include "platform/kqschr.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string unescaped(KqbString const &text) {
    KqbString result;
    fuzzCheck(getUnEscapeStringFromURI(text, &result), "unescape");
    return result.asCstr();
}

void put(Pairs &pairs, bool allowDuplicates, std::string const &key, std::string const &value) {
    for (auto &pair : pairs) {
        if (allowDuplicates || pair.first != key) continue;
        pair.second = value;
        return;
    }
    pairs.emplace_back(key, value);
}

// The rules, step by step, in characters.
Pairs modelOf(KqbString rest, bool allowDuplicates) {
    Pairs pairs;
    while (rest.length() > 0) {
        int const found = rest.find("&");
        int const end = found >= 0 ? found : static_cast<int>(rest.length());
        int const sign = end > 0 ? rest.find("=") : -1;
        if (sign > 0) {
            KqbString const value =
                end > sign ? rest.mid(static_cast<unsigned>(sign) + 1, end - sign - 1) : "";
            put(pairs, allowDuplicates, unescaped(rest.mid(0, sign)), unescaped(value));
        }
        rest = rest.mid(static_cast<unsigned>(end) + 1);
    }
    return pairs;
}

Pairs pairsOf(KqURIQueryHandler &query) {
    Pairs pairs;
    KqbString key, value;
    for (unsigned i = 0; i < query.getCount(); ++i) {
        fuzzCheck(query.getPair(static_cast<int>(i), &key, &value), "pair");
        pairs.emplace_back(key.asCstr(), value.asCstr());
    }
    fuzzCheck(!query.getPair(static_cast<int>(query.getCount()), &key, &value), "behind the last");
    return pairs;
}

void check(KqbString const &text, bool allowDuplicates, bool isWellFormed) {
    KqURIQueryHandler *const query = getURIQueryHandler(text, allowDuplicates);
    Pairs const pairs = pairsOf(*query);
    fuzzCheck(!isWellFormed || pairs == modelOf(text, allowDuplicates), "pairs");
    KqbString const composed = query->getQueryString();
    KqURIQueryHandler *const again = getURIQueryHandler(composed, allowDuplicates);
    // A percent sign is not escaped, and may mean more when it is read again; an empty key is not
    // read at all; what escapes made ill-formed is written as it is.
    bool isCarried = isWellFormed;
    for (auto const &[key, value] : pairs) {
        std::string const both = key + "=" + value;
        isCarried = isCarried && both.find('%') == std::string::npos && !key.empty() &&
                    np_uchar_valid_n(both.data(), both.size());
    }
    fuzzCheck(!isCarried || pairsOf(*again) == pairs, "pairs again");
    fuzzCheck(!isCarried || composed.compare(again->getQueryString()) == 0, "a fixed point");
    fuzzCheck(query->addValue("new key", "value"), "add");
    query->release();
    again->release();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    constexpr std::size_t kLargest = 5000;  // the model is slow
    fuzzBringUp();
    KqbString const text(fuzzText(data, std::min(size, kLargest)).c_str());
    bool const isWellFormed = np_uchar_valid_n(text.asCstr(), text.cStrSize() - 1);
    check(text, true, isWellFormed);
    check(text, false, isWellFormed);
    return 0;
}
