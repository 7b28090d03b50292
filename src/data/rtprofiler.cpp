#include "kqb/rtprofiler.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "config/kqbmemory_internal.h"
#include "core/kqblog_internal.h"
#include "platform/kqssys.h"

namespace {

constexpr char kSource[] = "rtprofiler";
constexpr std::size_t kTagSize = 255;

struct Stretch {
    np_stamp start;
    np_stamp_span inner;  // what the stretches inside it took
};

struct Record {
    np_stamp_span time;
    unsigned int count;
};

using Records = std::map<std::string, Record, std::less<>>;

// Takes a thousand off a unit that reached it.
template <class Next>
void carry(short *unit, Next *next) {
    if (*unit < 1000) return;
    *unit = static_cast<short>(*unit - 1000);
    ++*next;
}

template <class Next>
void borrow(short *unit, Next *next) {
    if (*unit >= 0) return;
    *unit = static_cast<short>(*unit + 1000);
    --*next;
}

void add(np_stamp_span *sum, np_stamp_span const &span) {
    sum->seconds += span.seconds;
    sum->milliseconds = static_cast<short>(sum->milliseconds + span.milliseconds);
    sum->microseconds = static_cast<short>(sum->microseconds + span.microseconds);
    carry(&sum->microseconds, &sum->milliseconds);
    carry(&sum->milliseconds, &sum->seconds);
}

// Inner spans never add up to more than the outer one: each is cut to whole microseconds.
np_stamp_span less(np_stamp_span const &whole, np_stamp_span const &part) {
    np_stamp_span rest = {whole.seconds - part.seconds,
                          static_cast<short>(whole.milliseconds - part.milliseconds),
                          static_cast<short>(whole.microseconds - part.microseconds)};
    borrow(&rest.microseconds, &rest.milliseconds);
    borrow(&rest.milliseconds, &rest.seconds);
    return rest;
}

long long millisecondsOf(np_stamp_span const &span) {
    return span.seconds * 1000 + span.milliseconds;
}

int clamped(long long value) {
    return static_cast<int>(std::min<long long>(value, std::numeric_limits<int>::max()));
}

char const *orEmpty(char const *tag) { return tag != nullptr ? tag : ""; }

std::string_view cut(char const *tag) { return {orEmpty(tag), strnlen(orEmpty(tag), kTagSize)}; }

}  // namespace

class RTProfiler::State {
public:
    State() : logger(kqlogGetLogger("KQ.RTProfiler")) {}

    void push() {
        if (unkept_ > 0 || !kqbWithMemory([&] { open_.push_back({0, {}}); })) {
            ++unkept_;
            return;
        }
        open_.back().start = np_stamp_current();
    }

    // Ends the innermost stretch, which need not have been kept. False when there is none.
    bool pop(char const *tag) {
        np_stamp const now = np_stamp_current();
        if (unkept_ > 0) {
            --unkept_;
            return true;
        }
        if (open_.empty()) return false;
        np_stamp_span elapsed;
        np_stamp_diff(open_.back().start, now, &elapsed);
        np_stamp_span const own = less(elapsed, open_.back().inner);
        open_.pop_back();
        if (!open_.empty()) add(&open_.back().inner, elapsed);
        book(tag, own);
        return true;
    }

    void clear() {
        open_.clear();
        unkept_ = 0;
        records_.clear();
        position_ = records_.end();
        recent_.fill(nullptr);
    }

    char const *walk(bool first) {
        if (first) {
            position_ = records_.begin();
        } else if (position_ != records_.end()) {
            ++position_;
        }
        return position_ != records_.end() ? position_->first.c_str() : nullptr;
    }

    Records const &records() const { return records_; }

    unsigned int references = 1;
    KqLogger *const logger;

private:
    using Entry = Records::value_type;

    void book(char const *tag, np_stamp_span const &own) {
        Entry *&recent = recent_[reinterpret_cast<std::uintptr_t>(tag) / 8 % recent_.size()];
        if (recent == nullptr || std::strncmp(recent->first.c_str(), orEmpty(tag), kTagSize) != 0) {
            Entry *const entry = entryOf(cut(tag));
            if (entry == nullptr) return;
            recent = entry;
        }
        add(&recent->second.time, own);
        ++recent->second.count;
    }

    Entry *entryOf(std::string_view tag) {
        auto found = records_.find(tag);
        if (found == records_.end()) {
            kqbWithMemory([&] { found = records_.try_emplace(std::string(tag)).first; });
        }
        return found != records_.end() ? &*found : nullptr;
    }

    std::vector<Stretch> open_;
    unsigned int unkept_ = 0;  // innermost stretches for which there was no memory
    Records records_;
    Records::iterator position_ = records_.end();
    // Tags are mostly literals, so the same text comes from the same place. The place only says
    // where to look first; the text decides.
    std::array<Entry *, 16> recent_ = {};
};

RTProfiler::RTProfiler() : state_(nullptr) {
    kqbWithMemory([&] { state_ = new State; });
}

RTProfiler::RTProfiler(RTProfiler const &other) : state_(other.state_) {
    if (state_ != nullptr) ++state_->references;
}

RTProfiler &RTProfiler::operator=(RTProfiler const &other) {
    State *const old = state_;
    state_ = other.state_;
    if (state_ != nullptr) ++state_->references;
    if (old != nullptr && --old->references == 0) delete old;
    return *this;
}

RTProfiler::~RTProfiler() {
    if (state_ != nullptr && --state_->references == 0) delete state_;
}

void RTProfiler::enter() {
    if (state_ != nullptr) state_->push();
}

void RTProfiler::exit(char const *tag) {
    if (state_ == nullptr || state_->pop(tag)) return;
    kqbLog(state_->logger, 5, kSource, __LINE__, "Inconsistent profile entry/exit count for %s.",
           tag);
}

void RTProfiler::reset(char const *label) {
    if (state_ == nullptr) return;
    kqbLog(state_->logger, 1, kSource, __LINE__, "Profiler reset %s", label);
    state_->clear();
}

void RTProfiler::dump(char const *label) {
    if (state_ == nullptr || state_->logger->getLevel() > 1) return;
    kqbLog(state_->logger, 1, kSource, __LINE__, "Profiler dump %s", label);
    for (auto const &[tag, record] : state_->records()) {
        kqbLog(state_->logger, 1, kSource, __LINE__, "%s,%d,%d", tag.c_str(),
               millisecondsOf(record.time), record.count);
    }
}

bool RTProfiler::getData(char const *tag, int *milliseconds, int *count) {
    *milliseconds = *count = 0;
    if (state_ == nullptr) return false;
    auto const found = state_->records().find(cut(tag));
    if (found == state_->records().end()) return false;
    *milliseconds = clamped(millisecondsOf(found->second.time));
    *count = clamped(found->second.count);
    return true;
}

char const *RTProfiler::getId(bool first) {
    return state_ != nullptr ? state_->walk(first) : nullptr;
}
