#include "kqb/kqblog.h"

#include "platform/kqlog.h"

namespace {

char const *orEmpty(char const *text) { return text != nullptr ? text : ""; }

}  // namespace

void kqbLogMessage(char const *logger, int level, char const *source, int line, char const *text) {
    kqlogGetLogger(orEmpty(logger))->write(level, orEmpty(source), line, orEmpty(text));
}
