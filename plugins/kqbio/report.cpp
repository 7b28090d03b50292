#include "plugins/kqbio/report.h"

#include <cstdio>

#include "kqb/kqbmodules.h"

namespace kqbio {

namespace {

KqbString quoted(char const *before, KqbString const &name) {
    KqbString subject(before);
    subject.append(name).append("'");
    return subject;
}

}  // namespace

bool Report::tell(char const *what, char const *reason) {
    return join({"Cannot ", what, " ", subject_.asCstr(), ": ", reason});
}

bool Report::tellAtLine(long long line, char const *reason) {
    char number[24];
    std::snprintf(number, sizeof number, "%lld", line);
    return join({"Cannot read ", subject_.asCstr(), ", line ", number, ": ", reason});
}

bool Report::noMemory() {
    text_ = KqbString(kKqbOutOfMemory, true);  // borrowed: this one must not need memory
    return false;
}

bool Report::join(std::initializer_list<char const *> parts) {
    KqbString text;
    bool error = false;
    for (char const *part : parts) {
        text.append(part, &error);
        if (error) return noMemory();
    }
    text_ = text;
    return false;
}

KqbString subjectOfPath(KqbString const &path) { return quoted("'", path); }

KqbString subjectOfStream(KqbString const &name) {
    return name.cStrSize() > 1 ? quoted("the stream '", name) : KqbString("the stream");
}

}  // namespace kqbio
