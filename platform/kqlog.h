// Logging: dotted loggers with inherited levels, one configuration file for all.
//
// General rules
// - Nothing throws and nothing fails loudly: a record that cannot be written is dropped.
// - Levels: 1 trace, 2 information, 3 note, 4 warning, 5 error. A logger passes records at or
//   above its level. 0 means: take the level of the nearest parent that has one.
// - Any thread may use any logger at any time between kqlogInitialize and kqlogTerminate.
//   Outside that time loggers exist and drop everything.
#pragma once

// A logger lives as long as the process; pointers to it are never freed by callers.
class KqLogger {
public:
    // The level in force, inherited where the logger has none of its own. Cheap: one load.
    virtual int getLevel() const = 0;

    // Gives the logger a level of its own, 1 to 5, which goes before the configuration's, or 0 to
    // take the configuration's or inherit.
    virtual void setLevel(int level) = 0;

    // Writes one record if level is at or above the level in force. source names the source
    // file without its ending; text is UTF-8.
    virtual void write(int level, char const *source, int line, char const *text) = 0;

    bool isEnabled(int level) const { return level >= getLevel(); }

protected:
    ~KqLogger() = default;
};

// Brings logging up. Records made from now on are kept, up to a bound, until kqlogConfigure
// decides where they go. Returns 0 on success.
int kqlogInitialize();

// Reads the configuration file, replacing any configuration before it; null applies the default:
// warnings and errors go to standard error. Delivers the records kept so far.
// Returns 0, or non-zero when the file cannot be read, refers to an environment variable that is
// not set or names no usable destination; what was configured before then stays in force. The
// reason, and any destination of several that cannot be used, becomes a record of "KQ.Log".
int kqlogConfigure(char const *path);

// Delivers what is still kept, closes all destinations and forgets all levels.
void kqlogTerminate();

// The logger of a dotted name such as "KQ.Base"; never null.
KqLogger *kqlogGetLogger(char const *name);
