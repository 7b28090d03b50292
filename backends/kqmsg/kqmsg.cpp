// The message service: what the environment asked for, and texts found, filled in and decorated.
#include "platform/kqmsg.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backends/kqmsg/kqmsg_catalogs.h"
#include "backends/kqmsg/kqmsg_locale.h"
#include "backends/text_buffer.h"

namespace {

using namespace kqmsg;

constexpr char kLocationVariable[] = "VANTOREX_ERROR_LOCATION";
constexpr char kLocaleVariable[] = "VANTOREX_ERROR_LOCALE";
constexpr char kLevelVariable[] = "VANTOREX_ERROR_LEVEL";

enum Level { kBareText = 0, kWithNumber = 1, kWithSource = 2 };

struct Service {
    explicit Service(std::string location) : catalogs(std::move(location)) {}

    Catalogs catalogs;
    std::vector<std::string> chain;  // the bundles asked, in order
    Level level = kBareText;
};

// Texts are looked up when something went wrong, so one lock for all is enough.
std::mutex serviceMutex;
std::unique_ptr<Service> service;

// --- Starting ----------------------------------------------------------------------------------

std::string_view variable(char const *name) {
    char const *const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::optional<Level> parseLevel(std::string_view text) {
    if (text.empty() || text == "0") return kBareText;
    if (text == "1") return kWithNumber;
    if (text == "2") return kWithSource;
    return std::nullopt;
}

// "The message locale 'x!' (VANTOREX_ERROR_LOCALE) is no locale name."
std::string complaint(char const *what, char const *name, char const *fault) {
    std::string text = what;
    text += " '";
    text += variable(name);
    text += "' (";
    return text.append(name).append(") ").append(fault);
}

// A service as the environment asks for it, or null with the reason.
std::unique_ptr<Service> fromEnvironment(std::string *reason) {
    std::string const location(variable(kLocationVariable));
    std::error_code error;
    if (location.empty()) {
        *reason = std::string("The message location ") + kLocationVariable + " is not set.";
        return nullptr;
    }
    if (!std::filesystem::is_directory(location, error)) {
        *reason = complaint("The message location", kLocationVariable, "is no directory.");
        return nullptr;
    }
    auto made = std::make_unique<Service>(std::filesystem::absolute(location).string());
    if (!parseLocale(std::getenv(kLocaleVariable), &made->chain)) {
        *reason = complaint("The message locale", kLocaleVariable, "is no locale name.");
        return nullptr;
    }
    auto const level = parseLevel(variable(kLevelVariable));
    if (!level.has_value()) {
        *reason = complaint("The message level", kLevelVariable, "is none of 0, 1 and 2.");
        return nullptr;
    }
    made->level = *level;
    return made;
}

// --- Finding -----------------------------------------------------------------------------------

// "Base Services": base_services. Empty for what no catalogue is named, such as a path.
std::string folderOf(char const *catalog) {
    std::string folder = catalog != nullptr ? catalog : "";
    for (char &c : folder) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c == ' ') c = '_';
        bool const isPlain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        if (!isPlain) return {};
    }
    return folder;
}

bool find(char const *catalog, int number, std::string *text) {
    std::string const folder = folderOf(catalog);
    if (folder.empty() || number < 0) return false;
    for (auto const &locale : service->chain) {
        if (service->catalogs.find(folder, locale, number, text)) return true;
    }
    return false;
}

// --- Filling in --------------------------------------------------------------------------------

// The position that text names at its beginning, "{12}", and the length of that; -1 for none.
int placeholder(std::string_view text, std::size_t *length) {
    std::size_t at = 1;
    int position = 0;
    while (at < text.size() && at < 4 && text[at] >= '0' && text[at] <= '9') {
        position = position * 10 + (text[at++] - '0');
    }
    if (at == 1 || at >= text.size() || text[at] != '}') return -1;
    *length = at + 1;
    return position;
}

// Apostrophes mean nothing special here, and what is put in is not looked at again.
std::string filled(std::string_view text, char const *const *arguments, int count) {
    std::string result;
    for (auto brace = text.find('{'); brace != text.npos; brace = text.find('{')) {
        result += text.substr(0, brace);
        text.remove_prefix(brace);
        std::size_t length = 1;
        int const position = placeholder(text, &length);
        if (position < 0) result += '{';
        if (position >= 0 && position < count && arguments[position] != nullptr) {
            result += arguments[position];
        }
        text.remove_prefix(length);
    }
    return result += text;
}

// "Base Services 444: ...", "Base Services 444 (kqbemail): ..."
std::string prefix(Level level, char const *catalog, int number, char const *source) {
    if (level == kBareText) return {};
    std::string result = catalog;
    result.append(" ").append(std::to_string(number));
    if (level == kWithSource && source != nullptr && *source != '\0') {
        result.append(" (").append(source).append(")");
    }
    return result.append(": ");
}

int deliver(std::string const &text, char *buffer, int size) {
    kqbackend::copyText(text, buffer, size);
    return static_cast<int>(text.size());
}

}  // namespace

int kqmsgInitialize(char *buffer, int size) try {
    std::string reason;
    auto made = fromEnvironment(&reason);
    if (made == nullptr) {
        kqbackend::copyText(reason, buffer, size);
        return 1;
    }
    std::lock_guard const lock(serviceMutex);
    service.swap(made);
    return 0;
} catch (...) {
    kqbackend::copyText("The message catalogues cannot be opened: not enough memory.", buffer,
                        size);
    return 2;
}

int kqmsgSetLocale(char const *locale) try {
    std::vector<std::string> chain;
    if (!parseLocale(locale, &chain)) return 1;
    std::lock_guard const lock(serviceMutex);
    if (service != nullptr) service->chain.swap(chain);
    return 0;
} catch (...) {
    return 1;
}

int kqmsgGetMessage(char const *catalog, int number, char const *source,
                    char const *const *arguments, int argumentCount, char *buffer, int size) try {
    std::lock_guard const lock(serviceMutex);
    std::string text;
    if (service == nullptr || !find(catalog, number, &text)) return -1;
    return deliver(
        prefix(service->level, catalog, number, source) + filled(text, arguments, argumentCount),
        buffer, size);
} catch (...) {
    return -1;
}

int kqmsgGetFragment(char const *catalog, int number, char *buffer, int size) try {
    std::lock_guard const lock(serviceMutex);
    std::string text;
    if (service == nullptr || !find(catalog, number, &text)) return -1;
    return deliver(text, buffer, size);
} catch (...) {
    return -1;
}

void kqmsgTerminate() try {
    std::lock_guard const lock(serviceMutex);
    service.reset();
} catch (...) {
}
