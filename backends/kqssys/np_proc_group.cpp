// Process groups, as /proc shows them.
#include "backends/kqssys/np_proc_group.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

namespace kqssys {
namespace {

struct CloseDirectory {
    void operator()(DIR *directory) const { closedir(directory); }
};

// "12 (name) S 1 12 ...": number, name, state, parent, group. The name may hold anything.
bool isLivingMember(int processes, char const *number, pid_t group) {
    std::array<char, 32> path;
    std::snprintf(path.data(), path.size(), "%.20s/stat", number);
    int const file = openat(processes, path.data(), O_RDONLY | O_CLOEXEC);
    if (file == -1) return false;  // gone by now
    std::array<char, 256> text{};
    ssize_t const size = read(file, text.data(), text.size() - 1);
    close(file);
    char const *const behindName = size > 0 ? std::strrchr(text.data(), ')') : nullptr;
    char state = 0;
    int member = 0;
    return behindName != nullptr && std::sscanf(behindName, ") %c %*d %d", &state, &member) == 2 &&
           member == group && state != 'Z' && state != 'X';
}

}  // namespace

bool isAlive(pid_t group) {
    std::unique_ptr<DIR, CloseDirectory> const processes(opendir("/proc"));
    if (processes == nullptr) return true;
    bool isShown = false;  // /proc may be another file system's folder
    while (dirent const *const entry = readdir(processes.get())) {
        if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
        isShown = true;
        if (isLivingMember(dirfd(processes.get()), entry->d_name, group)) return true;
    }
    return !isShown;
}

}  // namespace kqssys
