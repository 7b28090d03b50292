#include "platform/kqschr.h"

#include <gtest/gtest.h>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"

namespace {

using kqschr::ByteBlock;
using kqschr::WidestBlock;
using kqschr::WordBlock;

// A text in a block of exactly its size, so that the address sanitizer sees what is read beyond.
class Exact {
public:
    explicit Exact(std::string const &text) : size_(text.size()), bytes_(new char[size_ + 1]) {
        std::memcpy(bytes_.get(), text.c_str(), size_ + 1);
    }
    char const *text() const { return bytes_.get(); }
    std::size_t size() const { return size_; }

private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

std::string utf8(char32_t codePoint) {
    char bytes[4];
    return std::string(bytes, kqschr::encodeUtf8(codePoint, bytes));
}

// A random text out of pieces that are hard for case mapping and for decoding.
std::string randomText(std::mt19937 &random, std::size_t pieces) {
    static std::string const kPieces[] = {"a",
                                          "Z",
                                          "The quick BROWN fox, 0123456789",
                                          " ",
                                          ".",
                                          "'",
                                          "\xc2\xad",
                                          "Σ",
                                          "σ",
                                          "ς",
                                          "ΟΔΟΣ",
                                          "ß",
                                          "ẞ",
                                          "İ",
                                          "ı",
                                          "ŉ",
                                          "ſ",
                                          "K",
                                          "Å",
                                          "ΐ",
                                          "ᾳ",
                                          "ﬃ",
                                          "Ⱥ",
                                          "ⱥ",
                                          "Ж",
                                          "ж",
                                          "é",
                                          "É",
                                          "中文字",
                                          "한글",
                                          "ꙁ",
                                          "Ꮳ",
                                          "ꮳ",
                                          "Ａ",
                                          "𐐀",
                                          "𐐨",
                                          "😀",
                                          "\u0345",
                                          "\u0301",
                                          "\x80",
                                          "\xc3",
                                          "\xe4\xb8",
                                          "\xed\xa0\x80",
                                          "\xf0\x9f\x98",
                                          "\xff",
                                          "\xe0\x80\x80",
                                          "\xc1\x81"};
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i) text += kPieces[random() % std::size(kPieces)];
    return text;
}

std::string lower(Exact const &text) {
    std::string out(np_uchar_lower_n(text.text(), text.size(), nullptr, -1), '\0');
    EXPECT_EQ(
        np_uchar_lower_n(text.text(), text.size(), out.data(), static_cast<long>(out.size() + 1)),
        out.size());
    return out;
}

std::string upper(Exact const &text) {
    std::string out(np_uchar_upper_n(text.text(), text.size(), nullptr, -1), '\0');
    EXPECT_EQ(
        np_uchar_upper_n(text.text(), text.size(), out.data(), static_cast<long>(out.size() + 1)),
        out.size());
    return out;
}

// ICU's own mapping of a whole text.
template <class Function>
std::string byIcu(Function function, std::string const &text) {
    UErrorCode error = U_ZERO_ERROR;
    static UCaseMap *const map = ucasemap_open("", U_FOLD_CASE_DEFAULT, &error);
    std::string out(3 * text.size() + 1, '\0');
    out.resize(
        static_cast<std::size_t>(function(map, out.data(), static_cast<int32_t>(out.size()),
                                          text.data(), static_cast<int32_t>(text.size()), &error)));
    return out;
}

int compare(std::string const &a, std::string const &b) {
    return np_uchar_icomp_n(a.data(), a.size(), b.data(), b.size());
}

std::uint64_t hash(std::string const &text) { return np_uchar_ihash_n(text.data(), text.size()); }

// --- Threads, before any other test has built the pages ---------------------------------------

TEST(KqschrThreadTest, ThreadsMayAskForTheSamePagesAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (char32_t c = 0x80; c < 0x20000; c += 97) {
                if (c - 0xd800 < 0x800) continue;
                std::string const text = utf8(c);
                EXPECT_EQ(lower(Exact(text)), byIcu(ucasemap_utf8ToLower, text));
                EXPECT_EQ(compare(text, upper(Exact(text))), compare(upper(Exact(text)), text));
            }
        });
    }
    for (auto &thread : threads) thread.join();
}

// --- Lengths and positions --------------------------------------------------------------------

