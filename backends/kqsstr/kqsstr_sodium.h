// What the cipher calls of libsodium.
//
// libsodium lies in a module that is loaded when a text is first encrypted or decrypted: loading it
// and choosing its code for the processor takes some 0.2 ms, which every process would pay at its
// start.
#pragma once

#include <sodium.h>

namespace kqsstr {

struct SodiumFunctions {
    decltype(&randombytes_buf) random;
    decltype(&crypto_pwhash) passwordHash;
    decltype(&crypto_aead_xchacha20poly1305_ietf_encrypt) seal;
    decltype(&crypto_aead_xchacha20poly1305_ietf_decrypt) open;
};

// What the module exports: a function that gives its table, or null where libsodium finds no source
// of randomness.
constexpr char kSodiumTableName[] = "kqsstrSodiumFunctions";
using SodiumTable = SodiumFunctions const *();

}  // namespace kqsstr
