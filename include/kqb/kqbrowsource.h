/* KqbRowSource: a table that somebody else keeps, behind operations that C can offer.
 *
 * An object is whatever begins with a KqbRowSource; operations get it as their first argument:
 *
 *     struct Lines { KqbRowSource base; FILE *file; char line[256]; };
 *     struct Lines lines = {{&linesOperations}, file, ""};
 *     cursor->setRowSource(&lines.base);
 *
 * Results are 0 for success and anything else for failure unless said otherwise. Every operation
 * must be there; one that has nothing to offer returns 1. Texts are UTF-8 and end in a NUL. Texts
 * given to an operation are the caller's and may be gone afterwards; texts handed out are the
 * source's and stay valid until the next operation that hands out one. Nothing may throw. */
#ifndef KQB_KQBROWSOURCE_H
#define KQB_KQBROWSOURCE_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KqbRowSource KqbRowSource;

typedef struct KqbRowSourceOperations {
    /* Adds a column behind the last one. length: bytes of the name without its NUL. */
    int (*addColumn)(KqbRowSource *source, char const *name, int length);
    /* The columns are complete. */
    int (*createColumns)(KqbRowSource *source);
    /* The table is complete. */
    int (*finish)(KqbRowSource *source);
    /* The row begun is complete. */
    int (*endRow)(KqbRowSource *source);
    /* The name of a column, counted from 0. */
    int (*columnName)(KqbRowSource *source, int column, char const **name);
    /* The text of the last failure; null when there was none. */
    char const *(*errorMessage)(KqbRowSource *source);
    /* How many columns there are. */
    int (*columnCount)(KqbRowSource *source);
    /* How many rows there are; -1 when that is not known. */
    int (*rowCount)(KqbRowSource *source);
    /* The value of a column in the current row; *value null for an absent one. */
    int (*value)(KqbRowSource *source, int column, char const **value);
    /* Begins a row. */
    int (*beginRow)(KqbRowSource *source);
    /* Moves to the next row: 0, on a row; positive, there are no more; negative, a failure. */
    int (*next)(KqbRowSource *source);
    /* Ends the source: it is not used any more. */
    void (*release)(KqbRowSource *source);
    /* Sets a value of the row begun; length as above. A null text is an absent value. */
    int (*setValue)(KqbRowSource *source, int column, char const *text, int length);
    /* The next `next` goes to the first row. */
    int (*rewind)(KqbRowSource *source);
} KqbRowSourceOperations;

struct KqbRowSource {
    KqbRowSourceOperations const *operations;
};

#ifdef __cplusplus
}
#endif

#endif