TEST(KqschrLengthTest, CountsLeadBytesAtAnySizeAndPlace) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        Exact const text(randomText(random, static_cast<std::size_t>(round)));
        std::size_t expected = 0;
        for (std::size_t at = 0; at < text.size(); ++at)
            expected += (text.text()[at] & 0xc0) != 0x80;
        ASSERT_EQ(np_uchar_length_n(text.text(), text.size()), expected);
        ASSERT_EQ(np_uchar_length(text.text()), expected);
        ASSERT_EQ(kqschr::countLeadsByWord(text.text(), text.size()), expected);
    }
    EXPECT_EQ(np_uchar_length(nullptr), 0u);
    std::string const large(20000, 'x');
    EXPECT_EQ(np_uchar_length(large.c_str()), 20000u);
}

TEST(KqschrLengthTest, SeeksWhatItTells) {
    std::mt19937 random(2);
    for (std::size_t pieces : {0u, 1u, 3u, 30u, 3000u}) {
        Exact const text("\x80" + randomText(random, pieces));
        char const *const end = text.text() + text.size();
        unsigned const length = np_uchar_length(text.text());
        for (unsigned count = 0; count <= length; count += 1 + count / 16) {
            char const *const at = np_uchar_seek(text.text(), count);
            ASSERT_EQ(at, np_uchar_seek_n(text.text(), text.size(), count));
            std::size_t missing = count;
            ASSERT_EQ(at - text.text(),
                      kqschr::findLead<ByteBlock>(text.text(), text.size(), missing));
            ASSERT_EQ(np_uchar_tell(text.text(), at), count);
            ASSERT_TRUE(at == end || (*at & 0xc0) != 0x80);
        }
        EXPECT_EQ(np_uchar_seek(text.text(), length), end);
        EXPECT_EQ(np_uchar_seek(text.text(), length + 1), nullptr);
        EXPECT_EQ(np_uchar_seek_n(text.text(), text.size(), length + 1), nullptr);
    }
    EXPECT_EQ(np_uchar_seek(nullptr, 0), nullptr);
}

TEST(KqschrLengthTest, CopiesWholeCharacters) {
    struct {
        unsigned capacity, count;
        char const *expected;
    } const cases[] = {{100, 100, "aé中😀"}, {11, 4, "aé中😀"}, {10, 4, "aé中"}, {100, 2, "aé"},
                       {3, 9, "a"},         {1, 9, ""},       {100, 0, ""}};
    for (auto const &c : cases) {
        char text[100] = "aé中😀";
        EXPECT_EQ(np_uchar_bufncopy(text, text, c.capacity, c.count), std::strlen(c.expected));
        EXPECT_STREQ(text, c.expected);
    }
    char untouched = 'x';
    EXPECT_EQ(np_uchar_bufncopy(&untouched, "abc", 0, 3), 0u);
    EXPECT_EQ(untouched, 'x');
}

// --- Decoding and classification --------------------------------------------------------------

TEST(KqschrDecodeTest, DecodesEveryCodePointAndNothingElse) {
    for (char32_t c = 0; c <= 0x10ffff; ++c) {
        Exact const text(utf8(c));
        int found = -1;
        int const expected = c - 0xd800 < 0x800 ? 0 : static_cast<int>(text.size());
        ASSERT_EQ(np_uchar_toint_n(text.text(), text.size(), &found), expected)
            << static_cast<std::uint32_t>(c);
        ASSERT_EQ(np_uchar_toint(text.text(), &found), expected) << static_cast<std::uint32_t>(c);
        ASSERT_EQ(found, expected ? static_cast<int>(c) : -1);
        ASSERT_EQ(np_uchar_isspace(text.text()),
                  expected && u_isUWhiteSpace(static_cast<UChar32>(c)) ? expected : 0)
            << static_cast<std::uint32_t>(c);
    }
}

TEST(KqschrDecodeTest, RejectsWhatIsIllFormed) {
    for (char const *bytes :
         {"\x80", "\xbf", "\xc0\x80", "\xc1\xbf", "\xc3", "\xc3(", "\xe0\x9f\xbf", "\xe4\xb8",
          "\xe4(\xad", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf", "\xf0\x9f\x98", "\xf4\x90\x80\x80",
          "\xf5\x80\x80\x80", "\xff"}) {
        Exact const text(bytes);
        int untouched = 7;
        EXPECT_EQ(np_uchar_toint(text.text(), &untouched), 0);
        EXPECT_EQ(untouched, 7);
        EXPECT_EQ(np_uchar_isspace(text.text()), 0);
        EXPECT_FALSE(np_uchar_valid_n(text.text(), text.size()));
    }
    int untouched = 7;
    EXPECT_EQ(np_uchar_toint_n("x", 0, &untouched), 0);
    EXPECT_TRUE(np_uchar_valid_n("twenty ASCII bytes, then 中文 and 😀.", 40));
}

