// The cipher, by libsodium.
#include "platform/kqsstrcipher.h"

#include <atomic>
#include <cstring>

#include "backends/kqsstr/kqsstr_sodium.h"
#include "backends/text_buffer.h"
#include "platform/kqssys.h"

namespace {

using kqsstr::SodiumFunctions;
using kqsstr::SodiumTable;

static_assert(KQS_CIPHER_KEY == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);
static_assert(KQS_CIPHER_SALT == crypto_pwhash_SALTBYTES);
static_assert(KQS_CIPHER_NONCE == crypto_aead_xchacha20poly1305_ietf_NPUBBYTES);
static_assert(KQS_CIPHER_TAG == crypto_aead_xchacha20poly1305_ietf_ABYTES);

constexpr char kModule[] = "kqbsodium38";
constexpr unsigned long long kPasses = 2;
constexpr std::size_t kLeastMemory = 8192;

constinit std::atomic<SodiumFunctions const *> gSodium{nullptr};

// Threads that arrive together each load it, which the loader counts; it is never unloaded.
SodiumFunctions const *load(char *reason, int size) {
    np_dso *module = nullptr;
    if (np_dso_load_beside(kModule, &module, reason, size) != NP_DSO_OK) return nullptr;
    kqbackend::copyText("there is no source of random numbers", reason, size);
    auto const table =
        reinterpret_cast<SodiumTable *>(np_dso_symbol(module, kqsstr::kSodiumTableName));
    SodiumFunctions const *const found = table == nullptr ? nullptr : table();
    gSodium.store(found, std::memory_order_release);
    return found;
}

SodiumFunctions const *sodium() {
    SodiumFunctions const *const known = gSodium.load(std::memory_order_acquire);
    return known != nullptr ? known : load(nullptr, 0);
}

}  // namespace

void kqs_cipher_missing(char *buffer, int size) {
    if (load(buffer, size) != nullptr) kqbackend::copyText("", buffer, size);
}

kqs_cipher_result kqs_cipher_random(void *data, std::size_t size) {
    SodiumFunctions const *const functions = sodium();
    if (functions == nullptr) {
        std::memset(data, 0, size);
        return KQS_CIPHER_MISSING;
    }
    functions->random(data, size);
    return KQS_CIPHER_OK;
}

kqs_cipher_result kqs_cipher_derive(char const *passphrase, std::size_t size,
                                    unsigned char const *salt, int cost, unsigned char *key) {
    std::memset(key, 0, KQS_CIPHER_KEY);
    if (cost < KQS_CIPHER_LEAST_COST || cost > KQS_CIPHER_MOST_COST) return KQS_CIPHER_REFUSED;
    SodiumFunctions const *const functions = sodium();
    if (functions == nullptr) return KQS_CIPHER_MISSING;
    int const failed = functions->passwordHash(key, KQS_CIPHER_KEY, passphrase, size, salt, kPasses,
                                               kLeastMemory << cost, crypto_pwhash_ALG_ARGON2ID13);
    return failed == 0 ? KQS_CIPHER_OK : KQS_CIPHER_NOMEM;
}

kqs_cipher_result kqs_cipher_seal(unsigned char const *key, kqs_cipher_frame const *frame,
                                  void const *data, std::size_t size, void *sealed) {
    SodiumFunctions const *const functions = sodium();
    if (functions == nullptr) {
        std::memset(sealed, 0, size + KQS_CIPHER_TAG);
        return KQS_CIPHER_MISSING;
    }
    functions->seal(static_cast<unsigned char *>(sealed), nullptr,
                    static_cast<unsigned char const *>(data), size, frame->header,
                    frame->headerSize, nullptr, frame->nonce, key);
    return KQS_CIPHER_OK;
}

kqs_cipher_result kqs_cipher_open(unsigned char const *key, kqs_cipher_frame const *frame,
                                  void const *sealed, std::size_t size, void *data) {
    if (size < KQS_CIPHER_TAG) return KQS_CIPHER_REFUSED;
    SodiumFunctions const *const functions = sodium();
    int const failed = functions == nullptr
                           ? -1
                           : functions->open(static_cast<unsigned char *>(data), nullptr, nullptr,
                                             static_cast<unsigned char const *>(sealed), size,
                                             frame->header, frame->headerSize, frame->nonce, key);
    if (failed == 0) return KQS_CIPHER_OK;
    std::memset(data, 0, size - KQS_CIPHER_TAG);
    return functions == nullptr ? KQS_CIPHER_MISSING : KQS_CIPHER_REFUSED;
}

void kqs_wipe(void *data, std::size_t size) {
    if (size > 0) explicit_bzero(data, size);
}
