// A counter that processes share. Here both handles are in one process, as two threads would have
// them; another process attaches in the same way.
#include <cstdio>

#include "kqb/sssharedbuffermanager.h"
#include "running_library.h"

static int *counterOf(ssSharedBuffer &buffer) {
    return static_cast<int *>(buffer.getWritableData());
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;

    KqbString const name = kqbGetUUID();
    KqbString error;
    ssSharedBuffer *const mine = ssSharedBufferManager::create(name, sizeof(int), &error);
    ssSharedBuffer *const yours = ssSharedBufferManager::attach(name, &error);
    if (mine == nullptr || yours == nullptr) return 1;

    if (mine->lockForWriting()) *counterOf(*mine) += 41;
    std::printf("while one writes another %s\n", yours->lockForReading(0) ? "reads" : "waits");
    mine->unlock();

    if (yours->lockForWriting()) std::printf("the count is %d\n", ++*counterOf(*yours));
    yours->unlock();

    yours->release();
    mine->release();
    bool const isThere = ssSharedBufferManager::attach(name) != nullptr;
    std::printf("with its last holder the buffer is %s\n", isThere ? "still there" : "gone");
    return 0;
}
