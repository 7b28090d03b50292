// KqDataURI: names a data source and an object in it.
#pragma once

#include "kqb/kquri.h"

// A data URI: seven components under one of two schemes.
//
//   kqd://source.sourceType/segment1/segment2/segment3/leaf
//   kqf://location.sourceType/source/segment1/segment2/segment3/leaf
//
// What the components stand for in each kind of source is for callers to say. They are held
// unescaped. Query and fragment of a text are not read, and never written; pairs given to
// addQueryValue show in getQuery alone.
//
// getHost and getPath are derived from the components: "source.sourceType" (kqd) or
// "location.sourceType" (kqf), the first part alone when kqd has no sourceType or kqf no location;
// and "segment1/segment2/segment3/", for kqf with "source/" in front. The leaf is no part of it.
//
// getURIString gives the text parsed, or composes one from the components as they are;
// getEscapedURIString composes with the multi-byte characters of source, segments and leaf escaped
// and nothing else. Composing leaves out the segments behind the last one that is not empty, unless
// there is a leaf, and writes a leaf without a "/" behind it:
//   kqd://Sales.ODBC/dbo/Orders/     kqd://Sales.ODBC/dbo///leaf     kqf://srv.DB2/Sales/dbo/
// Without a source (kqd) or location (kqf) the authority is empty and three slashes follow the
// scheme; kqf then always writes its source. Kept for programs that compare texts: kqd without a
// source but with a leaf composes "kqd:///segment1/%/segment2/segment3" and leaves the leaf out.
// A scheme that is not exactly kqd or kqf composes an empty text.
class KQB_API KqDataURI : public KqURI {
public:
    virtual KqbString getSource() = 0;
    virtual KqbString getSourceType() = 0;
    virtual KqbString getSegment1() = 0;
    virtual KqbString getSegment2() = 0;
    virtual KqbString getSegment3() = 0;
    virtual KqbString getLeaf() = 0;
    virtual KqbString getLocation() = 0;

protected:
    ~KqDataURI() = default;
};

// Takes a data URI text apart. *scheme receives the scheme of any text; the result is true if it is
// exactly "kqd" or "kqf", else the other outputs are untouched. False with all untouched when an
// output is null, as none may be, or memory ran out.
//
// The authority is cut at its first "."; what stands before it is unescaped. A "." that is missing
// or stands first leaves all of it as the source (kqd, sourceType then "ODBC") or the location (kqf,
// sourceType empty). For kqd *location becomes empty.
//
// The path, unescaped as every path, is cut if it has more than 3 characters (kqd) or 4 (kqf), and
// each piece is unescaped once more; a piece that is not there leaves its output untouched. With
// s1, s2 (and for kqf s3) its first slashes and e its last, -1 where there is none, s2 looked for
// behind s1 but not before position 1, s3 behind s2 but, where there is no s2, from position 2:
//   kqd: segment1 before s1, segment2 s1..s2, segment3 s2..e, leaf behind e
//   kqf: source before s1, segment1 s1..s2, segment2 s2..s3, segment3 s3..e, leaf behind e
// A piece between two slashes is there if they are more than one apart, counting a missing one as
// -1; so a path with fewer slashes repeats earlier text, and kqd path dbo/ gives segment1 and
// segment3 dbo.
KQB_API bool getDataURIComponentsFromString(KqbString const &text, KqbString *scheme,
                                            KqbString *source, KqbString *sourceType,
                                            KqbString *segment1, KqbString *segment2,
                                            KqbString *segment3, KqbString *leaf,
                                            KqbString *location);

// A data URI of components: the scheme as given, the others unescaped. Mind that their order is not
// that of the function above. Null when memory ran out.
KQB_API KqDataURI *getDataURIFromComponents(KqbString const &scheme, KqbString const &location,
                                            KqbString const &source, KqbString const &sourceType,
                                            KqbString const &segment1, KqbString const &segment2,
                                            KqbString const &segment3, KqbString const &leaf);
