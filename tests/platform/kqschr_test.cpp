#include "platform/kqschr.h"

#include <gtest/gtest.h>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"

namespace {

using namespace kqschr;

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
    return std::string(bytes, encodeUtf8(codePoint, bytes));
}

// A random text out of pieces that are hard for case mapping and for decoding.
std::string randomText(std::mt19937 &random, std::size_t pieces) {
    static auto const kPieces = [] {
        std::istringstream all(
            "a|Z|The quick BROWN fox, 0123456789| "
            "|.|'|\xc2\xad|Σ|σ|ς|ΟΔΟΣ|ß|ẞ|İ|ı|ŉ|ſ|\u212a|\u212b|ΐ|"
            "ᾳ|ﬃ|Ⱥ|ⱥ|Ж|ж|é|É|中文字|한글|ꙁ|Ꮳ|ꮳ|Ａ|𐐀|𐐨|😀|\u0345|"
            "\u0301|"
            "\x80|"
            "\xc3|"
            "\xe4\xb8|"
            "\xed\xa0\x80|\xf0\x9f\x98|\xff|\xe0\x80\x80|\xc1\x81");
        std::vector<std::string> split;
        for (std::string piece; std::getline(all, piece, '|');) split.push_back(piece);
        return split;
    }();
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i) text += kPieces[random() % std::size(kPieces)];
    return text;
}

template <class Function>
std::string mapped(Function function, Exact const &text) {
    std::string out(function(text.text(), text.size(), nullptr, -1), '\0');
    long const room = static_cast<long>(out.size() + 1);
    EXPECT_EQ(function(text.text(), text.size(), out.data(), room), out.size());
    return out;
}

std::string lower(Exact const &text) { return mapped(np_uchar_lower_n, text); }
std::string upper(Exact const &text) { return mapped(np_uchar_upper_n, text); }

// ICU's own mapping of a whole text.
template <class Function>
std::string byIcu(Function function, std::string const &text) {
    UErrorCode error = U_ZERO_ERROR;
    static UCaseMap *const map = ucasemap_open("", U_FOLD_CASE_DEFAULT, &error);
    std::string out(3 * text.size() + 1, '\0');
    auto const sizeOf = [](std::string const &bytes) { return static_cast<int32_t>(bytes.size()); };
    int32_t const size = function(map, out.data(), sizeOf(out), text.data(), sizeOf(text), &error);
    return out.substr(0, static_cast<std::size_t>(size));
}

int compare(std::string const &a, std::string const &b) {
    Exact const x(a), y(b);
    return np_uchar_icomp_n(x.text(), x.size(), y.text(), y.size());
}

std::uint64_t hash(std::string const &text) { return np_uchar_ihash_n(text.data(), text.size()); }

// --- Threads, before any other test has built the pages ---------------------------------------

TEST(KqschrThreadTest, ThreadsMayAskForTheSamePagesAtOnce) {
    std::vector<std::jthread> threads(4);
    for (std::jthread &thread : threads) {
        thread = std::jthread([] {
            for (char32_t c = 0x80; c < 0x20000; c += c - 0xd79f < 0x61 ? 0x900 : 97) {
                std::string const text = utf8(c);
                EXPECT_EQ(lower(Exact(text)), byIcu(ucasemap_utf8ToLower, text));
                EXPECT_EQ(compare(text, upper(Exact(text))), compare(upper(Exact(text)), text));
            }
        });
    }
}

// --- Lengths and positions --------------------------------------------------------------------

TEST(KqschrLengthTest, CountsLeadBytesAndSeeksWhatItTells) {
    std::mt19937 random(2);
    for (unsigned pieces = 0; pieces < 300; ++pieces) {
        Exact const text("\x80" + randomText(random, pieces == 299 ? 3000 : pieces));
        std::size_t const size = text.size();
        unsigned const length = np_uchar_length(text.text());
        auto const isStart = [](char c) { return (c & 0xc0) != 0x80; };
        ASSERT_EQ(length, std::count_if(text.text(), text.text() + size, isStart));
        ASSERT_EQ(np_uchar_length_n(text.text(), size), length);
        ASSERT_EQ(countLeadsByWord(text.text(), size), length);
        for (unsigned count = 0; count <= length; count += 1 + count / 16) {
            char const *const at = np_uchar_seek(text.text(), count);
            std::size_t missing = count;
            ASSERT_EQ(at, np_uchar_seek_n(text.text(), size, count));
            ASSERT_EQ(at - text.text(), findLead<ByteBlock>(text.text(), size, missing));
            ASSERT_EQ(np_uchar_tell(text.text(), at), count);
        }
        EXPECT_EQ(np_uchar_seek(text.text(), length), text.text() + size);
        EXPECT_EQ(np_uchar_seek_n(text.text(), size, length + 1), nullptr);
    }
}

