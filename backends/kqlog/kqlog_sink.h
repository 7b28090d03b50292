// Where log records go: what a destination offers, and how to open the two there are.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace kqlog {

// Levels beside the five of the contract: none of its own, and above all of them.
constexpr int kUnset = 0;
constexpr int kTrace = 1;
constexpr int kWarning = 4;
constexpr int kError = 5;
constexpr int kNothing = 6;

// When and by whom a record was made that is delivered later than that.
struct Origin {
    std::chrono::system_clock::time_point time;
    unsigned long thread;  // as the threads library numbers it
    int task;              // as the kernel numbers it
};

struct Record {
    int level;  // 1 to 5
    char const *logger;
    char const *source;
    int line;
    char const *text;
    Origin const *origin;  // null: here and now
};

// Any thread may write; a record that cannot be written is dropped.
class Sink {
public:
    virtual ~Sink() = default;

    // The level that the configuration gives to the logger of this name ("" is the root, which
    // always has one); kUnset where it gives none.
    virtual int levelOf(std::string const &logger) const noexcept = 0;

    virtual void write(Record const &record) noexcept = 0;
};

// What went wrong, one text each; some of it may leave a usable sink.
using Problems = std::vector<std::string>;

// Warnings and errors to standard error.
std::unique_ptr<Sink> openStandardError();

// The destinations that a configuration file names; null when none of them can be used.
std::unique_ptr<Sink> openConfigured(char const *path, Problems &problems);

// What the module behind openConfigured exports under the name kOpenerName. hostUsesIt: the program
// has the module's logging library for purposes of its own, so its settings are not to be touched.
using Opener = Sink *(*)(char const *path, bool hostUsesIt, Problems *problems);
constexpr char kOpenerName[] = "kqlogOpenConfigured";

}  // namespace kqlog
