// The child shares its parent's memory until it executes its program (posix_spawn), so that a start
// costs the same whatever the size of the parent's heap.
#include "backends/kqssys/np_proc_start.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <vector>

#include "platform/kqssys.h"

namespace kqssys {
namespace {

using Entries = std::span<char const *const>;

Entries counted(char const *const *entries) {
    std::size_t count = 0;
    while (entries[count] != nullptr) ++count;
    return {entries, count};
}

// An entry up to its "=".
std::string_view nameOf(std::string_view entry) { return entry.substr(0, entry.find('=')); }

bool hasName(Entries entries, std::string_view name) {
    return std::any_of(entries.begin(), entries.end(),
                       [name](char const *entry) { return nameOf(entry) == name; });
}

// The process's entries with these put over them. Throws std::bad_alloc.
std::vector<char const *> merged(Entries extra) {
    Entries const own = counted(np_env_entries());
    std::vector<char const *> all;
    all.reserve(own.size() + extra.size() + 1);
    for (char const *const entry : own) {
        if (!hasName(extra, nameOf(entry))) all.push_back(entry);
    }
    for (std::size_t i = 0; i < extra.size(); ++i) {
        if (!hasName(extra.subspan(i + 1), nameOf(extra[i]))) all.push_back(extra[i]);
    }
    all.push_back(nullptr);
    return all;
}

// What the child does to its descriptors before it executes, in the order given. The first failure
// is kept, and what follows it is not looked at.
class Redirections {
public:
    Redirections() : error_(posix_spawn_file_actions_init(&actions_)), made_(error_ == 0) {}
    ~Redirections() {
        if (made_) posix_spawn_file_actions_destroy(&actions_);
    }
    Redirections(Redirections const &) = delete;
    Redirections &operator=(Redirections const &) = delete;

    void copy(int from, int to) {
        keep([&] { return posix_spawn_file_actions_adddup2(&actions_, from, to); });
    }
    void open(int to, int mode) {
        keep([&] { return posix_spawn_file_actions_addopen(&actions_, to, "/dev/null", mode, 0); });
    }
    void closeFrom(int first) {
        keep([&] { return posix_spawn_file_actions_addclosefrom_np(&actions_, first); });
    }

    int error() const { return error_; }
    posix_spawn_file_actions_t const *get() const { return &actions_; }

private:
    template <class Add>
    void keep(Add const &add) {
        if (error_ == 0) error_ = add();
    }

    posix_spawn_file_actions_t actions_;
    int error_;
    bool made_;
};

// A stream of the process's own also where it is marked to be closed; nothing where there is none.
void passOn(int stream, Redirections *redirections) {
    bool const isOpen = fcntl(stream, F_GETFD) != -1;
    isOpen ? redirections->copy(stream, stream) : redirections->open(stream, O_WRONLY);
}

// The input comes last: the file for the output may be what it replaces.
void redirect(unsigned flags, int output, Redirections *redirections) {
    if ((flags & NP_PROC_OUTPUT) != 0) {
        redirections->copy(output, STDOUT_FILENO);
        redirections->copy(STDOUT_FILENO, STDERR_FILENO);
    } else {
        passOn(STDOUT_FILENO, redirections);
        passOn(STDERR_FILENO, redirections);
    }
    redirections->open(STDIN_FILENO, O_RDONLY);
    redirections->closeFrom(STDERR_FILENO + 1);
}

// No signal blocked, each at its default, and a group of its own where asked for. None of these
// calls can fail: the attributes are plain data.
posix_spawnattr_t attributesFor(unsigned flags) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    int wanted = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    if ((flags & NP_PROC_OWN_GROUP) != 0) wanted |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setflags(&attributes, static_cast<short>(wanted));
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    return attributes;
}

int spawn(char const *const *argv, unsigned flags, int output, char const *const *environment,
          pid_t *child) {
    Redirections redirections;
    redirect(flags, output, &redirections);
    if (redirections.error() != 0) return redirections.error();
    posix_spawnattr_t attributes = attributesFor(flags);
    int const error =
        posix_spawnp(child, argv[0], redirections.get(), &attributes,
                     const_cast<char *const *>(argv), const_cast<char *const *>(environment));
    posix_spawnattr_destroy(&attributes);
    return error;
}

}  // namespace

char const *badEntry(char const *const *entries) {
    if (entries == nullptr) return nullptr;
    for (char const *const entry : counted(entries)) {
        char const *const equals = std::strchr(entry, '=');
        if (equals == nullptr || equals == entry) return entry;
    }
    return nullptr;
}

int start(char const *const *argv, unsigned flags, np_proc_record const &record, pid_t *child) {
    if ((flags & NP_PROC_ENVIRONMENT) == 0 || record.environment == nullptr) {
        return spawn(argv, flags, record.output, np_env_entries(), child);
    }
    try {
        auto const environment = merged(counted(record.environment));
        return spawn(argv, flags, record.output, environment.data(), child);
    } catch (std::bad_alloc const &) {
        return ENOMEM;
    }
}

}  // namespace kqssys