TEST(KqschrLengthTest, CopiesWholeCharacters) {
    std::tuple<unsigned, unsigned, char const *> const cases[] = {
        {11, 4, "aé中😀"}, {10, 4, "aé中"}, {3, 9, "a"}, {1, 9, ""}, {100, 2, "aé"}};
    for (auto const &[capacity, count, expected] : cases) {
        char text[100] = "aé中😀";
        EXPECT_EQ(np_uchar_bufncopy(text, text, capacity, count), std::strlen(expected));
        EXPECT_STREQ(text, expected);
    }
}

// --- Decoding and classification --------------------------------------------------------------

// Also into UTF-16 and back, behind a text long enough for blocks.
TEST(KqschrDecodeTest, DecodesEveryCodePointAndNothingElse) {
    for (char32_t c = 1; c <= 0x10ffff; ++c) {
        Exact const text(utf8(c));
        int found = -1;
        bool const isValid = c - 0xd800 >= 0x800;
        int const expected = isValid ? static_cast<int>(text.size()) : 0;
        ASSERT_EQ(np_uchar_toint_n(text.text(), text.size(), &found), expected);
        ASSERT_EQ(found, isValid ? static_cast<int>(c) : -1);
        int const space = u_isUWhiteSpace(static_cast<UChar32>(c)) ? expected : 0;
        ASSERT_EQ(np_uchar_isspace(text.text()), space);

        std::string const whole = "0123456789abcdef" + utf8(c);
        std::uint16_t units[20];
        char back[24] = "";
        int const count = np_uchar_utf8_to_utf16(whole.c_str(), -1, units, 20);
        ASSERT_EQ(count, isValid ? (c < 0x10000 ? 18 : 19) : 0);
        ASSERT_EQ(np_uchar_utf8_to_utf16(whole.c_str(), -1, nullptr, 0), count);
        if (isValid) np_uchar_utf16_to_utf8(units, -1, back, 24);
        ASSERT_EQ(back, isValid ? whole : "");
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
        EXPECT_FALSE(np_uchar_valid_n(text.text(), text.size()));
    }
    EXPECT_TRUE(np_uchar_valid_n("twenty ASCII bytes, then 中文 and 😀.", 40));
}

// Blocks of every width find the first byte that is not ASCII, and map those before it.
TEST(KqschrDecodeTest, AsciiInBlocksOfAnyWidth) {
    for (std::size_t size = 0; size < 70; ++size) {
        for (std::size_t at = 0; at <= size; ++at) {
            std::string bytes(size, '@');
            for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>('@' + i % 63);
            if (at < size) bytes[at] = '\x80';
            Exact const text(bytes);
            std::string byWord(size, 'x');
            ASSERT_EQ(asciiPrefix<WidestBlock>(text.text(), size), at);
            ASSERT_EQ(asciiPrefix<WordBlock>(text.text(), size), at);
            ASSERT_EQ(np_uchar_isascii_n(text.text(), size), at == size);
            mapPlainPrefix<false, WordBlock>(text.text(), size, byWord.data());
            ASSERT_EQ(byWord.substr(0, at), byIcu(ucasemap_utf8ToLower, bytes.substr(0, at)));
        }
    }
}

// --- Case mapping -----------------------------------------------------------------------------

TEST(KqschrCaseTest, MapsEveryCodePointAsIcuDoes) {
    for (char32_t c = 0; c <= 0x10ffff; c += c == 0xd7ff ? 0x801 : 1) {
        // Alone, and behind a letter in a text long enough for blocks.
        for (std::string const &text : {utf8(c), "中文字中文字Ab" + utf8(c) + "."}) {
            ASSERT_EQ(lower(Exact(text)), byIcu(ucasemap_utf8ToLower, text)) << text;
            ASSERT_EQ(upper(Exact(text)), byIcu(ucasemap_utf8ToUpper, text)) << text;
        }
        std::string const folded = byIcu(ucasemap_utf8FoldCase, utf8(c));
        ASSERT_EQ(compare(utf8(c), folded), 0) << folded;
        ASSERT_EQ(hash("x" + utf8(c)), hash("X" + folded)) << folded;
    }
}