TEST(KqschrDecodeTest, FindsTheFirstByteThatIsNotAscii) {
    for (std::size_t size = 0; size < 70; ++size) {
        for (std::size_t at = 0; at <= size; ++at) {
            std::string bytes(size, 'a');
            if (at < size) bytes[at] = '\x80';
            Exact const text(bytes);
            ASSERT_EQ(kqschr::asciiPrefix<WidestBlock>(text.text(), size), at);
            ASSERT_EQ(kqschr::asciiPrefix<WordBlock>(text.text(), size), at);
            ASSERT_EQ(np_uchar_isascii_n(text.text(), size), at == size);
        }
    }
}

// --- Case mapping -----------------------------------------------------------------------------

TEST(KqschrCaseTest, MapsEveryCodePointAsIcuDoes) {
    std::vector<std::pair<char32_t, char32_t>> const ranges = {{0, 0xd7ff}, {0xe000, 0x10ffff}};
    for (auto [c, last] : ranges) {
        for (; c <= last; ++c) {
            // Alone, and behind a letter in a text long enough for blocks.
            for (std::string const &text : {utf8(c), "中文字中文字Ab" + utf8(c) + "."}) {
                Exact const exact(text);
                ASSERT_EQ(lower(exact), byIcu(ucasemap_utf8ToLower, text))
                    << static_cast<std::uint32_t>(c);
                ASSERT_EQ(upper(exact), byIcu(ucasemap_utf8ToUpper, text))
                    << static_cast<std::uint32_t>(c);
            }
            std::string const folded = byIcu(ucasemap_utf8FoldCase, utf8(c));
            ASSERT_EQ(compare(utf8(c), folded), 0) << static_cast<std::uint32_t>(c);
            ASSERT_EQ(hash("x" + utf8(c)), hash("X" + folded)) << static_cast<std::uint32_t>(c);
        }
    }
}

TEST(KqschrCaseTest, MapsMixedTextsAsIcuDoes) {
    std::mt19937 random(3);
    for (int round = 0; round < 5000; ++round) {
        std::string const text = randomText(random, random() % 40);
        ASSERT_EQ(lower(Exact(text)), byIcu(ucasemap_utf8ToLower, text)) << text;
        ASSERT_EQ(upper(Exact(text)), byIcu(ucasemap_utf8ToUpper, text)) << text;
    }
}

TEST(KqschrCaseTest, CutsAtACharacterWhereItDoesNotFit) {
    std::mt19937 random(4);
    for (int round = 0; round < 200; ++round) {
        Exact const text(randomText(random, 8));
        std::string const whole = upper(text);
        for (std::size_t limit = 1; limit <= whole.size() + 1; ++limit) {
            std::string out(limit, 'x');
            ASSERT_EQ(np_uchar_upper(text.text(), out.data(), static_cast<long>(limit)),
                      whole.size());
            std::size_t fits = limit - 1;
            while (fits != 0 && fits != whole.size() && (whole[fits] & 0xc0) == 0x80) --fits;
            ASSERT_STREQ(out.c_str(), whole.substr(0, fits).c_str());
        }
    }
    char untouched = 'x';
    EXPECT_EQ(np_uchar_lower("ABC", &untouched, 0), 3u);
    EXPECT_EQ(np_uchar_lower("ABC", &untouched, -1), 3u);
    EXPECT_EQ(untouched, 'x');
    EXPECT_EQ(np_uchar_lower(nullptr, &untouched, 1), 0u);
    EXPECT_EQ(untouched, '\0');
}

TEST(KqschrCaseTest, BlocksOfAnyWidthMapAscii) {
    std::string all(256, '\0');
    for (int i = 0; i < 256; ++i) all[static_cast<std::size_t>(i)] = static_cast<char>(i);
    for (std::size_t start = 0; start < 256; ++start) {
        std::string const text = all.substr(start % 128, start % 40);
        std::string byVector(text.size(), 'x');
        std::string byWord = byVector;
        std::string byByte = byVector;
        std::size_t const done =
            kqschr::mapPlainPrefix<false, ByteBlock>(text.data(), text.size(), byByte.data());
        ASSERT_EQ(
            (kqschr::mapPlainPrefix<false, WordBlock>(text.data(), text.size(), byWord.data())),
            done);
        ASSERT_GE(
            (kqschr::mapPlainPrefix<false, WidestBlock>(text.data(), text.size(), byVector.data())),
            done);
        ASSERT_EQ(byByte.substr(0, done), byWord.substr(0, done));
        ASSERT_EQ(byByte.substr(0, done), byVector.substr(0, done));
    }
}

