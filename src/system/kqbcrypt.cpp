#include "kqb/kqbcrypt.h"

#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "core/kqbmemoryfailures_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqsstr.h"
#include "platform/kqsstrcipher.h"
#include "system/kqbcrypt_internal.h"

namespace {

using std::string_view;

constexpr int kOutOfMemory = 444;
constexpr int kNoPassphrase = 1801;
constexpr int kNotEncrypted = 1802;
constexpr int kWrongOrChanged = 1803;
constexpr int kNoCipher = 1804;

constexpr unsigned char kVersion = 1;
constexpr int kDefaultCost = 13;

// Where the parts of an encrypted text are.
constexpr std::size_t kCostAt = 1;
constexpr std::size_t kSaltAt = 2;
constexpr std::size_t kNonceAt = kSaltAt + KQS_CIPHER_SALT;
constexpr std::size_t kSealedAt = kNonceAt + KQS_CIPHER_NONCE;
constexpr std::size_t kLeastSize = kSealedAt + KQS_CIPHER_TAG;

using Bytes = std::unique_ptr<unsigned char[]>;

// Null when memory ran out.
Bytes allocate(std::size_t size) {
    Bytes bytes(new (std::nothrow) unsigned char[size]);
    if (bytes == nullptr) kqbNoteMemoryFailure();
    return bytes;
}

// Wipes what it refers to at the end of the scope.
class Wiper {
public:
    Wiper(void *data, std::size_t size) : data_(data), size_(size) {}
    ~Wiper() { kqs_wipe(data_, size_); }
    Wiper(Wiper const &) = delete;
    Wiper &operator=(Wiper const &) = delete;

private:
    void *data_;
    std::size_t size_;
};

KqbString reasonOf(int message) {
    if (message != kNoCipher) return kqb_get_message(KQB_BASE_SERVICES, message, "kqbcrypt");
    char reason[512];
    kqs_cipher_missing(reason, sizeof reason);
    return kqb_get_message(KQB_BASE_SERVICES, message, "kqbcrypt", {KqbString(reason)});
}

int messageOf(kqs_cipher_result result) {
    return result == KQS_CIPHER_MISSING ? kNoCipher
           : result == KQS_CIPHER_NOMEM ? kOutOfMemory
                                        : kWrongOrChanged;
}

// The message of what failed, or 0. The parts in front of the sealed bytes are in place: they are
// what the seal covers besides the text, and say how the key is made.
int sealOrOpen(bool isSealing, string_view passphrase, unsigned char const *parts,
               unsigned char const *from, std::size_t size, unsigned char *to) {
    unsigned char key[KQS_CIPHER_KEY];
    Wiper const wiper(key, sizeof key);
    if (auto const failed = kqs_cipher_derive(passphrase.data(), passphrase.size(), parts + kSaltAt,
                                              parts[kCostAt], key)) {
        return messageOf(failed);
    }
    kqs_cipher_frame const frame = {parts + kNonceAt, parts, kNonceAt};
    auto const work = isSealing ? kqs_cipher_seal : kqs_cipher_open;
    auto const result = work(key, &frame, from, size, to);
    return result == KQS_CIPHER_OK ? 0 : messageOf(result);
}

int deliver(string_view bytes, KqbString *to) {
    return KqbStringAccess::assign(*to, bytes) ? 0 : kOutOfMemory;
}

int encrypt(string_view text, string_view passphrase, int cost, KqbString *encrypted) {
    std::size_t const size = kLeastSize + text.size();
    Bytes const sealed = allocate(size);
    Bytes const characters = allocate(kqs_b64_size(size));
    if (sealed == nullptr || characters == nullptr) return kOutOfMemory;
    unsigned char *const parts = sealed.get();
    parts[0] = kVersion;
    parts[kCostAt] = static_cast<unsigned char>(cost);
    if (auto const failed = kqs_cipher_random(parts + kSaltAt, kSealedAt - kSaltAt)) {
        return messageOf(failed);
    }
    auto const *const bytes = reinterpret_cast<unsigned char const *>(text.data());
    if (int const failed =
            sealOrOpen(true, passphrase, parts, bytes, text.size(), parts + kSealedAt)) {
        return failed;
    }
    auto *const line = reinterpret_cast<char *>(characters.get());
    return deliver({line, kqs_b64_encode(parts, size, line)}, encrypted);
}

int decrypt(string_view encrypted, string_view passphrase, KqbString *text) {
    std::size_t const most = encrypted.size() / 4 * 3;
    Bytes const sealed = allocate(most);
    if (sealed == nullptr) return kOutOfMemory;
    unsigned char *const parts = sealed.get();
    Wiper const wiper(parts, most);
    std::ptrdiff_t const size = kqs_b64_decode(encrypted.data(), encrypted.size(), parts);
    bool const isWhole = size >= static_cast<std::ptrdiff_t>(kLeastSize);
    if (!isWhole || parts[0] != kVersion || parts[kCostAt] > KQS_CIPHER_MOST_COST) {
        return kNotEncrypted;
    }
    std::size_t const sealedSize = static_cast<std::size_t>(size) - kSealedAt;
    unsigned char *const at = parts + kSealedAt;
    if (int const failed = sealOrOpen(false, passphrase, parts, at, sealedSize, at)) return failed;
    return deliver({reinterpret_cast<char const *>(at), sealedSize - KQS_CIPHER_TAG}, text);
}

// Runs work, which fills a string and answers a message or 0. The output may be one of its inputs.
template <class Work>
bool conclude(KqbString const &passphrase, KqbString *output, KqbString *error, Work const &work) {
    string_view const phrase = KqbStringAccess::view(passphrase);
    KqbString result;
    int const failed = phrase.empty() ? kNoPassphrase : work(phrase, &result);
    if (output != nullptr) *output = static_cast<KqbString &&>(result);
    if (error != nullptr) *error = failed == 0 ? KqbString() : reasonOf(failed);
    return failed == 0;
}

}  // namespace

bool kqbEncryptAtCost(KqbString const &text, KqbString const &passphrase, int cost,
                      KqbString *encrypted, KqbString *error) {
    return conclude(passphrase, encrypted, error, [&](string_view phrase, KqbString *result) {
        return encrypt(KqbStringAccess::view(text), phrase, cost, result);
    });
}

bool kqbEncryptString(KqbString const &text, KqbString const &passphrase, KqbString *encrypted,
                      KqbString *error) {
    return kqbEncryptAtCost(text, passphrase, kDefaultCost, encrypted, error);
}

bool kqbDecryptString(KqbString const &encrypted, KqbString const &passphrase, KqbString *text,
                      KqbString *error) {
    return conclude(passphrase, text, error, [&](string_view phrase, KqbString *result) {
        return decrypt(KqbStringAccess::view(encrypted), phrase, result);
    });
}

void kqbWipeString(KqbString *text) {
    if (text == nullptr) return;
    auto const [bytes, size] = KqbStringAccess::ownText(*text);
    kqs_wipe(bytes, size);
    text->setNull();
}