TEST(KqschrCaseTest, MapsMixedTextsAsIcuDoesAndCutsAtACharacter) {
    std::mt19937 random(3);
    for (int round = 0; round < 5000; ++round) {
        std::string const text = randomText(random, random() % 40);
        std::string const whole = byIcu(ucasemap_utf8ToUpper, text);
        ASSERT_EQ(lower(Exact(text)), byIcu(ucasemap_utf8ToLower, text)) << text;
        ASSERT_EQ(upper(Exact(text)), whole) << text;
        for (std::size_t limit = 1; limit <= whole.size() + 1 && round % 25 == 0; ++limit) {
            std::string out(limit, 'x');
            long const room = static_cast<long>(limit);
            ASSERT_EQ(np_uchar_upper(text.c_str(), out.data(), room), whole.size());
            std::size_t fits = limit - 1;
            while (fits != 0 && fits != whole.size() && (whole[fits] & 0xc0) == 0x80) --fits;
            ASSERT_EQ(out.c_str(), whole.substr(0, fits));
        }
    }
}

// --- Order ------------------------------------------------------------------------------------

// The order as it is defined: folded code points, and stray bytes behind them.
std::vector<std::uint32_t> keyOf(std::string const &text) {
    std::vector<std::uint32_t> key;
    for (std::size_t at = 0; at < text.size();) {
        char32_t c;
        unsigned const size = decodeUtf8(text.data() + at, text.size() - at, c);
        if (size == 0) {
            key.push_back(0x110000u + static_cast<unsigned char>(text[at++]));
            continue;
        }
        std::string const folded = byIcu(ucasemap_utf8FoldCase, text.substr(at, size));
        for (std::size_t i = 0; i < folded.size();) {
            i += decodeUtf8(folded.data() + i, folded.size() - i, c);
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
        auto const keyA = keyOf(a), keyB = keyOf(b);
        int const expected = keyA < keyB ? -1 : keyA > keyB;
        ASSERT_EQ(compare(a, b), expected) << a << "|" << b;
        ASSERT_EQ(np_uchar_icomp(a.c_str(), b.c_str()), expected);
        ASSERT_TRUE(expected != 0 || hash(a) == hash(b)) << a << "|" << b;
    }
}

// --- Encodings --------------------------------------------------------------------------------

std::string encode(int encoding, std::string const &text) {
    auto const size = np_uchar_encode(encoding, text.data(), text.size(), nullptr, 0);
    std::string out(static_cast<std::size_t>(size), 'x');
    np_uchar_encode(encoding, text.data(), text.size(), out.data(), out.size() + 1);
    return out;
}

TEST(KqschrEncodingTest, NumbersEveryConverterOfIcu) {
    for (int32_t i = 0; i < ucnv_countAvailable(); ++i) {
        char const *const name = ucnv_getAvailableName(i);
        ASSERT_EQ(encode(np_uchar_getenc(name), "").size(), 0u) << name;
    }
    EXPECT_EQ(np_uchar_getenc("ANSI_X3.4-1968"), NP_ENC_UTF8);
    EXPECT_EQ(np_uchar_getenc("no such encoding"), NP_ENC_UNKNOWN);
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

TEST(KqschrConverterTest, StopsAtWhatIsInvalidAndGoesOn) {
    using std::string_literals::operator""s;
    auto const bad = "a\xc3(\xe4\xb8\xf0\x9f\x98ß\x80\xed\xa0\x80\xff😀\xe4"s;
    auto const marked = "a[\xc3]([\xe4\xb8][\xf0\x9f\x98]ß[\x80][\xed][\xa0][\x80][\xff]😀[\xe4]";
    std::tuple<decltype(&np_uchar_decode), char const *, std::string, std::string> const cases[] = {
        {np_uchar_decode, "utf-8", bad, marked},
        {np_uchar_encode_stream, "utf-8", bad, marked},
        {np_uchar_encode_stream, "latin1", "é中\xadz\u200d😀ü\xff",
         "\xe9[中][\xad]z[\u200d][😀]\xfc[\xff]"},
        {np_uchar_decode, "shift_jis", "\x93\xfa\xffz\x93", "日[\xff]z[\x93]"},
        {np_uchar_decode, "utf-16le", "a\0\x3d\xd8z\0c"s, "a[\x3d\xd8]z[c]"}};
    for (auto const &[step, name, text, expected] : cases) {
        for (std::size_t const in : {1u, 2u, 3u, 100u}) {
            for (std::size_t const out : {4u, 5u, 100u}) {
                EXPECT_EQ(stream(step, np_uchar_getenc(name), text, in, out), expected);
            }
        }
    }
    EXPECT_EQ(np_uchar_converter_open(9999), nullptr);
}

}  // namespace
