// What went wrong with one text file, in words.
#pragma once

#include <initializer_list>

#include "kqb/kqbstring.h"
#include "platform/kqsfio.h"

namespace kqbio {

// Holds the text of the last failure. Every operation that tells a failure returns false, so a
// caller can tell and fail in one statement. Texts read "Cannot read '/x/y', line 3: reason".
class Report {
public:
    // subject: how the file is named in texts, quotes included.
    explicit Report(KqbString const &subject) : subject_(subject) {}

    KqbString const &text() const { return text_; }

    bool tell(char const *what, char const *reason);
    bool tell(char const *what, np_fio_error code) { return tell(what, np_fio_errdesc(code)); }
    // The text that a stream gives, or the reason where it gives none.
    bool tell(char const *what, KqbString const &own, char const *reason) {
        return tell(what, own.cStrSize() > 1 ? own.asCstr() : reason);
    }
    bool tellAtLine(long long line, char const *reason);
    bool noMemory();

private:
    bool join(std::initializer_list<char const *> parts);

    KqbString subject_;
    KqbString text_;
};

// The subject of a report on a path, and on a stream of that name (which may be empty).
KqbString subjectOfPath(KqbString const &path);
KqbString subjectOfStream(KqbString const &name);

}  // namespace kqbio
