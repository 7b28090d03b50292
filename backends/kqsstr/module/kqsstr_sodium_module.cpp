// The module itself: everything in it is libsodium's.
#include "backends/kqsstr/kqsstr_sodium.h"

extern "C" [[gnu::visibility("default")]] kqsstr::SodiumFunctions const *kqsstrSodiumFunctions() {
    static constexpr kqsstr::SodiumFunctions table = {
        randombytes_buf,
        crypto_pwhash,
        crypto_aead_xchacha20poly1305_ietf_encrypt,
        crypto_aead_xchacha20poly1305_ietf_decrypt,
    };
    return sodium_init() < 0 ? nullptr : &table;
}
