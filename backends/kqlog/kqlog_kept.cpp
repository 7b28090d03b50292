#include "backends/kqlog/kqlog_kept.h"

#include <pthread.h>
#include <unistd.h>

#include <cstring>
#include <utility>

namespace kqlog {

bool KeptRecords::add(KqLogger const *logger, Record const &record) {
    std::lock_guard const lock(mutex_);
    std::size_t const bytes = sizeof(KeptRecord) + std::strlen(record.logger) +
                              std::strlen(record.source) + std::strlen(record.text);
    std::size_t const quarters = record.level < kWarning ? 3 : 4;
    bool const fits =
        records_.size() < kMaxRecords / 4 * quarters && bytes_ + bytes <= kMaxBytes / 4 * quarters;
    if (!fits) {
        ++dropped_;
        return false;
    }
    Origin const origin = {std::chrono::system_clock::now(), pthread_self(), ::gettid()};
    records_.push_back(
        {logger, record.logger, record.level, record.source, record.line, record.text, origin});
    bytes_ += bytes;
    return true;
}

std::vector<KeptRecord> KeptRecords::take(std::size_t *dropped) {
    std::lock_guard const lock(mutex_);
    *dropped = std::exchange(dropped_, 0);
    bytes_ = 0;
    return std::exchange(records_, {});
}

}  // namespace kqlog
