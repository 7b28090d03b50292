// Order and hash without regard to case: both read the same folded text.
#include <algorithm>
#include <cstring>

#include "backends/kqschr/kqschr_case_pages.h"
#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"
#include "platform/kqschr.h"

using namespace kqschr;

namespace {

// A byte that is no character, as a unit. In the order of units it comes behind all characters.
Unit strayByte(unsigned byte) { return kNoCharacter | byte << 8; }

// Units as numbers that order texts: by their first bytes, which orders characters by their code
// points.
Unit rankOf(Unit unit) { return __builtin_bswap32(unit); }

// Reads a text unit by unit, folded.
class FoldReader {
public:
    FoldReader(char const *text, std::size_t size) : at_(text), end_(text + size) {}

    // False at the end.
    bool next(Unit &unit) {
        if (pending_ != 0) [[unlikely]]
            return unit = expansion_[3 - pending_--], true;
        if (at_ == end_) return false;
        unsigned const byte = byteAt(at_, 0);
        if (byte < 0x80) return ++at_, unit = ByteBlock::lower(byte), true;
        CaseAnswer const answer = caseOf(CaseKind::kFold, at_, left());
        if (answer.size == 0) return ++at_, unit = strayByte(byte), true;
        if (!isCharacter(answer.unit)) [[unlikely]]
            return unit = expand(answer), true;
        at_ += answer.size;
        unit = answer.unit;
        return true;
    }

    // What is left to read, when no part of an expansion is still to come.
    bool isBetweenCharacters() const { return pending_ == 0; }
    bool isAtTwoBytes() const { return byteAt(at_, 0) >= 0xc2 && byteAt(at_, 0) < 0xe0; }
    char const *at() const { return at_; }
    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
    void skip(std::size_t size) { at_ += size; }

private:
    // Keeps an expansion at the end of its array, so that the count tells the place, and gives its
    // first unit.
    Unit expand(CaseAnswer answer) {
        Expansion const found = expandCase(CaseKind::kFold, at_, answer);
        std::copy(found.units, found.units + found.count, expansion_ + 3 - found.count);
        pending_ = found.count - 1;
        at_ += answer.size;
        return found.units[0];
    }

    char const *at_;
    char const *end_;
    unsigned pending_ = 0;
    Unit expansion_[3];
};

// Skips what both texts have in common, but for the case of ASCII letters. Both readers then stand
// at the start of a character: if the difference may be inside one, its lead byte is among the
// last three of the same bytes.
void skipSame(FoldReader &a, FoldReader &b) {
    std::size_t same = sameBytesPrefix(a.at(), b.at(), std::min(a.left(), b.left()));
    for (std::size_t back = 1; back <= 3 && back <= same; ++back) {
        if (byteAt(a.at(), same - back) < 0xc0) continue;
        same -= back;
        break;
    }
    a.skip(same);
    b.skip(same);
}

// Skips characters of two bytes that fold to the same.
void skipSameTwoBytes(FoldReader &a, FoldReader &b) {
    TwoByteTable const *const table = twoByteTable(CaseKind::kFold);
    if (!table) return;
    std::size_t const size = std::min(a.left(), b.left());
    std::size_t done = 0;
    for (; done + 2 <= size; done += 2) {
        Unit const bytesA = loadTwoBytes(a.at() + done);
        Unit const bytesB = loadTwoBytes(b.at() + done);
        if (!TwoByteTable::isTwoBytes(bytesA) || !TwoByteTable::isTwoBytes(bytesB)) break;
        Unit const unit = table->at(bytesA);
        if (!isCharacter(unit) || unit != table->at(bytesB)) break;
    }
    a.skip(done);
    b.skip(done);
}

[[gnu::noinline]] int compareFolded(FoldReader a, FoldReader b) {
    for (;;) {
        if (a.isBetweenCharacters() && b.isBetweenCharacters()) {
            skipSame(a, b);
            if (a.left() == 0 || b.left() == 0) return (a.left() != 0) - (b.left() != 0);
            if (a.isAtTwoBytes() && b.isAtTwoBytes()) skipSameTwoBytes(a, b);
        }
        Unit unitA = 0;
        Unit unitB = 0;
        bool const hasA = a.next(unitA);
        bool const hasB = b.next(unitB);
        if (!hasA || !hasB) return hasA - hasB;
        if (unitA != unitB) return rankOf(unitA) < rankOf(unitB) ? -1 : 1;
    }
}

// Hashes a sequence of bytes, however it is cut into pieces.
class ByteHash {
public:
    // Takes the lowest count bytes of a word, 1 to 8; the others must be 0.
    void add(std::uint64_t bytes, unsigned count) {
        unsigned const filled = size_ % 8;
        word_ |= bytes << 8 * filled;
        size_ += count;
        if (filled + count < 8) return;
        mix();
        word_ = filled == 0 ? 0 : bytes >> 8 * (8 - filled);
    }

