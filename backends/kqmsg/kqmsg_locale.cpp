#include "backends/kqmsg/kqmsg_locale.h"

#include <algorithm>
#include <string_view>

namespace kqmsg {

namespace {

constexpr std::size_t kLongestSubtag = 8;

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isAlphanumeric(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }
bool isSeparator(char c) { return c == '_' || c == '-'; }

bool isLanguage(std::string_view tag) {
    return (tag.size() == 2 || tag.size() == 3) && std::all_of(tag.begin(), tag.end(), isLetter);
}

bool isSubtag(std::string_view tag) {
    return !tag.empty() && tag.size() <= kLongestSubtag &&
           std::all_of(tag.begin(), tag.end(), isAlphanumeric);
}

// A language of ISO 639 with any number of subtags behind it: the name becomes part of a path.
bool isLocaleName(std::string_view name) {
    auto const separator = [&] { return std::find_if(name.begin(), name.end(), isSeparator); };
    auto end = static_cast<std::size_t>(separator() - name.begin());
    if (!isLanguage(name.substr(0, end))) return false;
    while (end < name.size()) {
        name.remove_prefix(end + 1);
        end = static_cast<std::size_t>(separator() - name.begin());
        if (!isSubtag(name.substr(0, end))) return false;
    }
    return true;
}

bool isRootName(std::string_view name) { return name == "C" || name == "POSIX" || name == kRoot; }

char upper(char c) { return isLetter(c) ? static_cast<char>(c & ~0x20) : c; }
char lower(char c) { return isLetter(c) ? static_cast<char>(c | 0x20) : c; }

// The usual spelling, "zh_Hant_TW": the language in lower case, a script of four letters
// capitalised, everything else in upper case.
std::string canonicalName(std::string_view name) {
    std::string result;
    while (true) {
        auto const separator = std::find_if(name.begin(), name.end(), isSeparator);
        auto const tag = name.substr(0, static_cast<std::size_t>(separator - name.begin()));
        bool const isScript = tag.size() == 4 && std::all_of(tag.begin(), tag.end(), isLetter);
        for (std::size_t i = 0; i < tag.size(); ++i) {
            bool const isLower = result.find('_') == std::string::npos || (isScript && i > 0);
            result += isLower ? lower(tag[i]) : upper(tag[i]);
        }
        if (tag.size() == name.size()) return result;
        name.remove_prefix(tag.size() + 1);
        result += '_';
    }
}

}  // namespace

bool parseLocale(char const *name, std::vector<std::string> *chain) {
    std::string_view text = name != nullptr && *name != '\0' ? name : kRoot;
    text = text.substr(0, text.find_first_of(".@"));  // the rest is of POSIX names
    if (isRootName(text)) {
        *chain = {kRoot};
        return true;
    }
    if (!isLocaleName(text)) return false;
    std::string const locale = canonicalName(text);
    std::string const language = locale.substr(0, locale.find('_'));
    *chain = {locale};
    if (language != locale) chain->push_back(language);
    chain->push_back(kRoot);
    return true;
}

}  // namespace kqmsg
