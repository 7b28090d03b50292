// Destinations over log4cplus: a configuration file becomes a logger hierarchy of its own, closed
// when the sink ends. What the host does with the default hierarchy is not touched.
#include <log4cplus/configurator.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/spi/loggingevent.h>

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>

#include "backends/kqlog/kqlog_sink.h"

namespace log4cplus {
LOG4CPLUS_EXPORT void shutdownThreadPool();
}

namespace {

using namespace kqlog;
using log4cplus::helpers::Properties;

constexpr log4cplus::LogLevel kNoteLevel = 25000;
constexpr log4cplus::LogLevel kLevels[] = {
    log4cplus::NOT_SET_LOG_LEVEL, log4cplus::TRACE_LOG_LEVEL, log4cplus::INFO_LOG_LEVEL, kNoteLevel,
    log4cplus::WARN_LOG_LEVEL,    log4cplus::ERROR_LOG_LEVEL};
constexpr char kRootKey[] = "log4cplus.rootLogger";
constexpr char kLoggerKeys[] = "log4cplus.logger.";

// The least of our levels that passes log4cplus's.
int levelFrom(log4cplus::LogLevel level) {
    if (level == log4cplus::NOT_SET_LOG_LEVEL) return kUnset;
    int own = kTrace;
    while (own <= kError && kLevels[own] < level) ++own;
    return own;
}

log4cplus::tstring const &noteToText(log4cplus::LogLevel level) {
    static log4cplus::tstring const note = "NOTE", unknown;
    return level == kNoteLevel ? note : unknown;
}

log4cplus::LogLevel noteFromText(log4cplus::tstring const &text) {
    return text == "NOTE" ? kNoteLevel : log4cplus::NOT_SET_LOG_LEVEL;
}

// log4cplus starts a pool of threads for asynchronous appending when it is loaded, and speaks to
// standard error of its own accord. We want neither; a host that uses log4cplus itself keeps both.
void settle(bool hostUsesIt) {
    log4cplus::getLogLevelManager().pushToStringMethod(noteToText);
    log4cplus::getLogLevelManager().pushFromStringMethod(noteFromText);
    if (hostUsesIt) return;
    log4cplus::shutdownThreadPool();
    log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
}

bool endsWith(std::string const &text, std::string_view end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.npos, end) == 0;
}

bool startsWith(std::string const &text, std::string_view begin) {
    return text.compare(0, begin.size(), begin) == 0;
}

// --- Before configuring ------------------------------------------------------------------------

// Asynchronous appending would use the pool that is no more.
void dropPoolProperties(Properties &properties) {
    properties.removeProperty("log4cplus.threadPoolSize");
    for (auto const &name : properties.propertyNames()) {
        if (endsWith(name, ".AsyncAppend")) properties.removeProperty(name);
    }
}

// log4cplus puts nothing for a variable that is not set, which would write to places that nobody
// meant.
bool findUnsetVariable(std::string const &text, std::string &variable) {
    for (auto at = text.find("${"); at != text.npos; at = text.find("${", at + 2)) {
        auto const end = text.find('}', at);
        if (end == text.npos) return false;
        variable = text.substr(at + 2, end - at - 2);
        if (std::getenv(variable.c_str()) == nullptr) return true;
    }
    return false;
}

bool areVariablesSet(Properties const &properties, Problems &problems) {
    std::string variable;
    for (auto const &name : properties.propertyNames()) {
        if (findUnsetVariable(name + ' ' + properties.getProperty(name), variable)) {
            problems.push_back("Logging configuration: the environment variable '" + variable +
                               "' is not set");
            return false;
        }
    }
    return true;
}

// --- After configuring -------------------------------------------------------------------------

// What log4cplus keeps to itself: whether a file could be opened.
struct FileState : log4cplus::FileAppenderBase {
    static bool isOpen(log4cplus::FileAppenderBase const &appender) {
        return (appender.*&FileState::out).good();
    }
    static std::string const &path(log4cplus::FileAppenderBase const &appender) {
        return appender.*&FileState::filename;
    }
};

bool isUsable(log4cplus::Appender const &appender, Problems &problems) {
    auto const *const file = dynamic_cast<log4cplus::FileAppenderBase const *>(&appender);
    if (file == nullptr || FileState::isOpen(*file)) return true;
    problems.push_back("Log file '" + FileState::path(*file) + "' cannot be written");
    return false;
}

