// Start and stop of the option registries: called by start-up and shutdown only, on one thread.
#pragma once

// Makes the lock and an empty set of registries. False, with nothing left behind, when memory or
// the lock cannot be had. Does nothing when they are there.
bool kqbConfigOptionsStart();

// Destroys every registry and the lock. Without a start it does nothing.
void kqbConfigOptionsStop();
