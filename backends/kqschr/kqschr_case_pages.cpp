#include "backends/kqschr/kqschr_case_pages.h"

#include <unicode/stringoptions.h>
#include <unicode/utf16.h>

#include <new>

#include "backends/kqicu/kqicu_functions.h"

namespace kqschr {

constinit std::atomic<CasePage const *> casePages[3][kCasePages] = {};
constinit std::atomic<TwoByteTable const *> twoByteTables[3] = {};
constinit CasePage const unchangedPage = {};

namespace {

constexpr char32_t kCapitalSigma = 0x3a3;
constexpr int kMaxUtf16 = 8;

constexpr CasePage makeAskingPage() {
    CasePage page = {};
    for (auto &unit : page.mapped) unit = CasePage::kAskIcu;
    return page;
}
constexpr CasePage kAskingPage = makeAskingPage();

Unit unitOf(char32_t codePoint) {
    char bytes[4] = {};
    encodeUtf8(codePoint, bytes);
    return loadUnit(bytes);
}

int32_t mapUtf16(CaseKind kind, UChar const *in, int32_t sizeIn, UChar *out, UErrorCode *error) {
    auto const *const icu = kqicu::functions();
    *error = icu == nullptr ? U_UNSUPPORTED_ERROR : U_ZERO_ERROR;
    if (icu == nullptr) return 0;
    switch (kind) {
        case CaseKind::kFold:
            return icu->strFoldCase(out, kMaxUtf16, in, sizeIn, U_FOLD_CASE_DEFAULT, error);
        case CaseKind::kLower:
            return icu->strToLower(out, kMaxUtf16, in, sizeIn, "", error);
        case CaseKind::kUpper:
            return icu->strToUpper(out, kMaxUtf16, in, sizeIn, "", error);
    }
    return 0;
}

// Full mapping of one code point by itself.
Expansion askIcu(CaseKind kind, char32_t codePoint) {
    UChar in[2];
    UChar out[kMaxUtf16];
    int32_t sizeIn = 0;
    UErrorCode error;
    U16_APPEND_UNSAFE(in, sizeIn, codePoint);
    int32_t const sizeOut = mapUtf16(kind, in, sizeIn, out, &error);
    if (U_FAILURE(error)) return {1, {unitOf(codePoint)}};
    Expansion result = {};
    for (int32_t at = 0; at < sizeOut && result.count < 3;) {
        char32_t mapped;
        U16_NEXT(out, at, sizeOut, mapped);
        result.units[result.count++] = unitOf(mapped);
    }
    return result;
}

// A page under construction, with as many expansions as it could need.
struct Draft {
    CasePage page = {};
    bool changes = false;
    unsigned expansionCount = 0;
    Expansion expansions[256];

    Draft(CaseKind kind, std::size_t index) {
        for (unsigned low = 0; low < 256; ++low) {
            auto const codePoint = static_cast<char32_t>(index << 8 | low);
            page.mapped[low] = map(kind, codePoint);
            if (page.mapped[low] != unitOf(codePoint)) changes = true;
        }
    }

    Unit map(CaseKind kind, char32_t codePoint) {
        if (kind == CaseKind::kLower && codePoint == kCapitalSigma) return CasePage::kFinalSigma;
        Expansion const found = askIcu(kind, codePoint);
        if (found.count == 1) return found.units[0];
        expansions[expansionCount] = found;
        return CasePage::kExpansion + CasePage::kStep * expansionCount++;
    }

    // The page in one allocation with its expansions, or null.
    CasePage *keep() const {
        void *const block =
            ::operator new(sizeof(CasePage) + expansionCount * sizeof(Expansion), std::nothrow);
        if (!block) return nullptr;
        auto *const kept = new (block) CasePage(page);
        auto *const copies = reinterpret_cast<Expansion *>(kept + 1);
        for (unsigned i = 0; i < expansionCount; ++i) new (copies + i) Expansion(expansions[i]);
        kept->expansions = copies;
        return kept;
    }
};

}  // namespace

CasePage const &buildCasePage(CaseKind kind, std::size_t index) {
    Draft const draft(kind, index);
    CasePage *const built = draft.changes ? draft.keep() : nullptr;
    if (draft.changes && !built) return kAskingPage;
    CasePage const *const mine = built ? built : &unchangedPage;
    CasePage const *winner = nullptr;
    auto &slot = casePages[static_cast<int>(kind)][index];
    if (slot.compare_exchange_strong(winner, mine, std::memory_order_acq_rel)) return *mine;
    ::operator delete(built);
    return *winner;
}

TwoByteTable const *buildTwoByteTable(CaseKind kind) {
    auto *const built = new (std::nothrow) TwoByteTable;
    if (!built) return nullptr;
    for (char32_t codePoint = 0; codePoint < 0x800; ++codePoint) {
        char bytes[4];
        unsigned const size = encodeUtf8(codePoint, bytes);
        built->mapped[codePoint] = size == 2 ? findCase(kind, bytes, size).unit : kNoCharacter;
    }
    TwoByteTable const *winner = nullptr;
    auto &slot = twoByteTables[static_cast<int>(kind)];
    if (slot.compare_exchange_strong(winner, built, std::memory_order_acq_rel)) return built;
    delete built;
    return winner;
}

CaseAnswer findCase(CaseKind kind, char const *text, std::size_t size) {
    char32_t codePoint;
    unsigned const bytes = decodeUtf8(text, size, codePoint);
    if (bytes == 0) return {0, 0};
    CasePage const &page = casePage(kind, codePoint >> 8);
    if (&page == &unchangedPage) return {bytes, unitOf(codePoint)};
    return {bytes, page.mapped[codePoint & 0xff]};
}

Expansion expandCase(CaseKind kind, char const *text, CaseAnswer answer) {
    char32_t codePoint = 0;
    decodeUtf8(text, answer.size, codePoint);
    if (answer.unit < CasePage::kExpansion) return askIcu(kind, codePoint);
    CasePage const &page = casePage(kind, codePoint >> 8);
    return page.expansions[(answer.unit - CasePage::kExpansion) / CasePage::kStep];
}

}  // namespace kqschr
