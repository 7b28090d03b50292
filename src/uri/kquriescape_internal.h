// Escaping and unescaping, by bytes.
#pragma once

#include <string_view>

#include "uri/kquritext_internal.h"

// Which bytes are escaped: some ASCII characters, and those of all multi-byte characters.
class KqURIEscapes {
public:
    constexpr explicit KqURIEscapes(std::string_view specials) : escaped_() {
        for (char const special : specials) escaped_[index(special)] = true;
        for (std::size_t i = 0x80; i < sizeof escaped_; ++i) escaped_[i] = true;
    }
    constexpr bool contains(char byte) const { return escaped_[index(byte)]; }

private:
    static constexpr unsigned char index(char byte) { return static_cast<unsigned char>(byte); }

    bool escaped_[256];
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

// Adds the component escaped, or as it is where that fails.
void kqbAddComponent(KqURIText &out, KqbString const &component, KqURIEscapes const &escapes);
void kqbAddComponent(KqURIText &out, std::string_view component, KqURIEscapes const &escapes);

void kqbAddUnescaped(KqURIText &out, std::string_view text);

// The text unescaped: empty, not null, for an empty one.
KqbString kqbUnescaped(std::string_view text);
// The same; text without escapes is shared.
KqbString kqbUnescaped(KqbString const &text);
