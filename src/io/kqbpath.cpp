#include "kqb/kqbpath.h"

#include <climits>

#include "core/kqbstring_internal.h"
#include "kqb/kqbmempool.h"
#include "platform/kqsfio.h"

namespace {

bool isEmpty(KqbString const &string) { return string.cStrSize() == 1; }

bool assignTo(KqbString *target, char const *text, std::size_t size) {
    return target == nullptr || KqbStringAccess::assign(*target, {text, size});
}

void setNull(KqbString *target) {
    if (target != nullptr) target->setNull();
}

}  // namespace

KqbString kqbConcatPath(KqbString const &directory, KqbString const &name) {
    if (isEmpty(directory)) return name.isNull() ? KqbString("") : name;
    if (isEmpty(name)) return directory;
    // One for the separator, one for the NUL.
    std::size_t const size = std::size_t{directory.cStrSize()} + name.cStrSize();
    void *buffer = nullptr;
    if (size > INT_MAX || !KqbMemPool::getBytes(static_cast<unsigned int>(size), &buffer)) {
        return KqbString();
    }
    char *const joined = static_cast<char *>(buffer);
    np_fio_pjoin(directory.asCstr(), name.asCstr(), joined, static_cast<int>(size));
    KqbString const path(joined);
    KqbMemPool::freeBytes(buffer);
    return path;
}

bool kqbParsePath(KqbString const &path, KqbString *directory, KqbString *name,
                  KqbString *extension) {
    KqbString const whole(path);  // an output may be the path itself
    np_fio_path parts;
    np_fio_pparse(whole.asCstr(), &parts);
    if (!isEmpty(whole) && assignTo(directory, parts.directory, parts.directorySize) &&
        assignTo(name, parts.name, parts.nameSize) &&
        assignTo(extension, parts.extension, parts.extensionSize)) {
        return true;
    }
    setNull(directory);
    setNull(name);
    setNull(extension);
    return false;
}
