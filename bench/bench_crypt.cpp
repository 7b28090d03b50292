// Encryption with the key at hand, and the key apart: that is what makes it slow, on purpose.
#include <sodium.h>

#include <string>
#include <vector>

#include "bench/library.h"
#include "platform/kqsstr.h"
#include "platform/kqsstrcipher.h"

namespace {

constexpr std::size_t kOverhead = KQS_CIPHER_NONCE + KQS_CIPHER_TAG;
constexpr int kInteractiveCost = 13;
unsigned char const gKey[KQS_CIPHER_KEY] = {1, 2, 3};

struct Work {
    explicit Work(std::size_t bytes)
        : size(bytes), text(size, 'x'), sealed(size + kOverhead),
          line(kqs_b64_size(size + kOverhead) + 1) {}
    std::size_t size;
    std::string text;
    std::vector<unsigned char> sealed;
    std::vector<char> line;
};

void kqbSeal(Work &work) {
    kqs_cipher_random(work.sealed.data(), KQS_CIPHER_NONCE);
    kqs_cipher_frame const frame = {work.sealed.data(), nullptr, 0};
    kqs_cipher_seal(gKey, &frame, work.text.data(), work.size,
                    work.sealed.data() + KQS_CIPHER_NONCE);
    kqs_b64_encode(work.sealed.data(), work.sealed.size(), work.line.data());
}

void sodiumSeal(Work &work) {
    randombytes_buf(work.sealed.data(), KQS_CIPHER_NONCE);
    crypto_aead_xchacha20poly1305_ietf_encrypt(
        work.sealed.data() + KQS_CIPHER_NONCE, nullptr,
        reinterpret_cast<unsigned char const *>(work.text.data()), work.size, nullptr, 0, nullptr,
        work.sealed.data(), gKey);
    sodium_bin2base64(work.line.data(), work.line.size(), work.sealed.data(), work.sealed.size(),
                      sodium_base64_VARIANT_ORIGINAL);
}

void kqbEncrypt(benchmark::State &state, std::size_t size) {
    Work work(size);
    for (auto _ : state) {
        kqbSeal(work);
        benchmark::ClobberMemory();
    }
}

void sodiumEncrypt(benchmark::State &state, std::size_t size) {
    Work work(size);
    for (auto _ : state) {
        sodiumSeal(work);
        benchmark::ClobberMemory();
    }
}

void kqbDecrypt(benchmark::State &state, std::size_t size) {
    Work work(size);
    kqbSeal(work);
    for (auto _ : state) {
        kqs_b64_decode(work.line.data(), work.line.size() - 1, work.sealed.data());
        kqs_cipher_frame const frame = {work.sealed.data(), nullptr, 0};
        benchmark::DoNotOptimize(kqs_cipher_open(gKey, &frame,
                                                 work.sealed.data() + KQS_CIPHER_NONCE,
                                                 work.size + KQS_CIPHER_TAG, work.text.data()));
    }
}

void sodiumDecrypt(benchmark::State &state, std::size_t size) {
    Work work(size);
    sodiumSeal(work);
    std::size_t decoded;
    for (auto _ : state) {
        sodium_base642bin(work.sealed.data(), work.sealed.size(), work.line.data(),
                          work.line.size() - 1, nullptr, &decoded, nullptr,
                          sodium_base64_VARIANT_ORIGINAL);
        benchmark::DoNotOptimize(crypto_aead_xchacha20poly1305_ietf_decrypt(
            reinterpret_cast<unsigned char *>(work.text.data()), nullptr, nullptr,
            work.sealed.data() + KQS_CIPHER_NONCE, work.size + KQS_CIPHER_TAG, nullptr, 0,
            work.sealed.data(), gKey));
    }
}

void kqbKey(benchmark::State &state) {
    unsigned char key[KQS_CIPHER_KEY], salt[KQS_CIPHER_SALT] = {};
    for (auto _ : state) kqs_cipher_derive("passphrase", 10, salt, kInteractiveCost, key);
}
BENCHMARK(kqbKey)->Name("key from a passphrase/kqb")->Unit(benchmark::kMillisecond);

void sodiumKey(benchmark::State &state) {
    unsigned char key[KQS_CIPHER_KEY], salt[KQS_CIPHER_SALT] = {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(crypto_pwhash(
            key, sizeof key, "passphrase", 10, salt, crypto_pwhash_OPSLIMIT_INTERACTIVE,
            crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13));
    }
}
BENCHMARK(sodiumKey)->Name("key from a passphrase/libsodium")->Unit(benchmark::kMillisecond);

#define KQB_CRYPT_ROWS(size, name)                                                \
    BENCHMARK_CAPTURE(kqbEncrypt, , size)->Name("encrypt " name "/kqb");          \
    BENCHMARK_CAPTURE(sodiumEncrypt, , size)->Name("encrypt " name "/libsodium"); \
    BENCHMARK_CAPTURE(kqbDecrypt, , size)->Name("decrypt " name "/kqb");          \
    BENCHMARK_CAPTURE(sodiumDecrypt, , size)->Name("decrypt " name "/libsodium")

KQB_CRYPT_ROWS(64, "64 B");
KQB_CRYPT_ROWS(1'000'000, "1 MB");

}  // namespace

int main(int argc, char **argv) { return sodium_init() < 0 ? 1 : runBenchmarks(argc, argv); }