// --- Order ------------------------------------------------------------------------------------

// The order as it is defined: folded code points, and stray bytes behind them.
std::vector<std::uint32_t> keyOf(std::string const &text) {
    std::vector<std::uint32_t> key;
    for (std::size_t at = 0; at < text.size();) {
        char32_t c;
        unsigned const size = kqschr::decodeUtf8(text.data() + at, text.size() - at, c);
        if (size == 0) {
            key.push_back(0x110000u + static_cast<unsigned char>(text[at++]));
            continue;
        }
        std::string const folded = byIcu(ucasemap_utf8FoldCase, text.substr(at, size));
        for (std::size_t i = 0; i < folded.size();) {
            i += kqschr::decodeUtf8(folded.data() + i, folded.size() - i, c);
            key.push_back(c);
        }
        at += size;
    }
    return key;
}

TEST(KqschrOrderTest, ComparesFoldedCodePoints) {
    std::mt19937 random(5);
    for (int round = 0; round < 20000; ++round) {
        std::string const common = randomText(random, random() % 6);
        std::string const a = common + randomText(random, random() % 4);
        std::string const b = lower(Exact(common)) + randomText(random, random() % 4);
        auto const keyA = keyOf(a);
        auto const keyB = keyOf(b);
        int const expected = keyA < keyB ? -1 : keyA > keyB;
        Exact const exactA(a);
        Exact const exactB(b);
        ASSERT_EQ(np_uchar_icomp_n(exactA.text(), exactA.size(), exactB.text(), exactB.size()),
                  expected)
            << a << "|" << b;
        ASSERT_EQ(np_uchar_icomp(exactA.text(), exactB.text()), expected);
        if (expected == 0) {
            ASSERT_EQ(hash(a), hash(b)) << a << "|" << b;
        }
    }
}

TEST(KqschrOrderTest, KnowsTheSpecialCases) {
    EXPECT_EQ(compare("Straße", "STRASSE"), 0);
    EXPECT_EQ(compare("\u212a", "k"), 0);
    EXPECT_EQ(compare("\u017f", "S"), 0);
    EXPECT_EQ(compare("ab", "AB\x80"), -1);
    EXPECT_EQ(compare("a\xf4\x8f\xbf\xbf", "a\x80"), -1);
    EXPECT_EQ(compare("\x80", "\x81"), -1);
    EXPECT_EQ(compare("\xe4\xb8", "\xe4\xb8\xad"), 1);
    EXPECT_EQ(compare(std::string("a\0", 2), "a"), 1);
    EXPECT_EQ(np_uchar_icomp(nullptr, ""), 0);
    EXPECT_EQ(np_uchar_icomp(nullptr, "a"), -1);
}

TEST(KqschrOrderTest, HashesAreSpread) {
    std::set<std::uint64_t> seen;
    for (int i = 0; i < 100000; ++i) seen.insert(hash("BASE/OPTION/" + std::to_string(i)) >> 32);
    EXPECT_GT(seen.size(), 99990u);
}

// --- Encodings --------------------------------------------------------------------------------

std::string encode(int encoding, std::string const &text) {
    std::string out(
        static_cast<std::size_t>(np_uchar_encode(encoding, text.data(), text.size(), nullptr, 0)) +
            1,
        'x');
    np_uchar_encode(encoding, text.data(), text.size(), out.data(), out.size());
    out.pop_back();
    return out;
}

TEST(KqschrEncodingTest, NumbersEveryConverterOfIcu) {
    for (int32_t i = 0; i < ucnv_countAvailable(); ++i) {
        char const *const name = ucnv_getAvailableName(i);
        int const number = np_uchar_getenc(name);
        ASSERT_NE(number, NP_ENC_UNKNOWN) << name;
        ASSERT_EQ(np_uchar_getenc(name), number);
        ASSERT_EQ(encode(number, "").size(), 0u) << name;
    }
    for (char const *name : {"utf8", "UTF_8", "US-ASCII", "ascii", "ANSI_X3.4-1968"}) {
        EXPECT_EQ(np_uchar_getenc(name), NP_ENC_UTF8) << name;
    }
    EXPECT_EQ(np_uchar_getenc("utf16le"), NP_ENC_UTF16LE);
    EXPECT_EQ(np_uchar_getenc("utf-32be"), NP_ENC_UTF32BE);
    EXPECT_EQ(np_uchar_getenc("latin1"), np_uchar_getenc("ISO_8859-1"));
    for (char const *name : {"", "no such encoding", static_cast<char const *>(nullptr)}) {
        EXPECT_EQ(np_uchar_getenc(name), NP_ENC_UNKNOWN);
    }
}

