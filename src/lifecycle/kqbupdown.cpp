// Initialisation and shutdown. What is brought up is taken down by one function, which accepts
// whatever part of it exists, so a failed initialisation and a shutdown cannot differ.
#include <cstdio>
#include <cstring>
#include <new>

#include "config/kqbconfigoptions_internal.h"
#include "config/kqbsingleton_internal.h"
#include "core/kqbassert_internal.h"
#include "core/kqblog_internal.h"
#include "core/kqbmempool_internal.h"
#include "identity/kqbsubject_internal.h"
#include "kqb/kqbhost.h"
#include "lifecycle/kqbstartup_internal.h"
#include "platform/kqbb.h"
#include "platform/kqmsg.h"
#include "platform/kqschr.h"
#include "platform/kqsfio.h"
#include "platform/kqssys.h"

namespace {

constexpr char kSource[] = "kqbupdown";
constexpr int kInitializationMessageSize = 256;

struct ShutdownHandler {
    KqbShutdownHandler function;
    void *argument;
    ShutdownHandler *next;
};

int gReferences = 0;
int gBootLevel = 0;
bool gPoolStarted = false;
bool gMessageLocationSet = false;
char gModuleDirectory[kKqbMaxPath + 1];
char gInitializationMessage[kInitializationMessageSize];
char gStartupMessage[kKqbMessageSize];
ShutdownHandler *gShutdownHandlers = nullptr;  // newest first; kept for the life of the process

bool fail(char const *text) {
    kqbSetMessage(gInitializationMessage, sizeof gInitializationMessage, text);
    return false;
}

void logAssertion(char const *message, char const *sourceFile, int line, void *) {
    kqbLog(kqbBaseLogger(), 5, kSource, __LINE__, "ASSERT %s %d: %s", sourceFile, line, message);
}

bool findModuleDirectory(char const *executablePath) {
    char const *const path = executablePath != nullptr ? executablePath : "";
    if (std::strlen(path) > kKqbMaxPath) {
        return fail("Executable path exceeds maximum path length.");
    }
    np_fio_path parts;
    np_fio_pparse(path, &parts);
    if (parts.directorySize == 0) return fail("Path to executable could not be determined.");
    std::memcpy(gModuleDirectory, parts.directory, parts.directorySize);
    gModuleDirectory[parts.directorySize] = '\0';
    return true;
}

bool initializeBuildingBlocks(char const *executablePath, char const *mxPath) {
    int const result =
        mxPath != nullptr
            ? kqbbInitializeWithMX(mxPath, gInitializationMessage, sizeof gInitializationMessage)
            : kqbbInitialize(executablePath, gInitializationMessage, sizeof gInitializationMessage);
    return result == 0;
}

bool createMutexes() {
    kqbSetGlobalMutex(kqLockCreate(0, 0));
    if (kqbGlobalMutex() == nullptr) return fail("Failed to create global mutex");
    return kqbSingletonsStart() || fail("Failed to create singleton mutex");
}

bool startPool() {
    gPoolStarted = kqbMemPoolStart();
    return gPoolStarted || fail("Failed to initialize KQ mem pool");
}

// Points the message library at the home's catalogues unless the environment says where they are.
void findMessageLocation() {
    char location[kKqbMaxPath];
    char home[kKqbMaxPath];
    char share[kKqbMaxPath + 16];
    if (np_env_get("VANTOREX_ERROR_LOCATION", location, sizeof location) > 0) return;
    if (np_env_get("KQEXEC_HOME", home, sizeof home) <= 0) return;
    np_fio_pjoin(home, "share", share, sizeof share);
    if (np_fio_exists(share) != 0) {
        char messages[kKqbMaxPath + 32];
        np_fio_pjoin(share, "msg", messages, sizeof messages);
        kqbSetEnvironment("VANTOREX_ERROR_LOCATION", messages);
    } else {
        kqbSetEnvironment("VANTOREX_ERROR_LOCATION", home);
    }
    gMessageLocationSet = true;
}

bool bringUp(char const *executablePath, char const *mxPath) {
    if (!findModuleDirectory(executablePath)) return false;
    if (!initializeBuildingBlocks(executablePath, mxPath)) return false;
    if (kqlogInitialize() != 0) return fail("Failed to initialize logging.");
    if (!createMutexes()) return false;
    if (!kqbHasAssertionHandler(logAssertion, nullptr)) {
        kqbRegisterAssertionHandler(logAssertion, nullptr);
    }
    if (!startPool()) return false;
    if (!kqbLoadTextIo(gInitializationMessage, sizeof gInitializationMessage)) return false;
    if (!kqbConfigOptionsStart()) return fail("Failed to create config options");
    findMessageLocation();
    kqbStartupSetUserPath("");
    kqbLoadDependencies();
    return true;
}

// Logs one step of a shutdown; a failed initialisation is taken down silently.
void step(bool logged, char const *text) {
    if (logged) kqbLog(kqbBaseLogger(), 1, kSource, __LINE__, text);
}

void destroyMutexes(bool logged) {
    if (kqLock *const mutex = kqbGlobalMutex()) {
        step(logged, "kqbShutdown destroying global mutex");
        kqbSetGlobalMutex(nullptr);
        kqLockDestroy(mutex);
    }
    step(logged, "kqbShutdown destroying global singleton mutex");
    kqbSingletonsStop();
}

void takeDown(bool logged) {
    kqbSubjectStop();
    step(logged, "kqbShutdown destroying config opts");
    kqbConfigOptionsStop();
    step(logged, "kqbShutdown tossing text file support");
    kqbUnloadTextIo();
    step(logged, "kqbShutdown freeing memory pool");
    if (gPoolStarted) kqbMemPoolStop();
    gPoolStarted = false;
    step(logged, "kqbShutdown terminating message file support");
    kqmsgTerminate();
    kqbRestoreEnvironment();
    gMessageLocationSet = false;
    destroyMutexes(logged);
    step(logged, "kqbShutdown terminating kqbb");
    kqlogTerminate();
    kqbbTerminate();
    gBootLevel = 0;
}

void callShutdownHandlers() {
    for (ShutdownHandler const *handler = gShutdownHandlers; handler != nullptr;
         handler = handler->next) {
        handler->function(handler->argument);
    }
}

}  // namespace

