#include "support/alloc_faults.h"

#include <cstdlib>
#include <new>

namespace {

struct Countdown {
    long left = 0;  // 0: nothing fails
    std::size_t above = ~std::size_t{0};
    bool repeat = false;
    bool hit = false;
};
thread_local Countdown countdown;

bool refused(std::size_t size) {
    if (size > countdown.above) return countdown.hit = true;
    if (countdown.left == 0 || --countdown.left != 0) return false;
    countdown.hit = true;
    if (countdown.repeat) countdown.left = 1;
    return true;
}

[[maybe_unused]] void *allocate(std::size_t size) noexcept {
    return refused(size) ? nullptr : std::malloc(size | 1);
}

[[maybe_unused]] void *allocate(std::size_t size, std::align_val_t alignment) noexcept {
    auto const step = static_cast<std::size_t>(alignment);
    return refused(size) ? nullptr : std::aligned_alloc(step, (size + step) / step * step);
}

[[maybe_unused]] void *orThrow(void *memory) {
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

// Clang's thread sanitizer has operators of its own that cannot be replaced; nothing fails there.
#if defined(__clang__) && defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KQB_OPERATORS_ARE_FIXED
#endif
#endif

#ifndef KQB_OPERATORS_ARE_FIXED
using Size = std::size_t;
using Align = std::align_val_t;
using Nothrow = std::nothrow_t;

void *operator new(Size size) { return orThrow(allocate(size)); }
void *operator new[](Size size) { return orThrow(allocate(size)); }
void *operator new(Size size, Align align) { return orThrow(allocate(size, align)); }
void *operator new[](Size size, Align align) { return orThrow(allocate(size, align)); }
void *operator new(Size size, Nothrow const &) noexcept { return allocate(size); }
void *operator new[](Size size, Nothrow const &) noexcept { return allocate(size); }
void *operator new(Size size, Align align, Nothrow const &) noexcept {
    return allocate(size, align);
}
void *operator new[](Size size, Align align, Nothrow const &) noexcept {
    return allocate(size, align);
}
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, Size) noexcept { std::free(memory); }
void operator delete[](void *memory, Size) noexcept { std::free(memory); }
void operator delete(void *memory, Align) noexcept { std::free(memory); }
void operator delete[](void *memory, Align) noexcept { std::free(memory); }
void operator delete(void *memory, Size, Align) noexcept { std::free(memory); }
void operator delete[](void *memory, Size, Align) noexcept { std::free(memory); }
void operator delete(void *memory, Nothrow const &) noexcept { std::free(memory); }
void operator delete[](void *memory, Nothrow const &) noexcept { std::free(memory); }
void operator delete(void *memory, Align, Nothrow const &) noexcept { std::free(memory); }
void operator delete[](void *memory, Align, Nothrow const &) noexcept { std::free(memory); }
#endif

void AllocFaults::failAt(long n) { countdown = {n, ~std::size_t{0}, false, false}; }
void AllocFaults::failFrom(long n) { countdown = {n, ~std::size_t{0}, true, false}; }
void AllocFaults::failAbove(unsigned long bytes) { countdown = {0, bytes, false, false}; }
void AllocFaults::off() { countdown = {0, ~std::size_t{0}, false, countdown.hit}; }
bool AllocFaults::hit() { return countdown.hit; }
