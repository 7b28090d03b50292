// What becomes of a character under case mapping and folding.
//
// Characters are handled as units: their UTF-8 bytes, the first in the lowest byte of a word. The
// answers for 256 code points form a page, which is built from ICU when it is first asked for and
// then kept; all pages in which nothing changes, which are most, are one. Any thread may ask at
// any time, no lock is taken, and without memory the answers come from ICU itself.
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "backends/kqschr/kqschr_utf8.h"

namespace kqschr {

// Folding is the full one, mapping that of the root locale.
enum class CaseKind { kFold, kLower, kUpper };

using Unit = std::uint32_t;

// A unit that is no character has this in its lowest byte, which no character begins with, and
// something else above it.
constexpr Unit kNoCharacter = 0xff;
inline bool isCharacter(Unit unit) { return (unit & 0xff) != kNoCharacter; }

inline unsigned unitSize(Unit unit) {
    return 4 - static_cast<unsigned>(std::countl_zero(unit | 1)) / 8;
}

// Bytes in the order of their places, whatever the machine.
inline Unit loadUnit(char const *bytes) {
    Unit unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return std::endian::native == std::endian::big ? __builtin_bswap32(unit) : unit;
}

inline void storeUnit(Unit unit, char *bytes) {
    if constexpr (std::endian::native == std::endian::big) unit = __builtin_bswap32(unit);
    std::memcpy(bytes, &unit, sizeof unit);
}

// The characters that one character becomes.
struct Expansion {
    unsigned count;
    Unit units[3];
};

struct CasePage {
    // Instead of a character: kFinalSigma, kAskIcu, or kExpansion with an index into expansions
    // added to it, in steps of kStep.
    static constexpr Unit kStep = 0x100;
    static constexpr Unit kFinalSigma = kNoCharacter;
    static constexpr Unit kAskIcu = kFinalSigma + kStep;
    static constexpr Unit kExpansion = kAskIcu + kStep;

    Unit mapped[256];
    Expansion const *expansions;
};

constexpr std::size_t kCasePages = 0x1100;
extern std::atomic<CasePage const *> casePages[3][kCasePages];

// Stands for every page in which nothing changes; its entries are not used.
extern CasePage const unchangedPage;

// Builds a page, or gives one of which every entry is kAskIcu.
CasePage const &buildCasePage(CaseKind kind, std::size_t index);

inline CasePage const &casePage(CaseKind kind, std::size_t index) {
    auto *const page = casePages[static_cast<int>(kind)][index].load(std::memory_order_acquire);
    return page ? *page : buildCasePage(kind, index);
}

// Characters of two bytes, which most scripts with case have, get a table of their own, which is
// looked up by the bits of the two bytes. Entries as in pages; those of overlong forms are none of
// a character.
struct TwoByteTable {
    Unit mapped[0x800];

    static bool isTwoBytes(Unit bytes) { return (bytes & 0xc0e0) == 0x80c0; }
    // Whether a whole unit has two bytes and is a character.
    static bool isTwoByteUnit(Unit unit) { return (unit & 0xffffc0e0) == 0x80c0; }
    Unit at(Unit bytes) const { return mapped[(bytes & 0x1f) << 6 | (bytes >> 8 & 0x3f)]; }
};
extern std::atomic<TwoByteTable const *> twoByteTables[3];

// Builds the table, or gives null without memory.
TwoByteTable const *buildTwoByteTable(CaseKind kind);

inline TwoByteTable const *twoByteTable(CaseKind kind) {
    auto *const table = twoByteTables[static_cast<int>(kind)].load(std::memory_order_acquire);
    return table ? table : buildTwoByteTable(kind);
}

inline Unit loadTwoBytes(char const *bytes) {
    std::uint16_t unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return std::endian::native == std::endian::big ? __builtin_bswap16(unit) : unit;
}

inline void storeTwoBytes(Unit unit, char *bytes) {
    auto half = static_cast<std::uint16_t>(unit);
    if constexpr (std::endian::native == std::endian::big) half = __builtin_bswap16(half);
    std::memcpy(bytes, &half, sizeof half);
}

// What a character that is not ASCII becomes: size is that of the bytes read, 0 when they are
// ill-formed. A unit that is no character asks for expandCase.
struct CaseAnswer {
    unsigned size;
    Unit unit;
};

// Answers for any character.
CaseAnswer findCase(CaseKind kind, char const *text, std::size_t size);

// All that the character at text becomes when the answer for it is no single character. A capital
// sigma is taken as not final.
Expansion expandCase(CaseKind kind, char const *text, CaseAnswer answer);

// Answers for the character at text, which has at least one byte. Characters of two and three
// bytes are recognised and looked up without decoding them byte by byte.
inline CaseAnswer caseOf(CaseKind kind, char const *text, std::size_t size) {
    if (size < sizeof(Unit)) return findCase(kind, text, size);
    Unit const bytes = loadUnit(text);
    if (TwoByteTable::isTwoBytes(bytes) && (bytes & 0x1e) != 0) {
        TwoByteTable const *const table = twoByteTable(kind);
        return table ? CaseAnswer{2, table->at(bytes)} : findCase(kind, text, size);
    }
    if ((bytes & 0xc0c0f0) == 0x8080e0) {
        unsigned const index = (bytes & 0xf) << 4 | (bytes >> 10 & 0xf);
        bool const isOverlong = index < 8;
        bool const isSurrogate = index - 0xd8 < 8;
        if (isOverlong || isSurrogate) return {0, 0};
        CasePage const &page = casePage(kind, index);
        if (&page == &unchangedPage) return {3, bytes & 0xffffff};
        return {3, page.mapped[(bytes >> 8 & 3) << 6 | (bytes >> 16 & 0x3f)]};
    }
    return findCase(kind, text, size);
}

}  // namespace kqschr
