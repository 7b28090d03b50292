// Start and stop of the memory pool: called by start-up and shutdown only, on one thread.
#pragma once

// Counted; the first start builds the pool. False, with nothing left behind, when memory or the
// lock cannot be had.
bool kqbMemPoolStart();

// Counted; the last stop destroys the pool with every block. Without a start it does nothing.
void kqbMemPoolStop();
