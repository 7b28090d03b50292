// Locations of directories: whatever is accepted, logs show nothing of its password.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbconfigoptions.h"
#include "platform/librzmx.h"

namespace {

constexpr char kMark[] = "pass=", kMask[] = "********";

// Where the password of an accepted location begins; npos without one.
std::size_t passwordIn(std::string lower) {
    for (char &c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    std::size_t const options = std::min(lower.find(';'), lower.size());
    std::size_t const at = lower.find(kMark, options);
    return at == lower.npos ? at : at + std::strlen(kMark);
}

void checkMask(std::string const &text) {
    std::size_t const begin = passwordIn(text);
    if (begin == text.npos) return;
    std::size_t const end = std::min(text.find(';', begin), text.size());
    KqbString const masked = kqbMaskOptionValue("BASE/AUTH_SERVER_LOC", text.c_str());
    std::string_view const shown = masked.asCstr();
    std::size_t const mask = shown.rfind(kMask);
    fuzzCheck(mask == begin, "the mask begins where the password does");
    std::size_t const rest = shown.size() - mask - std::strlen(kMask);
    fuzzCheck(text.size() - rest >= end, "the mask ends behind the password");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::string const text = fuzzText(data, size).c_str();
    char error[256] = "";
    int const result =
        dkSetAuthServerLoc(text.c_str(), "base", "user", "word", 0, error, sizeof error, nullptr);
    fuzzCheck((result == 0) == (*error == '\0'), "refused with a reason");
    if (result == 0) checkMask(text);
    return 0;
}