char const *kqbModuleDirectory() { return gModuleDirectory; }

bool kqbMessageLocationSet() { return gMessageLocationSet; }

KqLogger *kqbBaseLogger() { return kqlogGetLogger("KQ.Base"); }

void kqbSetStarted() { gBootLevel = 2; }

void kqbSetMessage(char *buffer, int size, char const *text) {
    np_uchar_bufncopy(buffer, text, static_cast<unsigned>(size), ~0U);
}

char *kqbStartupMessage() { return gStartupMessage; }

int kqbStartupFailure(int result, char const *text, char const **errorMessage) {
    if (text != gStartupMessage) kqbSetMessage(gStartupMessage, sizeof gStartupMessage, text);
    if (errorMessage != nullptr) *errorMessage = gStartupMessage;
    return result;
}

int kqbInitialize(char const *executablePath, char const **errorMessage) {
    return kqbInitializeWithMX(executablePath, nullptr, errorMessage);
}

int kqbInitializeWithMX(char const *executablePath, char const *mxPath, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    if (++gReferences > 1) return 0;
    if (bringUp(executablePath, mxPath)) {
        gBootLevel = 1;
        return 0;
    }
    --gReferences;
    takeDown(false);
    if (errorMessage != nullptr) *errorMessage = gInitializationMessage;
    return 1;
}

void kqbShutdown(void) {
    if (gReferences == 0) return;
    step(true, "Entered kqbShutdown");
    if (--gReferences > 0) {
        step(true, "kqbShutdown more references");
        return;
    }
    step(true, "kqbShutdown calling depsShutdown");
    kqbStopDependencies();
    step(true, "kqbShutdown calling shutdown handlers");
    callShutdownHandlers();
    takeDown(true);
}

int kqbGetBootLevel(void) { return gBootLevel; }

void kqbRegisterShutdownHandler(KqbShutdownHandler function, void *argument) {
    if (function == nullptr) return;
    auto *const handler = new (std::nothrow) ShutdownHandler{function, argument, nullptr};
    if (handler == nullptr) return;
    KqbGlobalLock const guard;
    handler->next = gShutdownHandlers;
    gShutdownHandlers = handler;
}
