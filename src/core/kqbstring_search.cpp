// KqbString: order, search, parts and replacement.
//
// Bytes are searched and positions are characters. Text without continuation bytes, which its two
// lengths tell, needs no translation between the two.
#include <cstring>

#include "core/kqbcopy_internal.h"
#include "core/kqbstring_internal.h"
#include "platform/kqschr.h"

namespace {

using std::string_view;
constexpr std::size_t kNone = string_view::npos;

int sign(int value) { return (value > 0) - (value < 0); }

// The first character boundary at or behind an offset.
std::size_t boundary(string_view text, std::size_t offset) {
    while (offset < text.size() && kqbIsContinuation(text[offset])) ++offset;
    return offset;
}

// The byte offset of a position; kNone behind the end. Position 0 is the very first byte.
std::size_t offsetOf(KqbString const &string, unsigned position) {
    string_view const text = KqbStringAccess::view(string);
    if (position == 0) return 0;
    if (position > string.length()) return kNone;
    if (string.length() == text.size()) return position;
    return static_cast<std::size_t>(np_uchar_seek_n(text.data(), text.size(), position) -
                                    text.data());
}

// Characters between two byte offsets.
unsigned charactersIn(KqbString const &string, std::size_t from, std::size_t to) {
    string_view const text = KqbStringAccess::view(string);
    if (string.length() == text.size()) return static_cast<unsigned>(to - from);
    return np_uchar_length_n(text.data() + from, to - from);
}

// The offset of the first occurrence at or behind from. The needle has at least one byte.
std::size_t findBytes(string_view whole, string_view needle, std::size_t from) {
    string_view const text = whole.substr(from);
    char const *const found =
        np_uchar_find_n(text.data(), text.size(), needle.data(), needle.size());
    return found == nullptr ? kNone : static_cast<std::size_t>(found - whole.data());
}

struct Match {
    std::size_t begin;
    std::size_t end;
};

// What is to be replaced, in ascending order. A match that begins or ends inside a character (of an
// ill-formed needle) is taken to the next boundary, as positions that count characters demand.
class Matches {
public:
    Matches(string_view text, string_view needle, std::size_t from, unsigned limit)
        : text_(text), needle_(needle), from_(from), limit_(limit) {}

    bool next(Match *match) {
        do {
            if (index_ == held_ && !refill()) return false;
            match->begin = offsets_[index_++];
        } while (match->begin < done_);
        match->end = boundary(text_, match->begin + needle_.size());
        match->begin = boundary(text_, match->begin);
        done_ = match->end;
        return returned_++ < limit_;
    }

    // Starts anew; where all places are still held nothing is sought again.
    void rewind() {
        if (batches_ > 1) held_ = batches_ = 0;
        index_ = returned_ = 0;
        done_ = 0;
    }

private:
    static constexpr unsigned kBatch = 512;

    bool refill() {
        if (from_ == kNone || (batches_ > 0 && held_ < kBatch)) return false;
        std::size_t const start = batches_ > 0 ? offsets_[held_ - 1] + needle_.size() : from_;
        held_ = np_uchar_find_all_n(text_.data() + start, text_.size() - start, needle_.data(),
                                    needle_.size(), offsets_, kBatch);
        for (unsigned k = 0; k < held_; ++k) offsets_[k] += start;
        ++batches_;
        index_ = 0;
        return held_ > 0;
    }

    string_view text_;
    string_view needle_;
    std::size_t from_;
    unsigned limit_;
    std::size_t done_ = 0;
    unsigned returned_ = 0;
    unsigned index_ = 0;
    unsigned held_ = 0;
    unsigned batches_ = 0;
    std::size_t offsets_[kBatch];
};

}  // namespace

// --- Order ----------------------------------------------------------------------------------------

int KqbString::compare(KqbString const &other, bool caseSensitive) const {
    return compare(other.isNull() ? nullptr : other.asCstr(), caseSensitive);
}

