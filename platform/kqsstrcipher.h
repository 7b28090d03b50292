// Strings: the cipher. XChaCha20-Poly1305 (the IETF draft's AEAD construction) under a key that
// Argon2id (RFC 9106) makes of a passphrase.
//
// General rules
// - Nothing throws. Any thread may call. Sizes are bytes.
// - Operations answer a kqs_cipher_result. On failure outputs are zero bytes.
// - What an operation keeps of secrets on its way is wiped before it returns.
#pragma once

#include <cstddef>

constexpr std::size_t KQS_CIPHER_KEY = 32;
constexpr std::size_t KQS_CIPHER_SALT = 16;
constexpr std::size_t KQS_CIPHER_NONCE = 24;
constexpr std::size_t KQS_CIPHER_TAG = 16;

// What deriving a key costs: two passes over 8 KiB << cost of memory.
constexpr int KQS_CIPHER_LEAST_COST = 0;
constexpr int KQS_CIPHER_MOST_COST = 15;  // 256 MiB

enum kqs_cipher_result {
    KQS_CIPHER_OK = 0,
    KQS_CIPHER_MISSING = 1,  // the cipher cannot be used in this process
    KQS_CIPHER_NOMEM = 2,
    KQS_CIPHER_REFUSED = 3,  // a cost out of range, or bytes that this key did not seal
};

// Why the last operation could not use the cipher (KQS_CIPHER_MISSING): writes a text to buffer,
// size bytes with its NUL.
void kqs_cipher_missing(char *buffer, int size);

// Fills data with unpredictable bytes.
kqs_cipher_result kqs_cipher_random(void *data, std::size_t size);

// Makes the key (KQS_CIPHER_KEY bytes) of a passphrase and a salt (KQS_CIPHER_SALT bytes).
kqs_cipher_result kqs_cipher_derive(char const *passphrase, std::size_t size,
                                    unsigned char const *salt, int cost, unsigned char *key);

// Bytes that go with a seal: nonce (KQS_CIPHER_NONCE bytes), never used twice with one key, and
// a header that stays readable but cannot be changed either.
struct kqs_cipher_frame {
    unsigned char const *nonce;
    unsigned char const *header;
    std::size_t headerSize;
};

// Seals size bytes; writes size + KQS_CIPHER_TAG bytes. sealed may be data.
kqs_cipher_result kqs_cipher_seal(unsigned char const *key, kqs_cipher_frame const *frame,
                                  void const *data, std::size_t size, void *sealed);

// Opens size bytes (KQS_CIPHER_TAG and more) that were sealed with the same key and frame; writes
// size - KQS_CIPHER_TAG bytes, and none before all were found unchanged. data may be sealed.
kqs_cipher_result kqs_cipher_open(unsigned char const *key, kqs_cipher_frame const *frame,
                                  void const *sealed, std::size_t size, void *data);

// Overwrites a secret in a way that no compiler leaves out. Null with size 0 is accepted.
void kqs_wipe(void *data, std::size_t size);