TEST(KqschrEncodingTest, ConvertsToUtf8) {
    using std::string_literals::operator""s;
    EXPECT_EQ(encode(np_uchar_getenc("latin1"), "caf\xe9"), "café");
    EXPECT_EQ(encode(np_uchar_getenc("shift_jis"), "\x93\xfa\x96\x7b"), "日本");
    EXPECT_EQ(encode(np_uchar_getenc("koi8-r"), "\xd7\xc9\xcf"), "вио");
    EXPECT_EQ(encode(NP_ENC_UTF16LE, "a\0\x3d\xd8\0\xde"s), "a😀");
    EXPECT_EQ(encode(NP_ENC_UTF16BE, "\0a\xd8\x3d\0b\xde"s), "a\ufffdb\ufffd");
    EXPECT_EQ(encode(np_uchar_getenc("windows-1252"), "\x81\x80"s).substr(2), "€");
    EXPECT_EQ(encode(np_uchar_getenc("shift_jis"), "\x93"), "\ufffd");
    EXPECT_EQ(encode(NP_ENC_UTF8, "a\xff\xc3"), "a\xff\xc3");
    EXPECT_EQ(encode(NP_ENC_NARROW, "é\xff"), "é\xff");
    EXPECT_EQ(np_uchar_encode(9999, "a", 1, nullptr, 0), -1);
    char cut[4];
    EXPECT_EQ(np_uchar_encode(np_uchar_getenc("latin1"), "\xe9\xe9", 2, cut, sizeof cut), 4);
    EXPECT_STREQ(cut, "é");
}

// Sends a text through a converter in pieces of the given sizes. What is invalid is put in
// brackets.
template <class Step>
std::string stream(Step step, int encoding, std::string const &text, std::size_t in,
                   std::size_t out) {
    np_uchar_converter *const converter = np_uchar_converter_open(encoding);
    std::string result;
    for (std::size_t start = 0, size; start <= text.size(); start += in) {
        Exact const piece(text.substr(start, in));
        char const *at = piece.text();
        bool const last = start + in > text.size();
        np_uchar_step answer;
        do {
            std::vector<char> buffer(out);
            char *to = buffer.data();
            size = 0;
            answer = step(converter, &at, piece.text() + piece.size(), &to, buffer.data() + out,
                          last, &size);
            result.append(buffer.data(), static_cast<std::size_t>(to - buffer.data()));
            if (answer == NP_CONV_INVALID) {
                char const *bytes;
                unsigned const count = np_uchar_converter_invalid(converter, &bytes);
                EXPECT_EQ(std::string(at, size), std::string(bytes + count - size, size));
                result += "[" + std::string(bytes, count) + "]";
                at += size;
            }
        } while (answer == NP_CONV_FULL || answer == NP_CONV_INVALID);
        EXPECT_EQ(answer, NP_CONV_OK);
        EXPECT_EQ(at, piece.text() + piece.size());
    }
    np_uchar_converter_close(converter);
    return result;
}

TEST(KqschrConverterTest, TakesAnyPiecesBothWays) {
    std::mt19937 random(6);
    char const *const names[] = {"utf-8", "utf-16le", "utf-32be", "utf-7", "gb18030", "scsu"};
    for (char const *name : names) {
        int const encoding = np_uchar_getenc(name);
        std::string text;
        for (int i = 0; i < 700; ++i)
            text += std::vector<std::string>{"a", "é", "中", "😀", "plain "}[random() % 5];
        std::string const encoded = stream(np_uchar_encode_stream, encoding, text, 10000, 10000);
        EXPECT_EQ(encode(encoding, encoded), text) << name;
        for (std::size_t const in : {1u, 2u, 3u, 7u, 500u}) {
            for (std::size_t const out : {8u, 9u, 100u}) {
                ASSERT_EQ(encode(encoding, stream(np_uchar_encode_stream, encoding, text, in, out)),
                          text)
                    << name;
                ASSERT_EQ(stream(np_uchar_decode, encoding, encoded, in, out), text) << name;
            }
        }
    }
}

