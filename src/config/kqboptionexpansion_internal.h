// KqbOptionExpansion: replaces the references in an option's value.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Marks both ends of a reference.
inline constexpr std::string_view kKqbReferenceMark = "%%";

// The expansion of one value. Always the leftmost reference is replaced, and what was put in is
// looked through in turn, together with the text behind it.
//
// The text is held in two halves. What stands in front of the place where a marker was last looked
// for is done: it holds no marker, and since markers are taken leftmost it cannot end in a "%" that
// would make one with what is put in behind it. What is to come stands at the end of a buffer with
// free room in front, so that a value is put before it without moving it. So each byte is looked at
// once, however many references a value has.
class KqbOptionExpansion {
public:
    // Bounds, so that an option which refers to itself comes to an end.
    static constexpr int kMaxReplacements = 10000;
    static constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

    explicit KqbOptionExpansion(std::string_view text) : buffer_(text) {}

    // Replaces references until there are none. lookUp(key, &value) gives a value, or false. The
    // result is false when a key is unknown or a bound was reached; text() is then what was reached,
    // the reference included. Throws std::bad_alloc.
    template <class LookUp>
    bool run(LookUp const &lookUp) {
        std::string_view key;
        std::string_view value;
        for (int i = 0; findReference(&key); ++i) {
            if (!lookUp(key, &value) || i == kMaxReplacements || !hasRoomFor(value)) return false;
            replaceReference(value);
        }
        return true;
    }

    std::string text() const { return done_ + std::string(rest()); }

private:
    std::string_view rest() const { return std::string_view(buffer_).substr(begin_); }
    bool findReference(std::string_view *key);
    bool hasRoomFor(std::string_view value) const {
        return done_.size() + rest().size() + value.size() <= kMaxBytes;
    }
    void replaceReference(std::string_view value);

    std::string done_;
    std::string buffer_;
    std::size_t begin_ = 0;  // of what is to come, in buffer_
    std::size_t open_ = 0;   // of the reference found last, from begin_
    std::size_t end_ = 0;
};
