// KqbParse: takes a one-line list of attributes apart.
#pragma once

#include "kqb/kqbstring.h"

// Attributes such as a host's options, "BASE/TEMP=/var/tmp; VERBOSE; TITLE=50%25%3B net": pieces
// parted by a separator, each a name and a value or a bare word. What has a meaning to the list and
// is to stand in a value is percent-escaped.
//
//   KqbParse list;
//   list.parse("a=1; b = 2 ;;c", 0);
//   KqbString name, value;
//   for (int i = 0; i < list.getAttributeCount(); ++i) {
//       list.getAttribute(i, &name, &value);  // "a" "1", "b" " 2", null "c"
//   }
//
// Two rules count bytes where one would expect characters, and are kept for the lists that rely on
// them. A piece takes as many characters as it has bytes up to its separator, so one with multi-byte
// characters runs on into what follows; a name does the same up to the end of its piece. Escape
// multi-byte characters (getEscapeStringForURI) to keep a piece to itself; a name is best ASCII.
//
// Copies are shallow: a copy and its source share one list, which the destructor of either frees. So
// only one of them may ever be destroyed, and the other not be used from then on. Assigning leaves
// the list that the target had to whoever else shares it.
//
// One object belongs to one thread at a time, all copies together. Lists need the pool
// (kqbInitialize).
class KQB_API KqbParse {
public:
    // An empty list.
    KqbParse();
    KqbParse(KqbParse const &other);
    KqbParse &operator=(KqbParse const &other);
    ~KqbParse();

    // Replaces the list by the pieces of text, parted by the byte separator, ";" when that is 0.
    // A piece of no bytes is skipped; every other is trimmed of white space at both ends and then
    // unescaped (getUnEscapeStringFromURI: a bad escape stays as it is). One of blanks only is an
    // empty piece. Takes time in proportion to the text. Sets the error message null.
    // True for every text; false, with an empty list, only when memory runs out.
    bool parse(KqbString const &text, char separator);

    int getAttributeCount();

    // The piece at a place (from 0), trimmed and unescaped. False with *piece null outside the
    // count, with message 1516 of "Base Services" in getErrorMessage, and when memory runs out.
    bool getAttributeRaw(int index, KqbString *piece);

    // The same piece split at its first "=" outside parentheses that no "{" stands before: braces
    // are never closed again. The name is trimmed and null where nothing stands before the "=";
    // the value is not trimmed and null where nothing follows. A piece without such an "=" has a
    // null name and is all value. Either output may be null. False as above, both outputs null.
    bool getAttribute(int index, KqbString *name, KqbString *value);

    // Text of the last failure since parse; null when there was none.
    KqbString getErrorMessage();

private:
    class Attributes;

    bool fail(int message);
    template <class Take>
    bool take(int index, Take const &take);

    KqbString errorMessage_;
    KqbString text_;
    Attributes *attributes_;
};
