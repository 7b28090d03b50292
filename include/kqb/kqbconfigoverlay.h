// KqbConfigOverlay: a user's changes laid over an installation's configuration file.
#pragma once

#include "kqb/kqbstring.h"

class KqbConfigOverlayImpl;

// Two configuration files (kqb/kqbconfigfile.h) seen as one: a base that is only read, and an
// overlay that holds the changes and is the only one ever written. Each key stands in the base, in
// the overlay or in both; keys are compared without regard to letter case. Setting a key writes it
// into the overlay; clearing it takes it out again, so that the base's value shows.
//
//   KqbConfigOverlay settings;
//   if (!settings.readBase("/opt/suite/etc/app.cfg")) return settings.getErrorMessage();
//   settings.readOverlay(userFile);  // false also on the first run, when there is none yet
//   settings.setOverlayEntry("BASE/TEMP", "/var/tmp");
//   if (!settings.writeOverlay(userFile)) return settings.getErrorMessage();
//
// Read the base first: reading it forgets which keys stand in an overlay read before. A second
// overlay takes the keys known from the first one for the base's.
//
// Memory that runs out fails a read or a write with its message; a change is then made wholly or
// not at all, and a text asked for is null.
//
// Copies are handles on one shared implementation, which lives as long as its last handle. Neither
// the class nor its handles are locked: all handles of one overlay belong to one thread at a time.
// What it holds lies in the pool, as with configuration files.
class KQB_API KqbConfigOverlay {
public:
    // Two empty files. Without memory the object stays empty: reading fails, changes are ignored.
    KqbConfigOverlay();
    ~KqbConfigOverlay();
    KqbConfigOverlay(KqbConfigOverlay const &other);
    KqbConfigOverlay &operator=(KqbConfigOverlay const &other);

    // Merges a file into the base or the overlay, as KqbConfigFile::read does. False when it cannot
    // be read, with the reason in getErrorMessage; the known keys are then as before. After
    // readBase these are the base's alone; readOverlay adds the overlay's.
    bool readBase(KqbString const &path);
    bool readOverlay(KqbString const &path);

    // Writes the overlay. The file that was there is replaced only when all is written; false with
    // getErrorMessage otherwise.
    bool writeOverlay(KqbString const &path);

    // Keys of either file.
    int getEntryCount();

    // The key at a place (from 0) in key order, in the form in which it first came, with its value
    // in each file. Any output may be null. The value of a file that does not have the key is left
    // untouched. Outside the count, and when memory runs out, all outputs are null and the result
    // false.
    bool getEntry(int index, KqbString *key, KqbString *baseValue, KqbString *overlayValue);

    // The overlay's comment of a key; the base's where the overlay has the key not at all or
    // without a comment. Null for an unknown key.
    KqbString getEntryComment(KqbString const &key);

    // Sets a key in the overlay, bringing the base's comment along when the overlay has not got the
    // key yet. An empty value (or null) clears the key: the overlay keeps a "#-DELETED " line for
    // one that was read from its file, and the base's value shows again. A key that stands in the
    // base alone cannot be cleared.
    void setOverlayEntry(KqbString const &key, KqbString const &value);

    // Sets the overlay's comment of a key, bringing the base's value along when the overlay has not
    // got the key yet. Unknown keys are ignored.
    void setEntryComment(KqbString const &key, KqbString const &comment);

    // Text of the last failed read or write; null when there was none.
    KqbString getErrorMessage();

private:
    KqbConfigOverlayImpl *impl_;
};
