// Start and stop of the singleton mutex: called by initialisation and shutdown only, on one thread.
#pragma once

// Makes the mutex of all KqbAutoSingleton services. False when the lock cannot be had.
bool kqbSingletonsStart();

// Destroys the mutex; without one it does nothing. Services that are still held stay as they are:
// their holders may end them now, and who attaches in the library's next life finds them.
void kqbSingletonsStop();
