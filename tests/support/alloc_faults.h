// Makes allocations fail on purpose.
//
// Linking alloc_faults.cpp replaces the global operators new and delete of a test program.
#pragma once

// What the calling thread allocates through operator new from now on: throwing forms that are
// refused throw std::bad_alloc, the others answer null.
class AllocFaults {
public:
    // Refuses the nth allocation (1 is the next one).
    static void failAt(long n);
    // Refuses the nth allocation and all behind it.
    static void failFrom(long n);
    // Refuses allocations of more than so many bytes.
    static void failAbove(unsigned long bytes);
    static void off();

    // Whether one was refused since one of these, also after off(). A loop over n ends when
    // none was.
    static bool hit();
};
