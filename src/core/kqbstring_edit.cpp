// KqbString: changes in place.
#include <cstring>

#include "core/kqbstring_internal.h"
#include "platform/kqschr.h"

namespace {

using std::string_view;

// Bytes of the character at the start, and at the end, of text; 0 for empty text.
std::size_t firstSize(string_view text) {
    std::size_t size = text.empty() ? 0 : 1;
    while (size < text.size() && kqbIsContinuation(text[size])) ++size;
    return size;
}

std::size_t lastSize(string_view text) {
    std::size_t size = text.empty() ? 0 : 1;
    while (size < text.size() && kqbIsContinuation(text[text.size() - size])) ++size;
    return size;
}

// Cuts removable characters off the ends. removable(character) tells the bytes of a character to be
// removed that stands there; a longer (ill-formed) one is kept, as no byte may get lost unseen.
template <class Removable>
string_view withoutEnds(string_view text, bool leading, bool trailing, Removable removable) {
    auto const matches = [&](string_view character) {
        return !character.empty() && removable(character) == character.size();
    };
    while (leading && matches(text.substr(0, firstSize(text)))) {
        text.remove_prefix(firstSize(text));
    }
    while (trailing && matches(text.substr(text.size() - lastSize(text)))) {
        text.remove_suffix(lastSize(text));
    }
    return text;
}

std::size_t spaceSize(string_view character) {
    return static_cast<std::size_t>(np_uchar_isspace_n(character.data(), character.size()));
}

}  // namespace

std::string_view kqbTrimmedOfSpace(std::string_view bytes) {
    return withoutEnds(bytes, true, true, spaceSize);
}

// Reduces the text to a part of itself and returns the characters that went; 0, with the text as it
// was, when memory ran out.
int KqbString::keepPart(char const *start, unsigned int bytes) {
    if (bytes == byteLength()) return 0;
    auto const head = static_cast<std::size_t>(start - asCstr());
    unsigned const removed = np_uchar_length_n(asCstr(), head) +
                             np_uchar_length_n(start + bytes, byteLength() - head - bytes);
    if (!prepWrite()) return 0;
    std::memmove(rep_->text, rep_->text + head, bytes);
    rep_->text[bytes] = '\0';
    rep_->bytes = bytes;
    rep_->characters -= removed;
    return static_cast<int>(removed);
}

int KqbString::trim(bool leading, bool trailing) {
    string_view const kept =
        withoutEnds(KqbStringAccess::view(*this), leading, trailing, spaceSize);
    return keepPart(kept.data(), static_cast<unsigned>(kept.size()));
}

int KqbString::trimChar(int ch, bool leading, bool trailing) {
    auto const isChar = [ch](string_view character) {
        int codePoint = 0;
        int const size = np_uchar_toint_n(character.data(), character.size(), &codePoint);
        return codePoint == ch ? static_cast<std::size_t>(size) : 0;
    };
    string_view const kept = withoutEnds(KqbStringAccess::view(*this), leading, trailing, isChar);
    return keepPart(kept.data(), static_cast<unsigned>(kept.size()));
}

// Most texts keep their size, so the first attempt maps without measuring.
bool KqbString::mapCase(std::size_t (*map)(char const *, std::size_t, char *, long)) {
    std::size_t room = byteLength();
    if (room == 0) return true;
    while (room <= kKqbStringMaxBytes) {
        InternalString *const mapped = newString(static_cast<unsigned>(room));
        if (mapped == nullptr) return false;
        std::size_t const bytes =
            map(asCstr(), byteLength(), mapped->text, static_cast<long>(room) + 1);
        if (bytes <= room) {
            mapped->text[bytes] = '\0';
            mapped->bytes = static_cast<unsigned>(bytes);
            mapped->characters = np_uchar_length_n(mapped->text, bytes);
            replaceString(mapped);
            return true;
        }
        destroy(mapped);
        room = bytes;
    }
    return false;
}

bool KqbString::lowercase() { return mapCase(np_uchar_lower_n); }
bool KqbString::uppercase() { return mapCase(np_uchar_upper_n); }

void KqbString::truncate(unsigned int count) {
    if (length() <= count) return;
    if (!prepWrite()) return setNull();
    char const *const end = np_uchar_seek_n(rep_->text, rep_->bytes, count);
    rep_->bytes = static_cast<unsigned>(end - rep_->text);
    rep_->text[rep_->bytes] = '\0';
    rep_->characters = count;
}
