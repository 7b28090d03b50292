// KqbConfigOptions: process-wide named registries of options.
#pragma once

#include "kqb/kqbhost.h"
#include "kqb/kqbstring.h"

class KqbConfigFile;

// An ordered list of key/value pairs, keys without regard to letter case. Obtained from
// kqbGetConfigOptions and owned by the library.
//
// Thread safety: any thread may use any registry. One reader/writer lock guards them all; looking
// up scales with the threads that look. Imports take it for one option at a time, so others may
// see a part of them.
class KqbConfigOptions {
public:
    // Replaces the value of a key, keeping its place and the key as first written, or appends.
    // Null and empty keys and values are accepted, and null is another key than empty. False only
    // when memory runs out; the registry is then as before.
    virtual bool setOption(KqbString const &key, KqbString const &value) = 0;

    // The option at a place (from 0) in the list. False outside it, outputs untouched. Either
    // output may be null. expand: as in getOption, but a failed expansion does not change the
    // result.
    virtual bool getOptionAt(int index, KqbString *key, KqbString *value, bool expand) = 0;

    // The value of a key; null and false when there is none. With expand every reference
    // %%key%% in it is replaced by that option's value, again and again; an unknown reference
    // stops that with false and the text reached so far. So do bounds, which an option that refers
    // to itself, straight or round about, runs into: 10,000 replacements, and 16 MiB of text. value
    // may be null.
    virtual bool getOption(KqbString const &key, KqbString *value, bool expand) = 0;

    // Removes an option; those behind move up. Unknown keys are ignored.
    virtual void deleteOption(KqbString const &key) = 0;

    virtual int getOptionCount() = 0;

    // Sets one option per variable of the process environment. Entries without "=" are skipped.
    virtual void addEnvironment() = 0;

    // Sets one option per entry, in key order.
    virtual bool addConfigFile(KqbConfigFile &file) = 0;

    // Reads the configuration files of a directory whose names end in "." and extension (letter
    // case ignored; empty: all files), in the order of their names, later keys over earlier ones,
    // and sets their options. Files that cannot be read are skipped. False with getErrorMessage
    // when the directory cannot be read.
    virtual bool addConfigDirectory(KqbString const &directory, KqbString const &extension) = 0;

    // Text of the last failure of addConfigDirectory; null when there was none.
    virtual KqbString getErrorMessage() = 0;

protected:
    virtual ~KqbConfigOptions() = default;
};

// The registry of that name, made on first request; names are exact, and the empty name (or null)
// is the default registry, which start-up fills. Null only before kqbInitialize and when memory
// runs out. Valid until kqbClearConfigOptions of the name, or shutdown.
KQB_API KqbConfigOptions *kqbGetConfigOptions(KqbString const &name);

// Destroys the registry of that name; unknown names are ignored.
KQB_API void kqbClearConfigOptions(KqbString const &name);

// A value as it may be shown to people and written to logs. Keys are compared without regard to
// letter case. BASE/AUTH_SERVER_PASS and METAPASS: the whole value is "********".
// BASE/AUTH_SERVER_LOC: where "pass=" (in any letter case) stands behind the first character, what
// follows it up to the first "," or "/", or to the end, is "********". Any other value comes back as
// it is, null as null. Null when memory runs out. Any thread may call.
KQB_API KqbString kqbMaskOptionValue(KqbString const &key, KqbString const &value);
