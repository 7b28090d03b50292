// Base-64: bytes come back, what decodes is what its bytes encode to, and no text that was not
// encrypted decrypts.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbcrypt.h"
#include "platform/kqsstr.h"
#include "platform/kqsstrcipher.h"

namespace {

std::string encoded(void const *data, std::size_t size) {
    std::string text(kqs_b64_size(size), '\0');
    kqs_b64_encode(data, size, text.data());
    return text;
}

// The cost is in the text; only the least is quick.
void checkDecryption(std::string const &text, std::vector<unsigned char> const &bytes) {
    bool const isCheap = bytes.size() < 2 || bytes[1] == KQS_CIPHER_LEAST_COST;
    KqbString secret("left");
    fuzzCheck(!isCheap || !kqbDecryptString(text.c_str(), "key", &secret), "decrypted");
    fuzzCheck(!isCheap || secret.isNull(), "text of a refusal");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::vector<unsigned char> bytes(size);
    std::string const text = encoded(data, size);
    fuzzCheck(
        kqs_b64_decode(text.data(), text.size(), bytes.data()) == static_cast<std::ptrdiff_t>(size),
        "size");
    fuzzCheck(std::equal(bytes.begin(), bytes.end(), data), "bytes");
    std::string const input(reinterpret_cast<char const *>(data), size);
    std::ptrdiff_t const decoded = kqs_b64_decode(input.data(), size, bytes.data());
    if (decoded >= 0) {
        bytes.resize(static_cast<std::size_t>(decoded));
        fuzzCheck(encoded(bytes.data(), bytes.size()) == input, "encoding");
    }
    checkDecryption(text, {data, data + size});
    return 0;
}
