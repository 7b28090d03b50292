#include "core/kqbmemoryfailures_internal.h"

#include <atomic>

namespace {

std::atomic<unsigned> gFailures{0};

}  // namespace

void kqbNoteMemoryFailure() { gFailures.fetch_add(1, std::memory_order_relaxed); }

unsigned kqbMemoryFailures() { return gFailures.load(std::memory_order_relaxed); }
