#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "commands.h"
#include "kqb/kqbcrypt.h"
#include "library.h"
#include "output.h"
#include "passphrase.h"

namespace {

struct CryptArguments {
    StartOptions start;
    std::string file;
    std::string passphraseFile;
};

// Wiped at the end of its scope, however that comes.
struct Secret {
    Secret() = default;
    ~Secret() { kqbWipeString(&text); }
    Secret(Secret const &) = delete;
    Secret &operator=(Secret const &) = delete;
    KqbString text;
};

std::string readAll(std::istream &input) {
    std::string content{std::istreambuf_iterator<char>(input), {}};
    if (input.bad()) throw Failure(kLibraryFailure, "the text cannot be read");
    return content;
}

void readText(std::string const &path, KqbString &text) {
    std::ifstream file(path.empty() ? "/dev/null" : path, std::ios::binary);
    if (!file) throw Failure(kLibraryFailure, "'" + path + "' cannot be read");
    std::string content = readAll(path.empty() ? std::cin : file);
    bool const isText = content.find('\0') == std::string::npos;
    if (isText) text = content.c_str();
    explicit_bzero(content.data(), content.size());
    if (!isText) throw Failure(kLibraryFailure, "what holds zero bytes is no text");
}

void encrypt(CryptArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    Secret text, passphrase;
    readText(arguments.file, text.text);
    readPassphrase(arguments.passphraseFile, true, passphrase.text);
    KqbString encrypted, error;
    if (!kqbEncryptString(text.text, passphrase.text, &encrypted, &error))
        throw Failure(kLibraryFailure, toText(error));
    printLine(toText(encrypted));
}

// Just the text comes out again, so without a line end that it does not have itself.
void decrypt(CryptArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    Secret text, passphrase;
    KqbString encrypted, error;
    readText(arguments.file, encrypted);
    encrypted.trim();
    readPassphrase(arguments.passphraseFile, false, passphrase.text);
    if (!kqbDecryptString(encrypted, passphrase.text, &text.text, &error))
        throw Failure(kLibraryFailure, toText(error));
    std::cout.write(text.text.asCstr(), static_cast<std::streamsize>(text.text.cStrSize()) - 1);
}

void addCommand(CLI::App &tool, char const *name, char const *help,
                void (*action)(CryptArguments const &)) {
    auto const arguments = std::make_shared<CryptArguments>();
    CLI::App *const command = tool.add_subcommand(name, help);
    command->add_option("FILE", arguments->file, "Where the text is; default: standard input")
        ->type_name("");
    command
        ->add_option("--passphrase-file", arguments->passphraseFile,
                     "File whose first line is the passphrase; default: ask at the terminal")
        ->type_name("FILE");
    addStartOptions(*command, arguments->start);
    command->callback([arguments, action] { action(*arguments); });
}

}  // namespace

void addCryptCommands(CLI::App &tool) {
    addCommand(tool, "encrypt", "Encrypt a text under a passphrase, into one line", encrypt);
    addCommand(tool, "decrypt", "Decrypt what encrypt made", decrypt);
}
