// Escaping and unescaping, by bytes.
#pragma once

#include <string_view>

#include "uri/kqurirun_internal.h"
#include "uri/kquritext_internal.h"

// Which bytes are escaped: some ASCII characters, and those of all multi-byte characters.
class KqURIEscapes {
public:
    constexpr explicit KqURIEscapes(std::string_view specials) {
        for (char const special : specials) add(static_cast<unsigned char>(special));
    }

    bool contains(char byte) const {
        auto const index = static_cast<unsigned char>(byte);
        return (bits_[index / 64] >> index % 64 & 1) != 0;
    }

    // Which bytes of a block are escaped.
    KqURIMarks marks(KqURIBlock const &block) const {
        KqURIMarks found = kqbMarks(block >= kFirstMultiByte);
        for (unsigned i = 0; i < count_; ++i) found |= kqbMarks(block == specials_[i]);
        return found;
    }

private:
    static constexpr unsigned char kFirstMultiByte = 0x80;

    constexpr void add(unsigned char special) {
        std::uint64_t const bit = std::uint64_t{1} << special % 64;
        if ((bits_[special / 64] & bit) != 0) return;
        bits_[special / 64] |= bit;
        specials_[count_++] = special;
    }

    std::uint64_t bits_[4] = {0, 0, ~std::uint64_t{0}, ~std::uint64_t{0}};
    unsigned char specials_[kFirstMultiByte] = {};
    unsigned count_ = 0;
};

// What the kinds escape in a component.
inline constexpr KqURIEscapes kKqURIMultiByteOnly{""};
inline constexpr KqURIEscapes kKqURIPathEscapes{" ?#"};
inline constexpr KqURIEscapes kKqURIQueryEscapes{" ?"};
inline constexpr KqURIEscapes kKqURIFragmentEscapes{" #"};
inline constexpr KqURIEscapes kKqURIPairEscapes{" &=#"};

// Adds the text escaped, up to its first ill-formed byte. Returns how many of its bytes that are.
// Throws std::bad_alloc, as the others.
std::size_t kqbAddEscaped(KqURIText &out, std::string_view text, KqURIEscapes const &escapes);

// Adds the component escaped, or as it is where it is ill-formed, so that no byte is lost.
void kqbAddComponent(KqURIText &out, KqbString const &component, KqURIEscapes const &escapes);
void kqbAddComponent(KqURIText &out, std::string_view component, KqURIEscapes const &escapes);

// The text unescaped: empty, not null, for an empty one. kqbDecoded is for text that has escapes.
KqbString kqbUnescaped(std::string_view text);
KqbString kqbDecoded(std::string_view text);
// The same; text without escapes is shared.
KqbString kqbUnescaped(KqbString const &text);
