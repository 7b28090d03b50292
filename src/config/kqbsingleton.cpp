#include "kqb/kqbsingleton.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "kqb/kqbhost.h"

namespace {

constexpr char kSource[] = "kqbsingleton";
constexpr std::size_t kIdSize = 255;  // without the NUL

bool isName(char const *id) { return id != nullptr && *id != '\0'; }

}  // namespace

KqbSingleton::SingleItem *KqbSingleton::mPool = nullptr;
int KqbSingleton::mCount = 0;

KqbSingleton::SingleItem *KqbSingleton::find(char const *id) {
    if (!isName(id)) return nullptr;
    SingleItem *const end = mPool + mCount;
    SingleItem *const found = std::find_if(mPool, end, [&](SingleItem const &item) {
        return std::strncmp(item.id, id, kIdSize) == 0;
    });
    return found != end ? found : nullptr;
}

// Changes the room, not the number of slots in use.
bool KqbSingleton::resize(int count) {
    auto *const larger = new (std::nothrow) SingleItem[static_cast<std::size_t>(count)]();
    if (larger == nullptr) return false;
    std::copy_n(mPool, mCount, larger);
    delete[] mPool;
    mPool = larger;
    return true;
}

KqbSingleton::SingleItem *KqbSingleton::freeSlot() {
    SingleItem *const end = mPool + mCount;
    SingleItem *const found =
        std::find_if(mPool, end, [](SingleItem const &item) { return item.id[0] == '\0'; });
    if (found != end) return found;
    return resize(mCount + 1) ? &mPool[mCount++] : nullptr;
}

void KqbSingleton::freeUnusedTable() {
    bool const isUsed = std::any_of(mPool, mPool + mCount,
                                    [](SingleItem const &item) { return item.refcount != 0; });
    if (isUsed) return;
    delete[] mPool;
    mPool = nullptr;
    mCount = 0;
}

void KqbSingleton::createRef(char const *id, void *object) {
    if (!isName(id)) return kqbAssertFailure("bad id", kSource, __LINE__);
    if (find(id) != nullptr) return kqbAssertFailure("id already exists", kSource, __LINE__);
    SingleItem *const item = freeSlot();
    if (item == nullptr) return kqbAssertFailure("out of memory", kSource, __LINE__);
    *item = SingleItem{{}, 1, object};
    std::memcpy(item->id, id, strnlen(id, kIdSize));
}

void *KqbSingleton::getRef(char const *id) {
    SingleItem *const item = find(id);
    if (item == nullptr) return nullptr;
    ++item->refcount;
    return item->object;
}

bool KqbSingleton::decRef(char const *id) {
    SingleItem *const item = find(id);
    if (item == nullptr) {
        kqbAssertFailure("bad id", kSource, __LINE__);
        return false;
    }
    if (item->refcount == 0) {
        kqbAssertFailure("refcount", kSource, __LINE__);
        return false;
    }
    bool const isLast = --item->refcount == 0;
    if (isLast) item->id[0] = '\0';
    freeUnusedTable();
    return isLast;
}
