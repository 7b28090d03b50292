// What the cursors over variants and over strings share.
#pragma once

// Results of a cursor's next().
constexpr int KqbCursorEnd = 0;      // there are no more rows
constexpr int KqbCursorRow = 1;      // on a row
constexpr int KqbCursorFailure = 2;  // the row cannot be read
