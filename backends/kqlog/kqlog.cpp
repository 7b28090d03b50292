// The loggers and their levels, and the way of a record to where records go at the time.
//
// A logger's level in force is the first of these that there is: the level the program gave it, the
// level the configuration gives it, its parent's. Changes walk the whole table, so that asking is
// one load. The root takes the role of the configuration: before there is one it lets everything
// through, outside the logging life nothing.
#include "platform/kqlog.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <new>
#include <shared_mutex>
#include <utility>

#include "backends/kqlog/kqlog_kept.h"
#include "backends/kqlog/kqlog_sink.h"

namespace {

using namespace kqlog;

constexpr char kOwnName[] = "KQ.Log";

class Logger final : public KqLogger {
public:
    explicit Logger(Logger *parent) : parent_(parent) {}

    int getLevel() const override { return inForce_.load(std::memory_order_relaxed); }
    void setLevel(int level) override;
    void write(int level, char const *source, int line, char const *text) override;

private:
    friend class Logging;

    void refresh() {
        int const level = own_ != kUnset          ? own_
                          : configured_ != kUnset ? configured_
                          : parent_ != nullptr    ? parent_->getLevel()
                                                  : kNothing;
        inForce_.store(level, std::memory_order_relaxed);
    }

    Logger *const parent_;
    char const *name_ = "";
    int own_ = kUnset;
    int configured_ = kUnset;
    std::atomic<int> inForce_{kNothing};
};

// The process's one logging service. Locks are taken in the order of their declaration.
class Logging {
public:
    void initialize();
    bool configure(char const *path);
    void terminate();
    Logger *find(std::string const &name);
    void setLevel(Logger &logger, int level);
    void write(Logger const &logger, Record const &record);
    Logger &root() { return root_; }

private:
    bool isUp();
    bool install(std::unique_ptr<Sink> sink);
    void setRootLevel(int level);
    void applySinkLevels();
    void forgetLevels();
    void refreshAll();
    void deliverKept();
    void deliverByDefault() noexcept;

    std::shared_mutex destination_;  // guards up_ and sink_
    bool up_ = false;
    std::unique_ptr<Sink> sink_;  // null: records are kept
    KeptRecords kept_;

    std::mutex table_;  // guards what follows, and every logger's levels
    Logger root_{nullptr};
    std::map<std::string, Logger> loggers_;  // a parent stands before its children
};

// Never destroyed, since loggers outlive everything.
Logging &logging() {
    alignas(Logging) static char storage[sizeof(Logging)];
    static auto *const service = new (storage) Logging;
    return *service;
}

void Logging::initialize() {
    std::unique_lock const lock(destination_);
    if (up_) return;
    up_ = true;
    setRootLevel(kTrace);
}

bool Logging::isUp() {
    std::shared_lock const lock(destination_);
    return up_;
}

bool Logging::configure(char const *path) {
    if (!isUp()) return false;
    Problems problems;
    auto sink = path == nullptr ? openStandardError() : openConfigured(path, problems);
    bool const done = sink != nullptr && install(std::move(sink));
    Logger *const own = find(kOwnName);
    for (auto const &problem : problems) {
        own->write(done ? kWarning : kError, "kqlog", __LINE__, problem.c_str());
    }
    return done;
}

bool Logging::install(std::unique_ptr<Sink> sink) {
    std::unique_lock const lock(destination_);
    if (!up_) return false;
    std::swap(sink_, sink);
    applySinkLevels();
    deliverKept();
    return true;
}

void Logging::terminate() {
    std::unique_lock const lock(destination_);
    if (!up_) return;
    up_ = false;
    forgetLevels();
    if (sink_ == nullptr) deliverByDefault();
    sink_.reset();
    forgetLevels();
}

void Logging::deliverByDefault() noexcept try {
    sink_ = openStandardError();
    applySinkLevels();
    deliverKept();
} catch (...) {
}

void Logging::deliverKept() {
    std::size_t dropped = 0;
    for (auto const &kept : kept_.take(&dropped)) {
        if (kept.logger->isEnabled(kept.level)) sink_->write(kept.record());
    }
    if (dropped == 0) return;
    char text[128];
    std::snprintf(text, sizeof text,
                  "Logging was configured late: %zu earlier records or more "
                  "were dropped",
                  dropped);
    sink_->write({kWarning, kOwnName, "kqlog", __LINE__, text, nullptr});
}

void Logging::setRootLevel(int level) {
    std::lock_guard const lock(table_);
    root_.configured_ = level;
    refreshAll();
}

void Logging::applySinkLevels() {
    std::lock_guard const lock(table_);
    root_.configured_ = sink_->levelOf("");
    for (auto &[name, logger] : loggers_) logger.configured_ = sink_->levelOf(name);
    refreshAll();
}

void Logging::forgetLevels() {
    std::lock_guard const lock(table_);
    root_.own_ = kUnset;
    root_.configured_ = kNothing;
    for (auto &[name, logger] : loggers_) logger.own_ = logger.configured_ = kUnset;
    refreshAll();
}

void Logging::refreshAll() {
    root_.refresh();
    for (auto &[name, logger] : loggers_) logger.refresh();
}

Logger *Logging::find(std::string const &name) {
    if (name.empty()) return &root_;
    {
        std::lock_guard const lock(table_);
        auto const known = loggers_.find(name);
        if (known != loggers_.end()) return &known->second;
    }
    auto const dot = name.rfind('.');
    Logger *const parent = dot == name.npos ? &root_ : find(name.substr(0, dot));
    std::shared_lock const destination(destination_);
    std::lock_guard const lock(table_);
    auto const [place, isNew] = loggers_.try_emplace(name, parent);
    Logger &logger = place->second;
    if (isNew) {
        logger.name_ = place->first.c_str();
        if (sink_ != nullptr) logger.configured_ = sink_->levelOf(name);
        logger.refresh();
    }
    return &logger;
}

void Logging::setLevel(Logger &logger, int level) {
    std::shared_lock const destination(destination_);
    if (!up_) return;
    std::lock_guard const lock(table_);
    logger.own_ = std::clamp(level, kUnset, kError);
    refreshAll();
}

void Logging::write(Logger const &logger, Record const &record) {
    std::shared_lock const lock(destination_);
    if (!up_) return;
    if (sink_ != nullptr) {
        sink_->write(record);
    } else if (!kept_.add(&logger, record)) {
        setRootLevel(kWarning);  // details would only be formatted to be dropped
    }
}

void Logger::setLevel(int level) { logging().setLevel(*this, level); }

void Logger::write(int level, char const *source, int line, char const *text) try {
    if (!isEnabled(level)) return;
    logging().write(
        *this, {std::clamp(level, kTrace, kError), name_, source != nullptr ? source : "", line,
                text != nullptr ? text : "", nullptr});
} catch (...) {
}

}  // namespace

int kqlogInitialize() try {
    logging().initialize();
    return 0;
} catch (...) {
    return 1;
}

int kqlogConfigure(char const *path) try { return logging().configure(path) ? 0 : 1; } catch (...) {
    return 1;
}

void kqlogTerminate() try { logging().terminate(); } catch (...) {
}

// Without memory for a new logger its records are the root's.
KqLogger *kqlogGetLogger(char const *name) try {
    return logging().find(name != nullptr ? name : "");
} catch (...) {
    return &logging().root();
}