int KqbString::compare(char const *other, bool caseSensitive) const {
    if (isNull()) return other == nullptr ? 0 : -1;
    if (other == nullptr) return 1;
    return caseSensitive ? sign(std::strcmp(asCstr(), other)) : np_uchar_icomp(asCstr(), other);
}

bool operator<(KqbString const &a, KqbString const &b) {
    if (a.isNull() || b.isNull()) return a.isNull() && !b.isNull();
    return KqbStringAccess::view(a) < KqbStringAccess::view(b);
}

bool KqbStringLess::operator()(KqbString const &a, KqbString const &b) const {
    return a.compare(b, true) < 0;
}

bool KqbStringLessInsensitive::operator()(KqbString const &a, KqbString const &b) const {
    return a.compare(b, false) < 0;
}

// --- Search ---------------------------------------------------------------------------------------

int KqbString::find(KqbString const &needle, int start) const {
    unsigned const first = start > 0 ? static_cast<unsigned>(start) : 0;
    std::size_t const from = offsetOf(*this, first);
    if (needle.byteLength() == 0 || from == kNone) return -1;
    std::size_t const at =
        findBytes(KqbStringAccess::view(*this), KqbStringAccess::view(needle), from);
    return at == kNone ? -1 : static_cast<int>(first + charactersIn(*this, from, at));
}

int KqbString::rfind(KqbString const &needle) const {
    if (needle.byteLength() == 0) return -1;
    std::size_t const at = KqbStringAccess::view(*this).rfind(KqbStringAccess::view(needle));
    return at == kNone ? -1 : static_cast<int>(charactersIn(*this, 0, at));
}

// --- Parts and replacement ------------------------------------------------------------------------

KqbString KqbString::mid(unsigned int start, int count) const {
    KqbString part;
    if (isNull()) return part;
    std::size_t const from = offsetOf(*this, start);
    if (from == kNone) {
        part.doAssign("", 0, 0);
        return part;
    }
    string_view const text = KqbStringAccess::view(*this).substr(from);
    unsigned characters = length() - start;
    std::size_t bytes = text.size();
    if (count >= 0 && static_cast<unsigned>(count) < characters) {
        characters = static_cast<unsigned>(count);
        bytes = length() == byteLength()
                    ? characters
                    : static_cast<std::size_t>(
                          np_uchar_seek_n(text.data(), text.size(), characters) - text.data());
    }
    part.doAssign(text.data(), static_cast<int>(characters), static_cast<int>(bytes));
    return part;
}

KqbString KqbString::right(int count) const {
    if (count < 0) return mid(~0U, -1);
    auto const wanted = static_cast<unsigned>(count);
    return mid(length() > wanted ? length() - wanted : 0, -1);
}

KqbString KqbString::replace(KqbString const &from, KqbString const &to, unsigned int start,
                             int count) const {
    KqbString result;
    if (isNull()) return result;
    string_view const text = KqbStringAccess::view(*this);
    string_view const inserted = KqbStringAccess::view(to);
    Matches matches(text, KqbStringAccess::view(from), offsetOf(*this, start),
                    static_cast<unsigned>(count));
    std::size_t bytes = text.size();
    unsigned replaced = 0;
    for (Match match; matches.next(&match); ++replaced) {
        bytes += inserted.size() - (match.end - match.begin);
    }
    if (bytes > kKqbStringMaxBytes) return result;
    result.rep_ = newString(static_cast<unsigned>(bytes));
    if (result.rep_ == nullptr) return result;

    char *out = result.rep_->text;
    auto const add = [&out](char const *piece, std::size_t size) {
        kqbCopy(out, piece, size);
        out += size;
    };
    std::size_t done = 0;
    matches.rewind();
    for (Match match; matches.next(&match); done = match.end) {
        add(text.data() + done, match.begin - done);
        add(inserted.data(), inserted.size());
    }
    add(text.data() + done, text.size() - done);
    *out = '\0';
    result.rep_->bytes = static_cast<unsigned>(bytes);
    result.rep_->characters = length() + replaced * (to.length() - from.length());
    return result;
}
