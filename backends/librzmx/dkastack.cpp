// Lock-free stacks: a head of address and tag, exchanged as one word. Every exchange counts the
// tag up, so a head that was seen belongs to exactly one moment: an address and a tag read one
// after the other that do not belong together never match, and neither does a head whose node was
// popped and pushed again meanwhile.
#include <bit>
#include <cstdint>

#include "platform/librzmx.h"

namespace {

// Links are read by slower threads while others write them, hence atomically; what they say is
// trusted only after an exchange that succeeded.
std::uint64_t loadLink(std::uint64_t node) {
    return __atomic_load_n(std::bit_cast<std::uint64_t *>(node), __ATOMIC_RELAXED);
}

void storeLink(std::uint64_t node, std::uint64_t next) {
    __atomic_store_n(std::bit_cast<std::uint64_t *>(node), next, __ATOMIC_RELAXED);
}

#if defined(__GCC_HAVE_SYNC_COMPARE_AND_SWAP_16)

// Address in the low half, tag in the high one: the order of the halves in memory.
__extension__ typedef unsigned __int128 Head;
typedef Head __attribute__((may_alias)) HeadInMemory;

Head makeHead(std::uint64_t address, std::uint64_t tag) {
    return static_cast<Head>(tag) << 64 | address;
}
std::uint64_t addressOf(Head head) { return static_cast<std::uint64_t>(head); }
std::uint64_t tagOf(Head head) { return static_cast<std::uint64_t>(head >> 64); }

Head loadHead(dkAStack *stack) {
    std::uint64_t const address = __atomic_load_n(&stack->head[0], __ATOMIC_ACQUIRE);
    return makeHead(address, __atomic_load_n(&stack->head[1], __ATOMIC_ACQUIRE));
}

bool exchange(dkAStack *stack, Head expected, Head desired) {
    return __sync_bool_compare_and_swap(reinterpret_cast<HeadInMemory *>(stack->head), expected,
                                        desired);
}

#else

// Without a double-word exchange the tag has the 16 bits that addresses of this process's memory
// leave free: it comes round after 65536 operations between a thread's look and its exchange.
using Head = std::uint64_t;
constexpr int kAddressBits = 48;

Head makeHead(std::uint64_t address, std::uint64_t tag) { return tag << kAddressBits | address; }
std::uint64_t addressOf(Head head) { return head & ((Head{1} << kAddressBits) - 1); }
std::uint64_t tagOf(Head head) { return head >> kAddressBits; }

Head loadHead(dkAStack *stack) { return __atomic_load_n(&stack->head[0], __ATOMIC_ACQUIRE); }

bool exchange(dkAStack *stack, Head expected, Head desired) {
    return __atomic_compare_exchange_n(&stack->head[0], &expected, desired, false, __ATOMIC_ACQ_REL,
                                       __ATOMIC_RELAXED);
}

#endif

}  // namespace

int dkAStackInit(dkAStack *stack) {
    if (stack == nullptr) return 1;
    stack->head[0] = 0;
    stack->head[1] = 0;
    return 0;
}

void dkAStackPush(dkAStack *stack, void *node) {
    auto const address = std::bit_cast<std::uint64_t>(node);
    Head seen;
    do {
        seen = loadHead(stack);
        storeLink(address, addressOf(seen));
    } while (!exchange(stack, seen, makeHead(address, tagOf(seen) + 1)));
}

void *dkAStackPop(dkAStack *stack) {
    Head seen;
    Head next;
    do {
        seen = loadHead(stack);
        if (addressOf(seen) == 0) return nullptr;
        next = makeHead(loadLink(addressOf(seen)), tagOf(seen) + 1);
    } while (!exchange(stack, seen, next));
    return std::bit_cast<void *>(addressOf(seen));
}

void dkAStackDestroy(dkAStack *stack) { dkAStackInit(stack); }
