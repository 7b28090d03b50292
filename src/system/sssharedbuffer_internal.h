// A handle on a shared buffer, from the segment it stands on.
#pragma once

#include <cstdint>

#include "kqb/sssharedbuffermanager.h"
#include "platform/kqbbshm.h"

// The numbers of a segment's locks.
enum ssSharedBufferLock { kHoldersLock = 0, kNextLock = 1, kDataLock = 2 };

// What stands in front of the bytes.
struct ssSharedBufferHeader {
    char magic[8];
    std::uint64_t size;
    std::uint32_t isWriting;
    std::uint32_t unused[11];
};
static_assert(sizeof(ssSharedBufferHeader) == 64);

constexpr char kSharedBufferMagic[] = "KQSHBUF1";
constexpr long long kSharedBufferHeaderSize = sizeof(ssSharedBufferHeader);

// Makes the handle, to which the segment belongs from then on, its holders' lock taken shared.
// Throws std::bad_alloc, the segment being the caller's still.
ssSharedBuffer *ssNewSharedBuffer(kqShm *segment, KqbString const &name);

// Closes a segment whose holders' lock this handle has, and removes it when nobody else holds it.
void ssLeaveSegment(kqShm *segment, KqbString const &name);