TEST(KqschrConverterTest, StopsAtWhatIsInvalidAndGoesOn) {
    using std::string_literals::operator""s;
    std::string const bad =
        "a\xc3(\xe4\xb8\xf0\x9f\x98"
        "é\x80\xed\xa0\x80\xff😀\xe4"s;
    std::string const marked =
        "a[\xc3]([\xe4\xb8][\xf0\x9f\x98]é[\x80][\xed][\xa0][\x80][\xff]😀[\xe4]";
    int const latin1 = np_uchar_getenc("latin1");
    int const sjis = np_uchar_getenc("shift_jis");
    for (std::size_t const in : {1u, 2u, 3u, 100u}) {
        for (std::size_t const out : {4u, 5u, 100u}) {
            EXPECT_EQ(stream(np_uchar_decode, NP_ENC_UTF8, bad, in, out), marked);
            EXPECT_EQ(stream(np_uchar_encode_stream, NP_ENC_UTF8, bad, in, out), marked);
            EXPECT_EQ(stream(np_uchar_encode_stream, latin1,
                             "é中\xad"
                             "x\u200d😀ü\xff",
                             in, out),
                      "\xe9[中][\xad]x[\u200d][😀]\xfc[\xff]");
            EXPECT_EQ(stream(np_uchar_decode, sjis,
                             "\x93\xfa\xff"
                             "a\x93",
                             in, out),
                      "日[\xff]a[\x93]");
            EXPECT_EQ(stream(np_uchar_decode, NP_ENC_UTF16LE,
                             "a\0\x3d\xd8"
                             "b\0c"s,
                             in, out),
                      "a[\x3d\xd8]b[c]");
        }
    }
    EXPECT_EQ(np_uchar_converter_open(9999), nullptr);
    np_uchar_converter_close(nullptr);
}

// --- UTF-16 -----------------------------------------------------------------------------------

TEST(KqschrUtf16Test, ConvertsEveryCodePointBothWays) {
    for (char32_t c = 1; c <= 0x10ffff; ++c) {
        std::string const text = "0123456789abcdef" + utf8(c);
        std::uint16_t units[20];
        int const count = np_uchar_utf8_to_utf16(text.c_str(), -1, units, 20);
        if (c - 0xd800 < 0x800) {
            ASSERT_EQ(count, 0);
            continue;
        }
        ASSERT_EQ(count, c < 0x10000 ? 18 : 19);
        ASSERT_EQ(np_uchar_utf8_to_utf16(text.c_str(), -1, nullptr, 0), count);
        char back[24];
        ASSERT_EQ(np_uchar_utf16_to_utf8(units, -1, back, 24), static_cast<int>(text.size() + 1));
        ASSERT_EQ(back, text);
    }
}

TEST(KqschrUtf16Test, RefusesWhatIsIllFormedOrDoesNotFit) {
    std::uint16_t units[4] = {7, 7, 7, 7};
    for (char const *text : {"\xff", "a\xc3", "\xed\xa0\x80"}) {
        EXPECT_EQ(np_uchar_utf8_to_utf16(text, -1, nullptr, 0), 0);
    }
    EXPECT_EQ(np_uchar_utf8_to_utf16("abc", -1, units, 3), 0);
    EXPECT_EQ(units[3], 7);
    EXPECT_EQ(np_uchar_utf8_to_utf16("abc", 3, units, 3), 3);
    EXPECT_EQ(np_uchar_utf8_to_utf16("", 0, units, 3), 0);
    EXPECT_EQ(np_uchar_utf8_to_utf16(nullptr, -1, units, 3), 1);

    std::uint16_t const lone[][3] = {{0xd800, 'a', 0}, {0xdc00, 'a', 0}, {'a', 0xdbff, 0}};
    for (auto const &text : lone) EXPECT_EQ(np_uchar_utf16_to_utf8(text, -1, nullptr, 0), 0);
    std::uint16_t const pair[] = {'a', 0xd83d, 0xde00, 0};
    char bytes[6] = "xxxxx";
    EXPECT_EQ(np_uchar_utf16_to_utf8(pair, 2, bytes, 6), 0);
    EXPECT_EQ(np_uchar_utf16_to_utf8(pair, -1, bytes, 5), 0);
    EXPECT_EQ(np_uchar_utf16_to_utf8(pair, -1, bytes, 6), 6);
    EXPECT_STREQ(bytes, "a😀");
}

}  // namespace