// "LEVEL, name, name" of a logger's value.
void addListed(std::string const &value, std::set<std::string> &names) {
    std::istringstream list(value);
    std::string name;
    std::getline(list, name, ',');
    while (std::getline(list, name, ',')) {
        auto const from = name.find_first_not_of(" \t\r");
        if (from == name.npos) continue;
        names.insert(name.substr(from, name.find_last_not_of(" \t\r") + 1 - from));
    }
}

std::set<std::string> listedAppenders(Properties const &properties) {
    std::set<std::string> names;
    for (auto const &key : properties.propertyNames()) {
        if (key == kRootKey || startsWith(key, kLoggerKeys)) {
            addListed(properties.getProperty(key), names);
        }
    }
    return names;
}

// Whether any destination can be used; the others are reported.
bool checkAppenders(log4cplus::Hierarchy &hierarchy, Properties const &properties,
                    Problems &problems) {
    auto missing = listedAppenders(properties);
    std::set<log4cplus::Appender *> seen;
    bool usable = false;
    auto loggers = hierarchy.getCurrentLoggers();
    loggers.push_back(hierarchy.getRoot());
    for (auto &logger : loggers) {
        for (auto const &appender : logger.getAllAppenders()) {
            missing.erase(appender->getName());
            if (!seen.insert(appender.get()).second) continue;
            usable = isUsable(*appender, problems) || usable;
        }
    }
    for (auto const &name : missing) {
        problems.push_back("Log destination '" + name + "' cannot be made");
    }
    return usable;
}

// --- The sink ----------------------------------------------------------------------------------

class Log4cplusSink final : public Sink {
public:
    bool configure(Properties const &properties, Problems &problems) {
        log4cplus::PropertyConfigurator(properties, hierarchy_).configure();
        return checkAppenders(hierarchy_, properties, problems);
    }

    ~Log4cplusSink() override { hierarchy_.shutdown(); }

    int levelOf(std::string const &logger) const noexcept override try {
        if (logger.empty()) return levelFrom(hierarchy_.getRoot().getLogLevel());
        if (!hierarchy_.exists(logger)) return kUnset;
        return levelFrom(hierarchy_.getInstance(logger).getLogLevel());
    } catch (...) {
        return kUnset;
    }

    // Whether a record passes its logger was decided before; only appenders may still refuse it.
    void write(Record const &record) noexcept override try {
        auto const logger =
            record.logger[0] != '\0' ? hierarchy_.getInstance(record.logger) : hierarchy_.getRoot();
        logger.callAppenders(record.origin == nullptr ? presentEvent(record) : pastEvent(record));
    } catch (...) {
    }

private:
    using Event = log4cplus::spi::InternalLoggingEvent;

    static Event presentEvent(Record const &record) {
        return {record.logger, kLevels[record.level], record.text, record.source, record.line};
    }

    static Event pastEvent(Record const &record) {
        Origin const &origin = *record.origin;
        return {record.logger,
                kLevels[record.level],
                "",
                {},
                record.text,
                std::to_string(origin.thread),
                std::to_string(origin.task),
                std::chrono::time_point_cast<log4cplus::helpers::Duration>(origin.time),
                record.source,
                record.line};
    }

    mutable log4cplus::Hierarchy hierarchy_;  // its look-ups are not const
};

Sink *open(char const *path, Problems &problems) {
    if (!std::ifstream(path).good()) {
        problems.push_back(std::string("Logging configuration '") + path + "' cannot be read");
        return nullptr;
    }
    Properties properties{log4cplus::tstring(path)};
    dropPoolProperties(properties);
    if (!areVariablesSet(properties, problems)) return nullptr;
    auto sink = std::make_unique<Log4cplusSink>();
    if (sink->configure(properties, problems)) return sink.release();
    problems.push_back(std::string("Logging configuration '") + path + "' names no destination " +
                       "that can be used");
    return nullptr;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) Sink *kqlogOpenConfigured(char const *path,
                                                                            bool hostUsesIt,
                                                                            Problems *problems) {
    try {
        static std::once_flag once;
        std::call_once(once, settle, hostUsesIt);
        return open(path, *problems);
    } catch (...) {
        return nullptr;
    }
}
