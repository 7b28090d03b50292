// RTProfiler: how much time named stretches of code take.
#pragma once

#include "kqb/kqbtypes.h"

// Code calls enter() where a stretch begins and exit(tag) where it ends. Kept for each tag are the
// stretches that ended and their time in whole microseconds. Stretches nest; the time of an inner
// one is not counted again in the outer one. A tag is a text of which the first 255 bytes count;
// null is the empty text.
//
// Assigning or copying a profiler makes both use one set of figures, which goes with the last.
//
// Records go to the logger "KQ.RTProfiler". When memory runs out stretches go unbooked; the nesting
// stays right.
//
// Thread safety: none; a profiler and those that share its figures are used by one thread at a time,
// as under the lock of whoever owns them.
class KQB_API RTProfiler {
public:
    RTProfiler();
    RTProfiler(RTProfiler const &other);
    RTProfiler &operator=(RTProfiler const &other);
    ~RTProfiler();

    // Begins a stretch inside those that are open.
    void enter();

    // Ends the innermost open stretch and books it under tag. With none open it logs "Inconsistent
    // profile entry/exit count for <tag>." (5) and books nothing.
    void exit(char const *tag);

    // Forgets all open stretches and figures, after logging "Profiler reset <label>" (1).
    void reset(char const *label);

    // Where the logger passes level 1, logs "Profiler dump <label>", and then for every tag, in
    // order of their bytes, "<tag>,<milliseconds>,<count>".
    void dump(char const *label);

    // The whole milliseconds and the number of the stretches booked under tag. Unknown tag: false,
    // and both are 0. Times and counts that no int holds are its largest value.
    bool getData(char const *tag, int *milliseconds, int *count);

    // Walks the tags in the order of dump: the first one, or the one behind the last that was
    // told. Null behind the last one, and with false where no walk was begun. The text is valid
    // until reset and the end of the figures.
    char const *getId(bool first);

private:
    class State;
    State *state_;
};
