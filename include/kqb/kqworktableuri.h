// KqWorkTableURI: names a work table, with columns and a range of rows.
#pragma once

#include "kqb/kquri.h"

// A work table, kqwt://name?columns#range. getScheme gives "kqwt", getHost an empty string, getPath
// the name; getQuery and getFragment give columns and range as text. A URI of another factory is
// asked for this interface with dynamic_cast.
//
// columns  the descriptors of the columns, separated by ",": a column's name, then, unless its value
//          is empty, "=" and the value between "'". In front of the first "'" stands the name of the
//          type (kqbTypeToString) for Boolean, Integer, Real, String and Date, nothing for others.
//          In a String and in values without a type name every "'" is written %27 and every ","
//          %2C; all else, names and other values entirely, is written as it is.
// range    start=N,count=N, or one of them, in decimal digits.
//
//   kqwt://Orders?id=Integer'7',name='O%27Neil',note#start=0,count=100
//
// getURIString composes the text of what there is now. getEscapedURIString does the same with the
// multi-byte characters of the name escaped, and nothing else.
//
// Parsing a text (getURIFromURIString) reads it as the one composed from what it then holds. So none
// is refused and getURIString gives it back; text in no other form than the above is a name:
//   - What stands behind the last "#" is the range if it is written exactly as above, with numbers
//     as they are composed, none of them -1. Any other "#" is an ordinary character.
//   - The name ends at the first "?", and all behind it is the query; without anything behind it
//     the "?" belongs to the name.
//   - The name of a column ends at the first ",", or at the first "=" behind its first character
//     that is followed by a value: not empty, written exactly as above, the type's name included,
//     its last "'" followed by "," or the end, and of that type if it is Boolean, Integer, Real or
//     Date. Any other "=" or "'" belongs to the name, in which nothing is unescaped: a=7 is a name.
//   - Beyond what is composed, empty parts between "," are no columns, and neither is a part whose
//     name is there already. The query keeps them.
// Name, columns and range that are composed and parsed are equal to what they were, save for what
// the text cannot tell:
//   - the name of a table ends at a "?" in it that something follows;
//   - the name of a column ends at a "," in it, or at a "=" with what reads as a value behind it;
//   - without a range, what reads as one at the end of the name, or of the last column's, is one;
//   - the type of a column is Unknown when the value is empty or the type has no name there; null
//     values are empty;
//   - "%27" and "%2C" in a String or a value without a type's name become "'" and ",";
//   - a Boolean such as 1',x ends at its first "'," and the rest is a column of its own;
//   - addQueryValue writes the query anew by the rules of KqURIQueryHandler, which escape the "="
//     of most columns: the query stays as it then is, but the columns read from it are others;
//   - in the escaped text a name's multi-byte characters stay escaped (getUnEscapeStringFromURI
//     brings them back).
//
// Refusals are reported with a message of the catalogue "Base Services", in *error if there is one,
// otherwise to the logger "KQ.Base.URI.WorkTable" at error level. error may always be null; after
// success *error is null.
class KQB_API KqWorkTableURI : public KqURI {
public:
    // Adds a column; type is a kqbType, any other code counts as one without a name. The value of a
    // Boolean, Integer, Real or Date must be empty or convert to that type (KqbDatavar), and is kept
    // as given. False with nothing changed, and message
    //   1795  when the name is null or empty
    //   1776  when there is a column of that name, letter case aside
    //   1778  when the value does not convert
    //   29    when memory ran out
    virtual bool addColumn(KqbString const &name, KqbString const &value, int type,
                           KqbString *error) = 0;

    // The column at a place, from 0. False with name and value null and type 0 outside the list.
    // Outputs may be null.
    virtual bool getColumn(int index, KqbString *name, KqbString *value, int *type) = 0;
    virtual unsigned int getColumnCount() = 0;

    virtual KqbString getName() = 0;

    // First row, from 0, and number of rows, -1 when it is not limited. False, both 0, without a
    // start or with a negative one, whatever the count. Outputs may be null.
    virtual bool getRange(__int64 *start, __int64 *count) = 0;

    virtual void setName(KqbString const &name) = 0;

    // -1 leaves out the start, the count; a count alone is written, too. False, nothing changed and
    // message 29, when memory ran out.
    virtual bool setRange(__int64 start, __int64 count, KqbString *error) = 0;

protected:
    ~KqWorkTableURI() = default;
};

// A work table of that name, taken as it is, with a range as setRange takes it, or without one, and
// without columns. Null when memory ran out.
KQB_API KqWorkTableURI *getWorkTableURIFromComponents(KqbString const &name, __int64 start,
                                                      __int64 count);
KQB_API KqWorkTableURI *getWorkTableURIFromComponents(KqbString const &name);
