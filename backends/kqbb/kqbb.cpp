// The life of the building blocks, and the temporary directory that lasts as long.
#include "platform/kqbb.h"

#include <unistd.h>

#include <exception>
#include <filesystem>
#include <mutex>
#include <new>
#include <string>

#include "backends/text_buffer.h"

namespace {

namespace fs = std::filesystem;
using kqbackend::copyText;

constexpr int kRefused = 1;
constexpr int kSet = 0;
constexpr int kSetBefore = -1;

struct Life {
    std::mutex mutex;
    int count = 0;
    std::string tempPath;
};

// Never destroyed: a host may still terminate from one of its own static destructors.
Life &life() {
    alignas(Life) static char storage[sizeof(Life)];
    static Life &instance = *new (storage) Life;
    return instance;
}

bool isEmpty(char const *text) { return text == nullptr || *text == '\0'; }

bool isDirectory(char const *path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool isSamePath(std::string const &left, char const *right) {
    std::error_code error;
    return left == right || fs::equivalent(left, right, error);
}

bool isUsableDirectory(char const *path) {
    return !isEmpty(path) && isDirectory(path) && access(path, W_OK | X_OK) == 0;
}

int refuse(char const *reason, char const *what, char *buffer, int size) {
    copyText(std::string(reason) + what, buffer, size);
    return kRefused;
}

int countUp() {
    std::lock_guard const guard(life().mutex);
    ++life().count;
    return kSet;
}

int initializeWithMX(char const *mxPath, char *buffer, int size) {
    if (isEmpty(mxPath)) return refuse("The utility directory is missing.", "", buffer, size);
    if (!isDirectory(mxPath)) return refuse("No utility directory at ", mxPath, buffer, size);
    return countUp();
}

int setTempPath(char const *path, char *buffer, int size) {
    std::lock_guard const guard(life().mutex);
    std::string &current = life().tempPath;
    if (!current.empty() && !isEmpty(path) && isSamePath(current, path)) return kSet;
    if (!current.empty()) {
        copyText(current, buffer, size);
        return kSetBefore;
    }
    if (life().count == 0 || !isUsableDirectory(path)) return refuse("", path, buffer, size);
    current = path;
    return kSet;
}

}  // namespace

int kqbbInitialize(char const *executablePath, char *buffer, int size) {
    if (!isEmpty(executablePath)) return countUp();
    copyText("The path of the host's program is missing.", buffer, size);
    return kRefused;
}

int kqbbInitializeWithMX(char const *mxPath, char *buffer, int size) {
    try {
        return initializeWithMX(mxPath, buffer, size);
    } catch (std::exception const &) {
        copyText("Out of memory.", buffer, size);
        return kRefused;
    }
}

void kqbbTerminate() {
    std::lock_guard const guard(life().mutex);
    if (life().count > 0 && --life().count == 0) life().tempPath.clear();
}

int kqbbSetTempPath(char const *path, char *buffer, int size) {
    char const *const text = path == nullptr ? "" : path;
    try {
        return setTempPath(text, buffer, size);
    } catch (std::exception const &) {
        copyText(text, buffer, size);
        return kRefused;
    }
}
