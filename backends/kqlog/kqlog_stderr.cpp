// Standard error as a destination: no third-party library is loaded for it, since it is what most
// processes use.
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "backends/kqlog/kqlog_sink.h"

namespace kqlog {

namespace {

char const *const kLevelNames[] = {"", "TRACE ", "INFO  ", "NOTE  ", "WARN  ", "ERROR "};

iovec piece(char const *text) { return {const_cast<char *>(text), std::strlen(text)}; }

class StandardError final : public Sink {
public:
    int levelOf(std::string const &logger) const noexcept override {
        return logger.empty() ? kWarning : kUnset;
    }

    // One call for the whole line, so that lines of several threads and processes do not mix.
    void write(Record const &record) noexcept override {
        char place[16];
        std::snprintf(place, sizeof place, ":%d)\n", record.line);
        iovec const line[] = {piece(kLevelNames[record.level]),
                              piece(record.logger),
                              piece(" - "),
                              piece(record.text),
                              piece(" ("),
                              piece(record.source),
                              piece(place)};
        [[maybe_unused]] auto const written = ::writev(STDERR_FILENO, line, std::size(line));
    }
};

}  // namespace

std::unique_ptr<Sink> openStandardError() { return std::make_unique<StandardError>(); }

}  // namespace kqlog