    std::uint64_t finish() { return finish(state_, word_, size_); }

    // The hash of whole words, one after the other, and what is left of a text of that size.
    static constexpr std::uint64_t kStart = 0x243f6a8885a308d3u;
    static std::uint64_t mixed(std::uint64_t state, std::uint64_t word) {
        state = (state ^ word) * 0x9e3779b97f4a7c15u;
        return state ^ state >> 32;
    }
    static std::uint64_t finish(std::uint64_t state, std::uint64_t rest, std::uint64_t size) {
        return mixed(mixed(state, rest), size);
    }

private:
    void mix() { state_ = mixed(state_, word_); }

    std::uint64_t state_ = kStart;
    std::uint64_t word_ = 0;
    std::uint64_t size_ = 0;
};

// Adds a unit in the bytes that it has in folded text.
void addUnit(Unit unit, ByteHash &hash) {
    if (isCharacter(unit)) return hash.add(unit, unitSize(unit));
    hash.add(unit >> 8, 1);
}

// Adds whole words of ASCII, as many as there are.
void addAsciiWords(FoldReader &reader, ByteHash &hash) {
    while (reader.left() >= WordBlock::kSize) {
        auto const word = WordBlock::load(reader.at());
        if (WordBlock::nonAscii(word)) return;
        hash.add(WordBlock::lower(word), WordBlock::kSize);
        reader.skip(WordBlock::kSize);
    }
}

[[gnu::noinline]] std::uint64_t hashFolded(char const *text, std::size_t size) {
    FoldReader reader(text, size);
    ByteHash hash;
    for (;;) {
        if (reader.isBetweenCharacters()) addAsciiWords(reader, hash);
        Unit unit;
        if (!reader.next(unit)) return hash.finish();
        addUnit(unit, hash);
    }
}

// The last bytes of a text as a word, fewer than a whole one.
std::uint64_t lastWord(char const *text, std::size_t size) {
    std::size_t const count = size % WordBlock::kSize;
    if (count == 0) return 0;
    if (size > WordBlock::kSize) {
        return WordBlock::load(text + size - WordBlock::kSize) >> 8 * (WordBlock::kSize - count);
    }
    char bytes[WordBlock::kSize] = {};
    std::memcpy(bytes, text, count);
    return WordBlock::load(bytes);
}

}  // namespace

int np_uchar_icomp_n(char const *a, std::size_t sizeA, char const *b, std::size_t sizeB) {
    if (!a) a = "", sizeA = 0;
    if (!b) b = "", sizeB = 0;
    std::size_t const same = sameBytesPrefix(a, b, std::min(sizeA, sizeB));
    if (same == sizeA && same == sizeB) return 0;
    unsigned const byteA = same < sizeA ? byteAt(a, same) : 0;
    unsigned const byteB = same < sizeB ? byteAt(b, same) : 0;
    if (byteA >= 0x80 || byteB >= 0x80) return compareFolded({a, sizeA}, {b, sizeB});
    if (same == sizeA || same == sizeB) return sizeA < sizeB ? -1 : 1;
    return ByteBlock::lower(byteA) < ByteBlock::lower(byteB) ? -1 : 1;
}

int np_uchar_icomp(char const *a, char const *b) {
    if (!a) a = "";
    if (!b) b = "";
    return np_uchar_icomp_n(a, std::strlen(a), b, std::strlen(b));
}

// Keys are mostly ASCII, whose words need no reading.
std::uint64_t np_uchar_ihash_n(char const *text, std::size_t size) {
    if (!text) text = "", size = 0;
    std::uint64_t state = ByteHash::kStart;
    std::uint64_t all = 0;
    for (std::size_t at = 0; at + WordBlock::kSize <= size; at += WordBlock::kSize) {
        std::uint64_t const word = WordBlock::load(text + at);
        all |= word;
        state = ByteHash::mixed(state, WordBlock::lower(word));
    }
    std::uint64_t const last = lastWord(text, size);
    if (WordBlock::nonAscii(all | last)) return hashFolded(text, size);
    return ByteHash::finish(state, WordBlock::lower(last), size);
}
