// KqbAutoSingleton: base of handles on one shared instance of a service per process.
#pragma once

#include "kqb/kqbtypes.h"

struct KqbAutoSingletonEntry;

// A derived class names a service and knows how to make and end its instance. The first object
// whose initialize() succeeds makes the instance, later ones attach to it, and the terminate() of
// the last one ends it. A service lives as long as something holds it, and all handles of one name
// must be able to work with one instance, whichever of them made it.
//
// A name is a NUL-terminated text, compared exactly; only its first 255 bytes count.
//
// Call terminate() once for each initialize(); the destructor does not. An object whose terminate()
// was not the last stays attached for good, so that a later initialize() on it is false; use it no
// further. Copies are attached to what the original is attached to and are not counted: of an
// object and its copies, one calls terminate().
//
// Thread safety: handles of one service may be used from different threads, one handle by one thread
// at a time. Who attaches while the instance is being made waits until it is there. create() and
// destroy() may use other services.
class KQB_API KqbAutoSingleton {
public:
    // Detached.
    KqbAutoSingleton() = default;
    KqbAutoSingleton(KqbAutoSingleton const &) = default;
    KqbAutoSingleton &operator=(KqbAutoSingleton const &) = default;

    // Attaches; waits while a holder has the service locked. *created (may be null) tells whether
    // this call made the instance. False, with nothing changed, when the object is attached
    // already, the name is null or empty, memory or a lock cannot be had, or the library is not
    // initialised. What create() answers is the instance, null included.
    virtual bool initialize(bool *created);

    // Gives one hold back; nothing when detached. The last one detaches and destroys the instance;
    // nobody may have the service locked then.
    virtual void terminate();

    // The service's name; asked under the mutex of all services.
    virtual char const *getName() = 0;

    // For a hold whose object is lost: gives it back through this object, which must be detached.
    // Waits while a holder has the service locked. True when the service is held once less (gone, if
    // it was the last hold), and when there is no such service; false when attached, without a
    // name or when the library is not initialised.
    bool cleanupOnly();

    // Locks the service for this thread, waiting for whoever has it, and unlocks it. Not to be
    // nested. Nothing when detached.
    void lock();
    void unlock();

protected:
    ~KqbAutoSingleton() = default;

    // Makes the instance and ends one that create() made (null where it answered null). Must not
    // throw, and must not attach to or lock the service they belong to.
    virtual void *create() = 0;
    virtual void destroy(void *instance) = 0;

    // The instance, as it was when this object attached; null when detached.
    void *instance() const { return instance_; }

private:
    KqbAutoSingletonEntry *entry_ = nullptr;
    void *instance_ = nullptr;
};
