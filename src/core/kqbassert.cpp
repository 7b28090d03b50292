#include "core/kqbassert_internal.h"

#include <new>

namespace {

struct Handler {
    KqbAssertionHandler function;
    void *argument;
    Handler *next;
};

kqLock *gMutex = nullptr;
Handler *gHandlers = nullptr;  // newest first; kept for the life of the process

}  // namespace

kqLock *kqbGlobalMutex() { return gMutex; }

void kqbSetGlobalMutex(kqLock *mutex) { gMutex = mutex; }

bool kqbHasAssertionHandler(KqbAssertionHandler function, void *argument) {
    KqbGlobalLock const guard;
    for (Handler const *handler = gHandlers; handler != nullptr; handler = handler->next) {
        if (handler->function == function && handler->argument == argument) return true;
    }
    return false;
}

void kqbRegisterAssertionHandler(KqbAssertionHandler function, void *argument) {
    if (function == nullptr) return;
    auto *const handler = new (std::nothrow) Handler{function, argument, nullptr};
    if (handler == nullptr) return;
    KqbGlobalLock const guard;
    handler->next = gHandlers;
    gHandlers = handler;
}

void kqbAssertFailure(char const *message, char const *sourceFile, int line) {
    KqbGlobalLock const guard;
    for (Handler const *handler = gHandlers; handler != nullptr; handler = handler->next) {
        handler->function(message != nullptr ? message : "FAILURE", sourceFile, line,
                          handler->argument);
    }
}
