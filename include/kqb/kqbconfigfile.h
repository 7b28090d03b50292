// KqbConfigFile: a file of key=value lines that keeps what it does not understand.
#pragma once

#include "kqb/kqbstring.h"

class KqbConfigFileImpl;

// One configuration file in memory. Keys are compared without regard to letter case. Comments,
// blank lines, unrecognised lines and the order of lines survive reading and writing; every line
// is trimmed of white space at both ends. docs/configuration-file.md describes the format.
//
// A comment line directly above an entry is that entry's comment; "\n" in it stands for a line
// feed. A key that stands in the file twice has the last value, and the earlier lines survive as
// plain lines. A deleted entry stays in the file as "#-DELETED key=value".
//
// Copies are handles on one shared implementation, which lives as long as its last handle. Neither
// the class nor its handles are locked: all handles of one file belong to one thread at a time.
//
// What a file holds lies in the pool: filling one needs kqbInitialize, and a file that is not empty
// must not outlive kqbShutdown.
class KQB_API KqbConfigFile {
public:
    // An empty file. Without memory the object stays empty: reading fails, changes are ignored.
    KqbConfigFile();
    ~KqbConfigFile();
    KqbConfigFile(KqbConfigFile const &other);
    KqbConfigFile &operator=(KqbConfigFile const &other);

    // Merges the file at path into this object: line numbers go on, keys override earlier ones.
    // False when the file cannot be opened or read, with the reason in getErrorMessage; what was
    // read before a failure stays. A success leaves an earlier message.
    bool read(KqbString const &path);

    // Writes all lines, then the entries added since. The file that was there is replaced only when
    // all is written. False with getErrorMessage otherwise. Changes nothing in this object.
    bool write(KqbString const &path);

    // Forgets lines, entries and the error message. Later reads number their lines on; added keys
    // whose entries are gone are not written.
    void clear();

    int getEntryCount();

    // The value of a key; null when there is none.
    KqbString getEntry(KqbString const &key);

    // The entry at a place (from 0) in key order, its key as first written. Any output may be
    // null. Outside the count both outputs are null and the result false.
    bool getEntry(int index, KqbString *key, KqbString *value);

    // Walks the entries in key order, from the start when first is true. False at the end, outputs
    // untouched. Adding or deleting a key invalidates the walk: start again.
    bool getNextEntry(bool first, KqbString *key, KqbString *value);

    // Replaces a value, keeping comment, place and the key as first written; or adds an entry,
    // written behind all lines.
    void setEntry(KqbString const &key, KqbString const &value);

    // Removes an entry; unknown keys are ignored. One that came from a file leaves its comment and
    // a "#-DELETED " line.
    void deleteEntry(KqbString const &key);

    // The comment of an entry, empty when it has none; null for an unknown key.
    KqbString getEntryComment(KqbString const &key);
    // Replaces the comment of an entry; unknown keys are ignored. Line feeds are allowed.
    void setEntryComment(KqbString const &key, KqbString const &comment);

    // Text of the last failed read or write; null when there was none.
    KqbString getErrorMessage();

private:
    KqbConfigFileImpl *impl_;
};
