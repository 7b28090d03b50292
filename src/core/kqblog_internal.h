// Log records with their text formatted only when somebody listens.
#pragma once

#include "kqb/kqbstringformat.h"
#include "platform/kqlog.h"

// Writes kqbStringFormat(format, arguments...) to logger at level, with a source name and line.
template <class... Arguments>
void kqbLog(KqLogger *logger, int level, char const *source, int line, char const *format,
            Arguments const &...arguments) {
    if (!logger->isEnabled(level)) return;
    if constexpr (sizeof...(Arguments) == 0) {
        logger->write(level, source, line, format);
    } else {
        logger->write(level, source, line, kqbStringFormat(format, arguments...).asCstr());
    }
}
