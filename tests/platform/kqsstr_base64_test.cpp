#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/kqsstr.h"

namespace {

// A copy of exactly its size, so that the address sanitizer sees what reaches beyond.
template <class T>
std::unique_ptr<T[]> exactly(T const *data, std::size_t size) {
    std::unique_ptr<T[]> copy(new T[size]);
    std::copy(data, data + size, copy.get());
    return copy;
}

std::string encoded(std::string const &bytes) {
    auto const data = exactly(bytes.data(), bytes.size());
    std::unique_ptr<char[]> const text(new char[kqs_b64_size(bytes.size())]);
    std::size_t const size = kqs_b64_encode(data.get(), bytes.size(), text.get());
    EXPECT_EQ(size, kqs_b64_size(bytes.size()));
    return {text.get(), size};
}

bool decode(std::string const &text, std::string &bytes) {
    auto const exact = exactly(text.data(), text.size());
    std::unique_ptr<char[]> const data(new char[text.size() / 4 * 3]);
    std::ptrdiff_t const size = kqs_b64_decode(exact.get(), text.size(), data.get());
    if (size >= 0) bytes.assign(data.get(), static_cast<std::size_t>(size));
    return size >= 0;
}

// A bit at a time.
std::string model(std::string const &bytes) {
    static char const alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        unsigned value = 0;
        for (std::size_t i = bit; i < bit + 6; ++i) {
            unsigned const byte =
                i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
            value = value * 2 + ((byte >> (7 - i % 8)) & 1);
        }
        text += alphabet[value];
    }
    while (text.size() % 4 != 0) text += '=';
    return text;
}

TEST(KqsstrBase64Test, everySizeBothWays) {
    EXPECT_EQ(encoded("foobar") + encoded("fooba") + encoded("foob"), "Zm9vYmFyZm9vYmE=Zm9vYg==");
    std::mt19937 random(64);
    for (std::size_t size = 0; size < 300; ++size) {
        std::string bytes(size, '\0'), back;
        for (char &byte : bytes) byte = static_cast<char>(random());
        ASSERT_EQ(encoded(bytes), model(bytes)) << size;
        ASSERT_TRUE(decode(encoded(bytes), back)) << size;
        ASSERT_EQ(back, bytes);
    }
}

TEST(KqsstrBase64Test, everyByteAtEveryPlace) {
    std::string const text = encoded(std::string(45, 'x'));
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[at] = static_cast<char>(byte);
            bool const isRight = decode(changed, bytes) && encoded(bytes) == changed;
            bool const isCharacter = byte < 128 && (isalnum(byte) || byte == '+' || byte == '/');
            ASSERT_EQ(isRight, isCharacter) << at << ' ' << byte;
        }
    }
}

TEST(KqsstrBase64Test, whatNoEncodingGives) {
    std::string bytes;
    for (char const *text : {"Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Zh==", "Zm9=", "Zg=a",
                             "Zm9v\n", " Zm9", "Zm9vYg==Zm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFyZm9v"}) {
        EXPECT_FALSE(decode(text, bytes)) << text;
    }
}

}  // namespace
