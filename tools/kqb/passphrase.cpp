#include "passphrase.h"

#include <termios.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "kqb/kqbcrypt.h"
#include "output.h"

namespace {

constexpr int kMostBytes = 4096;

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Does not show what is typed while it lives.
class HiddenInput {
public:
    explicit HiddenInput(int terminal) : terminal_(terminal) {
        if (tcgetattr(terminal, &shown_) != 0)
            throw Failure(kLibraryFailure, "the terminal cannot be set");
        termios hidden = shown_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(terminal, TCSAFLUSH, &hidden);
    }
    ~HiddenInput() { tcsetattr(terminal_, TCSADRAIN, &shown_); }
    HiddenInput(HiddenInput const &) = delete;
    HiddenInput &operator=(HiddenInput const &) = delete;

private:
    int terminal_;
    termios shown_{};
};

// A line that leaves no other trace than the string. The file has no buffer that would keep it.
void readLine(std::FILE *file, KqbString &line) {
    char bytes[kMostBytes + 1];
    std::setvbuf(file, nullptr, _IONBF, 0);
    bool const isRead = std::fgets(bytes, sizeof bytes, file) != nullptr;
    std::size_t const size = isRead ? std::strcspn(bytes, "\r\n") : 0;
    bytes[size] = '\0';
    line = bytes;
    explicit_bzero(bytes, sizeof bytes);
    if (size == 0) throw Failure(kLibraryFailure, "there is no passphrase");
    if (size == kMostBytes) throw Failure(kLibraryFailure, "the passphrase is too long");
}

void ask(std::FILE *terminal, char const *prompt, KqbString &line) {
    HiddenInput const hidden(fileno(terminal));  // first: it drops what was typed before
    std::fputs(prompt, terminal);
    std::fflush(terminal);
    readLine(terminal, line);
    std::fputs("\n", terminal);
}

}  // namespace

void readPassphrase(std::string const &path, bool confirm, KqbString &passphrase) {
    File const file(
        std::fopen(path.empty() ? "/dev/tty" : path.c_str(), path.empty() ? "r+" : "r"));
    if (file == nullptr)
        throw Failure(kLibraryFailure,
                      path.empty() ? "there is no terminal to ask for the passphrase"
                                   : "'" + path + "' cannot be read: " + std::strerror(errno));
    if (!path.empty()) return readLine(file.get(), passphrase);
    ask(file.get(), "Passphrase: ", passphrase);
    if (!confirm) return;
    KqbString again;
    ask(file.get(), "Again: ", again);
    bool const isSame = again.compare(passphrase) == 0;
    kqbWipeString(&again);
    if (!isSame) throw Failure(kLibraryFailure, "the passphrases differ");
}
