// Records made before logging is configured.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "backends/kqlog/kqlog_sink.h"
#include "platform/kqlog.h"

namespace kqlog {

struct KeptRecord {
    KqLogger const *logger;
    std::string name;
    int level;
    std::string source;
    int line;
    std::string text;
    Origin origin;

    Record record() const {
        return {level, name.c_str(), source.c_str(), line, text.c_str(), &origin};
    }
};

// Any thread may add.
class KeptRecords {
public:
    static constexpr std::size_t kMaxRecords = 1000;
    static constexpr std::size_t kMaxBytes = 256 * 1024;

    // False when the record had to be dropped: the bound is reached. Records below warnings may
    // fill three quarters of it, so that they never crowd out what matters most.
    bool add(KqLogger const *logger, Record const &record);

    // Hands over all records in their order and begins anew. *dropped tells how many were lost.
    std::vector<KeptRecord> take(std::size_t *dropped);

private:
    std::mutex mutex_;
    std::vector<KeptRecord> records_;
    std::size_t bytes_ = 0;
    std::size_t dropped_ = 0;
};

}  // namespace kqlog
