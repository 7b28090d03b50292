// Counts how often memory ran out, for callers that must not overlook it: start-up gathers options
// through operations that skip what they cannot read, and a file that is skipped for want of
// memory must not pass for one that is missing.
#pragma once

void kqbNoteMemoryFailure();

// Failures so far, on any thread; wraps.
unsigned kqbMemoryFailures();
