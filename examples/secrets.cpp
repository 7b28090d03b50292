// A secret that is stored encrypted.
#include <cstdio>

#include "kqb/kqbcrypt.h"
#include "running_library.h"

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;

    KqbString const passphrase("correct horse battery staple");
    KqbString stored, secret, error;
    if (!kqbEncryptString("s3cret", passphrase, &stored, &error)) return 1;
    std::printf("%u characters to store\n", stored.length());

    if (!kqbDecryptString(stored, passphrase, &secret, &error)) return 1;
    std::printf("it was '%s'\n", secret.asCstr());
    kqbWipeString(&secret);

    if (!kqbDecryptString(stored, "a guess", &secret, &error)) std::printf("%s\n", error.asCstr());
    stored.truncate(stored.length() - 4);
    if (!kqbDecryptString(stored.mid(0, 40), passphrase, &secret, &error))
        std::printf("%s\n", error.asCstr());
    return 0;
}
