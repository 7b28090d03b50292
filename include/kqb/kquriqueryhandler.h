// KqURIQueryHandler: the query of a URI as an ordered list of key/value pairs.
#pragma once

#include "kqb/kqbstring.h"

// The pairs of a query, KEY=VALUE separated by "&". Made by getURIQueryHandler; belongs to the
// caller, who ends it with release(). Belongs to one thread at a time. The order of the operations
// is part of the binary interface.
//
// Nothing throws; the only failure is memory. Keys that come to more than the longest text, 2 GiB,
// count as that: a short query can name so much, because a part without "=" takes the parts behind
// it into its key.
class KQB_API KqURIQueryHandler {
public:
    virtual void release() = 0;

    // Appends a pair; without duplicates, gives the first pair of exactly that key the new value
    // instead, if there is one. Null is empty. False, nothing changed, when memory ran out.
    virtual bool addValue(KqbString const &key, KqbString const &value) = 0;

    virtual unsigned int getCount() = 0;

    // The pair at a place, from 0. False, outputs untouched, outside the list and when memory ran
    // out. Either output may be null.
    virtual bool getPair(int index, KqbString *key, KqbString *value) = 0;

    // The query text of all pairs: KEY=VALUE joined by "&", with " &=#" and all multi-byte
    // characters escaped, "%" never. Empty without pairs. What cannot be escaped, being ill-formed,
    // is written as it is. Null when memory ran out.
    virtual KqbString getQueryString() = 0;

    // Adds the pairs of a query text, keys and values unescaped one by one. Empty parts, parts that
    // begin with "=" and, with no "=" behind them either, parts without "=" add nothing. The "=" of
    // a part is looked for in all of the remaining text: a part without one takes the next part's,
    // its key reaching up to there and its value being empty, and the next part is read again by
    // itself, so that a&b=c gives "a&b" with an empty value, then "b" with "c".
    //
    // False when memory ran out, with the pairs up to there added.
    virtual bool parse(KqbString const &text) = 0;

protected:
    ~KqURIQueryHandler() = default;
};

// A handler with the pairs of a query text (unescaped as a whole, as getQuery gives it).
// allowDuplicates tells what addValue does, in parsing as well. The handler is returned also when
// parsing ran out of memory. Null only when there was none for the handler.
KQB_API KqURIQueryHandler *getURIQueryHandler(KqbString const &query, bool allowDuplicates);
