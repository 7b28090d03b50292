// Paths as texts.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "backends/kqsfio/kqsfio_calls.h"

namespace {

using kqsfio::calls;

constexpr char kSeparator = '/';

std::string_view viewOf(char const *text) { return text == nullptr ? "" : text; }

// Without its trailing separators, save for the root itself.
std::string_view trimmed(std::string_view directory) {
    while (directory.size() > 1 && directory.back() == kSeparator) directory.remove_suffix(1);
    return directory;
}

// Behind the last "." of the name; at the end when the name has no extension.
std::string_view extensionOf(std::string_view name) {
    std::size_t const dot = name.rfind('.');
    bool const isNone = dot == std::string_view::npos || dot == 0;
    return name.substr(isNone ? name.size() : dot + 1);
}

char *append(char *end, std::string_view text) {
    if (!text.empty()) std::memcpy(end, text.data(), text.size());
    return end + text.size();
}

bool isAbsolute(std::string_view path) { return path.starts_with(kSeparator); }

int join(std::string_view directory, std::string_view name, char *buffer, int size) {
    if (!name.empty()) directory = trimmed(directory);
    bool const needsSeparator =
        !directory.empty() && !name.empty() && directory.back() != kSeparator;
    std::string_view const separator(&kSeparator, needsSeparator ? 1 : 0);
    std::size_t const length = directory.size() + separator.size() + name.size();
    if (length > INT_MAX) return 0;
    if (static_cast<int>(length) < size) {
        *append(append(append(buffer, directory), separator), name) = '\0';
    }
    return static_cast<int>(length);
}

using OwnedText = std::unique_ptr<char, decltype(&std::free)>;

// The working directory, null when it is unknown or outside of what the process can see.
OwnedText workingDirectory() {
    OwnedText directory(calls.getcwd(nullptr, 0), std::free);
    if (directory != nullptr && !isAbsolute(directory.get())) directory.reset();
    return directory;
}

int makeAbsolute(std::string_view path, char *buffer, int size) {
    if (isAbsolute(path)) return join("", path, buffer, size);
    OwnedText const directory = workingDirectory();
    return directory == nullptr ? INT_MAX : join(directory.get(), path, buffer, size);
}

}  // namespace

void np_fio_pparse(char const *path, np_fio_path *parts) {
    std::string_view const whole = viewOf(path);
    std::size_t const nameStart = whole.rfind(kSeparator) + 1;  // 0 without a separator
    std::string_view const directory = trimmed(whole.substr(0, nameStart));
    std::string_view const name = whole.substr(nameStart);
    std::string_view const extension = extensionOf(name);
    *parts = {directory.data(), directory.size(), name.data(),
              name.size(),      extension.data(), extension.size()};
}

int np_fio_pjoin(char const *directory, char const *name, char *buffer, int size) {
    if (size > 0) *buffer = '\0';
    if (isAbsolute(viewOf(name))) return 0;
    return join(viewOf(directory), viewOf(name), buffer, size);
}

int np_fio_pabsolute(char const *path, char *buffer, int size) {
    if (size > 0) *buffer = '\0';
    if (path == nullptr) return -1;
    int const length = makeAbsolute(path, buffer, size);
    return length < size ? length : -1;
}
