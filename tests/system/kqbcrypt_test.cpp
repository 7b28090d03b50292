#include "kqb/kqbcrypt.h"

#include <cstdint>
#include <string>

#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqsstr.h"
#include "platform/kqsstrcipher.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"
#include "system/kqbcrypt_internal.h"

namespace {

constexpr int kLeast = KQS_CIPHER_LEAST_COST;

struct CryptTest : PoolTest {
    static KqbString sealed(std::string const &text, int cost = kLeast) {
        KqbString result, error;
        EXPECT_TRUE(kqbEncryptAtCost(text.c_str(), "key", cost, &result, &error)) << error.asCstr();
        EXPECT_TRUE(error.isNull());
        return result;
    }

    // The message of a refusal, which gives nothing away.
    static void expectRefused(KqbString const &encrypted, char const *passphrase, int message) {
        KqbString text("left"), error;
        EXPECT_FALSE(kqbDecryptString(encrypted, passphrase, &text, &error));
        EXPECT_TRUE(text.isNull());
        EXPECT_STREQ(error.asCstr(),
                     kqb_get_message(KQB_BASE_SERVICES, message, "kqbcrypt").asCstr());
    }
};

TEST_F(CryptTest, textsComeBack) {
    for (std::size_t const size : {0U, 1U, 2U, 3U, 64U, 1000U, 100'000U}) {
        std::string const text(size, 'x');
        KqbString const encrypted = sealed(text);
        EXPECT_EQ(encrypted.length(), (size + 60) / 3 * 4);
        EXPECT_STRNE(encrypted.asCstr(), sealed(text).asCstr());
        KqbString back;
        EXPECT_TRUE(kqbDecryptString(encrypted, "key", &back));
        EXPECT_FALSE(back.isNull());
        EXPECT_EQ(back.asCstr(), text);
    }
}

// The cost that users get, the output being the input, and no output at all.
TEST_F(CryptTest, atFullCost) {
    KqbString text("Gr\xC3\xBC\xC3\x9F");
    EXPECT_TRUE(kqbEncryptString(text, "key", &text));
    EXPECT_EQ(std::string(text.asCstr(), 2), "AQ");
    EXPECT_TRUE(text.asCstr()[2] >= '0' && text.asCstr()[2] <= '3');  // version 1, cost 13
    EXPECT_TRUE(kqbDecryptString(text, "key", &text));
    EXPECT_STREQ(text.asCstr(), "Gr\xC3\xBC\xC3\x9F");
    EXPECT_TRUE(kqbEncryptAtCost(KqbString(), "key", kLeast, nullptr, nullptr));
}

// Made without this library: by libsodium and Python's base64.
TEST_F(CryptTest, readsTheDocumentedFormat) {
    KqbString text;
    EXPECT_TRUE(
        kqbDecryptString("AQMAAQIDBAUGBwgJCgsMDQ4PZGVmZ2hpamtsbW5vcHFyc3R1dnd4eXp72Qv/"
                         "kugCGxC7XKlj4IBl58QDCCzJX9AjkUuCkiTn",
                         "correct horse", &text));
    EXPECT_STREQ(text.asCstr(), "battery staple");
}

TEST_F(CryptTest, everyFlippedBitIsRefused) {
    KqbString const encrypted = sealed("secret");
    unsigned char bytes[64];
    std::ptrdiff_t const size = kqs_b64_decode(encrypted.asCstr(), encrypted.length(), bytes);
    ASSERT_EQ(size, 64);
    for (std::size_t at = 0; at < sizeof bytes; ++at) {
        for (unsigned char const bit : {std::uint8_t{1}, std::uint8_t{128}}) {
            bytes[at] ^= bit;
            char text[kqs_b64_size(sizeof bytes) + 1] = {};
            kqs_b64_encode(bytes, sizeof bytes, text);
            bytes[at] ^= bit;
            bool const isForeign = at == 0 || (at == 1 && bit == 128);
            expectRefused(text, "key", isForeign ? 1802 : 1803);
        }
    }
}

TEST_F(CryptTest, everyChangedCharacterAndEveryCutIsRefused) {
    std::string const encrypted = sealed("secret").asCstr();
    for (std::size_t at = 0; at < encrypted.size(); ++at) {
        KqbString text("left");
        std::string changed = encrypted;
        changed[at] = changed[at] == 'B' ? 'C' : 'B';
        EXPECT_FALSE(kqbDecryptString(changed.c_str(), "key", &text)) << at;
        EXPECT_TRUE(text.isNull());
        changed[at] = '\n';
        expectRefused(changed.c_str(), "key", 1802);
        EXPECT_FALSE(kqbDecryptString(encrypted.substr(0, at).c_str(), "key", &text)) << at;
        EXPECT_FALSE(kqbDecryptString(encrypted.substr(at + 1).c_str(), "key", &text)) << at;
    }
}

TEST_F(CryptTest, wrongPassphrasesAndForeignTexts) {
    KqbString const encrypted = sealed("secret");
    for (char const *phrase : {"Key", "key ", "ke", "keyy"}) expectRefused(encrypted, phrase, 1803);
    for (char const *phrase : {"", static_cast<char const *>(nullptr)}) {
        expectRefused(encrypted, phrase, 1801);
        KqbString none("left");
        EXPECT_FALSE(kqbEncryptString("secret", phrase, &none));
        EXPECT_TRUE(none.isNull());
    }
    for (char const *foreign : {"", "secret", "AQ0=", "AQ==", " "}) {
        expectRefused(foreign, "key", 1802);
    }
    expectRefused(KqbString(), "key", 1802);
    for (std::string const &text : {encrypted.asCstr() + std::string("\n"), std::string(88, 'A')}) {
        expectRefused(text.c_str(), "key", 1802);
    }
}

TEST_F(CryptTest, wipingLeavesNothingInThePool) {
    KqbString secret("a secret of some length");
    KqbString const copy(secret);
    kqbWipeString(&secret);
    EXPECT_TRUE(secret.isNull());
    EXPECT_STREQ(copy.asCstr(), "a secret of some length");
    KqbString last("a secret of some length");
    KqbString const borrowed("constant", true);
    KqbString borrower(borrowed);
    char const *const place = last.asCstr();
    std::size_t const size = last.length();
    EXPECT_EQ(KqbStringAccess::ownText(last).first, place);
    EXPECT_GT(KqbStringAccess::ownText(last).second, size);
    EXPECT_EQ(KqbStringAccess::ownText(borrower).second, 0U);
    kqbWipeString(&last);
    kqbWipeString(&borrower);
    kqbWipeString(nullptr);
    EXPECT_STREQ(borrowed.asCstr(), "constant");
}

// Every allocation fails in turn: the answer is the right one or a failure that says so.
TEST_F(CryptTest, withoutMemory) {
    refusesRequests_ = true;
    std::string const text(5000, 'x');
    KqbString const source(text.c_str()), encrypted = sealed(text), phrase("key");
    for (bool isDone = false, isEncrypting = true; !isDone; isEncrypting = false) {
        isDone = !isEncrypting;
        bool isHit = true;
        for (long nth = 1; isHit; ++nth) {
            KqbString result("left"), error;
            AllocFaults::failAt(nth);
            bool const isMade = isEncrypting
                                    ? kqbEncryptAtCost(source, phrase, kLeast, &result, &error)
                                    : kqbDecryptString(encrypted, phrase, &result, &error);
            AllocFaults::off();
            isHit = AllocFaults::hit();
            EXPECT_EQ(isMade, !result.isNull()) << nth;
            EXPECT_TRUE(isMade || isHit) << nth;
            EXPECT_TRUE(!isMade || isEncrypting || result.asCstr() == text) << nth;
        }
    }
}

}  // namespace
