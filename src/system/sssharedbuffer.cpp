#include <algorithm>
#include <cerrno>

#include "core/kqblog_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqsfio.h"
#include "platform/kqssys.h"
#include "system/sssharedbuffer_internal.h"

namespace {

constexpr int kNoBuffer = 1814;
constexpr int kNotLocked = 1816;
constexpr int kInUse = 1817;
constexpr int kNoWriteLock = 1818;
constexpr int kNotResized = 1819;

constexpr char kSource[] = "sssharedbuffer";
constexpr int kTrace = 1, kWarning = 4;

KqLogger *logger() {
    static KqLogger *const buffer = kqlogGetLogger("KQ.KQWSVC.SharedBuffer.Buffer");
    return buffer;
}

// Milliseconds that are left of a limit.
class TimeLimit {
public:
    explicit TimeLimit(int milliseconds) : limit_(milliseconds), start_(np_stamp_current()) {}

    int left() const {
        if (limit_ <= 0) return limit_;
        long long const gone = (np_stamp_current() - start_) / 1'000'000;
        return static_cast<int>(std::max(limit_ - gone, 0LL));
    }

private:
    int limit_;
    np_stamp start_;
};

// Whoever waits for the lock waits at the door in front of it, where a writer keeps others out.
int takeDataLock(kqShm *segment, kqShmLockMode mode, int milliseconds) {
    TimeLimit const limit(milliseconds);
    int error = kqShmLock(segment, kNextLock, KQ_SHM_EXCLUSIVE, limit.left());
    if (error != 0) return error;
    error = kqShmLock(segment, kDataLock, mode, limit.left());
    kqShmLock(segment, kNextLock, KQ_SHM_UNLOCK, 0);
    return error;
}

class Buffer final : public ssSharedBuffer {
public:
    Buffer(kqShm *segment, KqbString const &name) : segment_(segment), name_(name) {}

    bool lockForReading(int milliseconds) override { return lock(KQ_SHM_SHARED, milliseconds); }
    bool lockForWriting(int milliseconds) override { return lock(KQ_SHM_EXCLUSIVE, milliseconds); }

    void unlock() override {
        if (mode_ == KQ_SHM_EXCLUSIVE) header_->isWriting = 0;
        mode_ = KQ_SHM_UNLOCK;
        isDamaged_ = false;
        kqShmLock(segment_, kDataLock, KQ_SHM_UNLOCK, 0);
    }

    void const *getData() const override { return mode_ == KQ_SHM_UNLOCK ? nullptr : header_ + 1; }
    void *getWritableData() override { return mode_ == KQ_SHM_EXCLUSIVE ? header_ + 1 : nullptr; }
    __int64 getSize() const override { return mode_ == KQ_SHM_UNLOCK ? 0 : size_; }
    bool isDamaged() const override { return isDamaged_; }

    bool resize(__int64 size) override {
        if (mode_ != KQ_SHM_EXCLUSIVE) return fail(kNoWriteLock);
        bool const isPossible = size >= 0 && size <= INT64_MAX - kSharedBufferHeaderSize;
        int const error = !isPossible ? EINVAL : size > size_ ? grow(size) : shrink(size);
        if (error != 0) return fail(kNotResized, error, KqbString().assign(size));
        kqbLog(logger(), kTrace, kSource, __LINE__, "'%S' has %lld bytes now", name_, size);
        return true;
    }

    KqbString getName() const override { return name_; }
    KqbString getErrorMessage() const override { return errorMessage_; }

    void release() override {
        if (mode_ != KQ_SHM_UNLOCK) unlock();
        ssLeaveSegment(segment_, name_);
        delete this;
    }

private:
    bool lock(kqShmLockMode mode, int milliseconds) {
        if (mode_ != KQ_SHM_UNLOCK) return fail(kNotLocked, EDEADLK);
        int const error = takeDataLock(segment_, mode, milliseconds);
        if (error == KQ_SHM_BUSY) return fail(kInUse);
        if (error != 0) return fail(kNotLocked, error);
        mode_ = mode;
        if (findBytes()) return true;
        mode_ = KQ_SHM_UNLOCK;  // whatever is there is not ours to change
        unlock();
        return fail(kNoBuffer);
    }

    // With the lock: the size may be another one than the last time.
    bool findBytes() {
        void *memory = nullptr;
        if (header_ == nullptr && kqShmMap(segment_, kSharedBufferHeaderSize, &memory) == 0) {
            header_ = static_cast<ssSharedBufferHeader *>(memory);
        }
        if (header_ == nullptr) return false;
        std::uint64_t const size = header_->size;
        if (size > INT64_MAX - kSharedBufferHeaderSize) return false;
        if (map(static_cast<long long>(size)) != 0) return false;
        isDamaged_ = header_->isWriting != 0;
        if (isDamaged_) {
            kqbLog(logger(), kWarning, kSource, __LINE__, "'%S' was left by a dead writer", name_);
        }
        if (mode_ == KQ_SHM_EXCLUSIVE) header_->isWriting = 1;
        return true;
    }

    int map(long long size) {
        void *memory = nullptr;
        int const error = kqShmMap(segment_, kSharedBufferHeaderSize + size, &memory);
        if (error != 0) return error;
        header_ = static_cast<ssSharedBufferHeader *>(memory);
        size_ = size;
        return 0;
    }

    // In both directions the segment is at no moment smaller than its header says.
    int grow(long long size) {
        long long const old = size_;
        int error = kqShmResize(segment_, kSharedBufferHeaderSize + size);
        if (error != 0) return error;
        error = map(size);
        if (error != 0)
            kqShmResize(segment_, kSharedBufferHeaderSize + old);
        else
            header_->size = static_cast<std::uint64_t>(size);
        return error;
    }

    int shrink(long long size) {
        if (int const error = map(size)) return error;
        header_->size = static_cast<std::uint64_t>(size);
        return kqShmResize(segment_, kSharedBufferHeaderSize + size);
    }

    bool fail(int message, int error = 0, KqbString const &bytes = KqbString()) {
        KqbString const reason = error == 0 ? KqbString() : KqbString(np_fio_errdesc(error));
        if (message == kNotResized) {
            errorMessage_ =
                kqb_get_message(KQB_BASE_SERVICES, message, kSource, {name_, bytes, reason});
        } else {
            errorMessage_ = kqb_get_message(KQB_BASE_SERVICES, message, kSource, {name_, reason});
        }
        return false;
    }

    kqShm *segment_;
    KqbString name_;
    KqbString errorMessage_;
    ssSharedBufferHeader *header_ = nullptr;
    long long size_ = 0;
    kqShmLockMode mode_ = KQ_SHM_UNLOCK;
    bool isDamaged_ = false;
};

}  // namespace

ssSharedBuffer *ssNewSharedBuffer(kqShm *segment, KqbString const &name) {
    return new Buffer(segment, name);
}

// The own share goes first: of two that leave at once, neither would otherwise find itself alone.
void ssLeaveSegment(kqShm *segment, KqbString const &name) {
    kqShmLock(segment, kHoldersLock, KQ_SHM_UNLOCK, 0);
    bool const isAlone = kqShmLock(segment, kHoldersLock, KQ_SHM_EXCLUSIVE, 0) == 0;
    if (isAlone && kqShmIsNamed(segment)) {
        kqShmUnlink(segment);
        kqbLog(logger(), kTrace, kSource, __LINE__, "'%S' is gone with its last holder", name);
    }
    kqShmClose(segment);
}
