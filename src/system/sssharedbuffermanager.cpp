// A name leads to a segment, and the lock that all its holders share tells whether there are any.
// Who gets that lock for itself alone has found a new segment, or one whose holders died, or is
// the last to leave: only that one initialises or removes a segment. A segment may lose its name
// between being opened and being locked, and is then looked for again.
#include "kqb/sssharedbuffermanager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "config/kqbmemory_internal.h"
#include "core/kqblog_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqsfio.h"
#include "system/sssharedbuffer_internal.h"

namespace {

constexpr int kNotOpened = 1811;
constexpr int kNoSuchBuffer = 1812;
constexpr int kAlreadyThere = 1813;
constexpr int kNoBuffer = 1814;
constexpr int kNoName = 1815;

constexpr char kSource[] = "sssharedbuffermanager";
constexpr int kTrace = 1, kNote = 3, kWarning = 4;
constexpr int kAttempts = 1000;  // the name is lost to others' coming and going each time

// Beside the error codes of the segment's operations.
constexpr int kGone = -1;

KqLogger *logger() {
    static KqLogger *const manager = kqlogGetLogger("KQ.KQWSVC.SharedBuffer.Manager");
    return manager;
}

enum class Wanted { kNew, kExisting, kEither };

struct Request {
    KqbString const &name;
    Wanted wanted;
    long long size;
    bool isCreated = false;
};

// The name as segments may be called: bytes that they do not take become %XX. Throws std::bad_alloc.
std::string segmentName(KqbString const &name) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result;
    for (char const c : KqbStringAccess::view(name)) {
        auto const byte = static_cast<unsigned char>(c);
        bool const isPlain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                             (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
        if (isPlain)
            result += c;
        else
            result.append(1, '%').append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
    }
    return result;
}

int mapHeader(kqShm *segment, ssSharedBufferHeader **header) {
    void *memory = nullptr;
    int const error = kqShmMap(segment, kSharedBufferHeaderSize, &memory);
    if (error == 0) *header = static_cast<ssSharedBufferHeader *>(memory);
    return error;
}

bool hasMagic(ssSharedBufferHeader const *header) {
    return std::memcmp(header->magic, kSharedBufferMagic, sizeof header->magic) == 0;
}

// Whether a segment that nobody holds may be removed or used anew: who died while making it left it
// empty, or without its header.
bool isLeftover(kqShm *segment) {
    if (kqShmSize(segment) == 0) return true;
    ssSharedBufferHeader *header = nullptr;
    if (mapHeader(segment, &header) != 0) return false;
    return hasMagic(header) || std::all_of(header->magic, header->magic + sizeof header->magic,
                                           [](char c) { return c == '\0'; });
}

// With the holders' lock for this handle alone.
int initializeSegment(kqShm *segment, long long size) {
    bool const isPossible = size >= 0 && size <= INT64_MAX - kSharedBufferHeaderSize;
    int error = isPossible ? kqShmResize(segment, 0) : EINVAL;
    if (error == 0) error = kqShmResize(segment, kSharedBufferHeaderSize + size);
    ssSharedBufferHeader *header = nullptr;
    if (error == 0) error = mapHeader(segment, &header);
    if (error == 0) {
        header->size = static_cast<std::uint64_t>(size);
        std::memcpy(header->magic, kSharedBufferMagic, sizeof header->magic);
        error = kqShmLock(segment, kHoldersLock, KQ_SHM_SHARED, 0);
    }
    if (error != 0) kqShmUnlink(segment);
    return error;
}

int takeAlone(kqShm *segment, Request &request) {
    if (!kqShmIsNamed(segment)) return kGone;
    if (!isLeftover(segment)) return KQ_SHM_FOREIGN;
    if (kqShmSize(segment) > 0) {
        kqbLog(logger(), kNote, kSource, __LINE__, "'%S' was left by dead holders", request.name);
    }
    if (request.wanted == Wanted::kExisting) {
        kqShmUnlink(segment);
        return ENOENT;
    }
    request.isCreated = true;
    return initializeSegment(segment, request.size);
}

int takeShare(kqShm *segment, Request const &request) {
    int const error = kqShmLock(segment, kHoldersLock, KQ_SHM_SHARED, -1);
    if (error != 0) return error;
    if (!kqShmIsNamed(segment)) return kGone;
    if (request.wanted == Wanted::kNew) return EEXIST;
    ssSharedBufferHeader *header = nullptr;
    return mapHeader(segment, &header) == 0 && hasMagic(header) ? 0 : int{KQ_SHM_FOREIGN};
}

// Opens the segment and takes its holders' lock; *segment is open also when only that failed.
int hold(std::string const &name, Request &request, kqShm **segment) {
    int const create = request.wanted == Wanted::kExisting ? 0 : 1;
    if (int const error = kqShmOpen(name.c_str(), create, segment)) return error;
    bool const isAlone = kqShmLock(*segment, kHoldersLock, KQ_SHM_EXCLUSIVE, 0) == 0;
    return isAlone ? takeAlone(*segment, request) : takeShare(*segment, request);
}

int messageOf(int error) {
    switch (error) {
        case ENOENT:
            return kNoSuchBuffer;
        case EEXIST:
            return kAlreadyThere;
        case KQ_SHM_FOREIGN:
            return kNoBuffer;
        case ENAMETOOLONG:
            return kNoName;
        default:
            return kNotOpened;
    }
}

// Throws std::bad_alloc.
int open(Request &request, ssSharedBuffer **buffer) {
    std::string const name = segmentName(request.name);
    if (name.empty()) return ENAMETOOLONG;
    kqShm *segment = nullptr;
    int error = kGone;
    for (int attempt = 0; error == kGone && attempt < kAttempts; ++attempt) {
        kqShmClose(segment);
        segment = nullptr;
        error = hold(name, request, &segment);
    }
    if (error == 0 && !kqbWithMemory([&] { *buffer = ssNewSharedBuffer(segment, request.name); })) {
        error = ENOMEM;
    }
    bool const hasShare = error == EEXIST || error == ENOMEM;
    if (hasShare && segment != nullptr)
        ssLeaveSegment(segment, request.name);
    else if (error != 0)
        kqShmClose(segment);
    return error == kGone ? EAGAIN : error;
}

ssSharedBuffer *openOrTell(Request &request, KqbString *error) {
    ssSharedBuffer *buffer = nullptr;
    int code = ENOMEM;
    kqbWithMemory([&] { code = open(request, &buffer); });
    if (code == 0) {
        kqbLog(logger(), kTrace, kSource, __LINE__,
               request.isCreated ? "'%S' is created" : "'%S' is attached", request.name);
        return buffer;
    }
    int const level = code == KQ_SHM_FOREIGN ? kWarning : kTrace;
    KqbString const text = kqb_get_message(KQB_BASE_SERVICES, messageOf(code), kSource,
                                           {request.name, KqbString(np_fio_errdesc(code))});
    kqbLog(logger(), level, kSource, __LINE__, "%S", text);
    if (error != nullptr) *error = text;
    return nullptr;
}

}  // namespace

ssSharedBuffer *ssSharedBufferManager::create(KqbString const &name, __int64 size,
                                              KqbString *error) {
    Request request{name, Wanted::kNew, size};
    return openOrTell(request, error);
}

ssSharedBuffer *ssSharedBufferManager::attach(KqbString const &name, KqbString *error) {
    Request request{name, Wanted::kExisting, 0};
    return openOrTell(request, error);
}

ssSharedBuffer *ssSharedBufferManager::createOrAttach(KqbString const &name, __int64 size,
                                                      bool *created, KqbString *error) {
    Request request{name, Wanted::kEither, size};
    ssSharedBuffer *const buffer = openOrTell(request, error);
    if (created != nullptr) *created = buffer != nullptr && request.isCreated;
    return buffer;
}
