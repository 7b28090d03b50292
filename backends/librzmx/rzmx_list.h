// What every list is while it is made, and what is asked for. A directory's module sees this too.
#pragma once

#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace rzmx {

// Ends the making of a list, or a sign-on, with a text for people.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Text = std::optional<std::string_view>;

// Rows of so many texts, each of which may be absent, and a number. The texts lie behind one another
// in one piece of memory.
class Rows {
public:
    explicit Rows(std::size_t columns) : columns_(columns) {}

    void add(std::initializer_list<Text> texts, int number = 0) {
        for (Text const &text : texts) addText(text);
        numbers_.push_back(number);
    }
    void clear() {
        texts_.clear();
        places_.clear();
        numbers_.clear();
    }

    std::size_t count() const { return numbers_.size(); }
    char const *text(std::size_t row, std::size_t column) const {
        std::size_t const place = places_[row * columns_ + column];
        return place == kAbsent ? nullptr : texts_.data() + place;
    }
    int number(std::size_t row) const { return numbers_[row]; }

private:
    static constexpr std::size_t kAbsent = ~std::size_t{0};

    void addText(Text const &text) {
        places_.push_back(text ? texts_.size() : kAbsent);
        if (!text) return;
        std::string_view rest = *text;
        for (std::size_t nul; (nul = rest.find('\0')) != rest.npos; rest.remove_prefix(nul + 1)) {
            texts_.append(rest.substr(0, nul)).append("\uFFFD");
        }
        texts_.append(rest).push_back('\0');
    }

    std::size_t columns_;
    std::string texts_;
    std::vector<std::size_t> places_;
    std::vector<int> numbers_;
};

// The number of a domain's row.
enum DomainFlags { kPartOfLogin = 1, kCaseSensitive = 2, kUpn = 4 };

struct List {
    explicit List(std::size_t columns) : rows(columns) {}

    Rows rows;
    std::string note;  // why it could not be had, or what it leaves out
    bool failed = false;
    bool outOfMemory = false;
};

enum class Ask {
    kDomains,
    kSubjects,         // key: domain
    kGroups,           // key: domain
    kGroupsBySubject,  // key: name
    kGroupsBySubjectId,
    kGroupsByGroupId,
    kPmaps,
    kPmapsByUser,
    kPmapsByGroup,
    kMembersByGroupId,
    kConsumers,
    kServers,
};

struct Request {
    Ask ask;
    std::string_view key;  // an ID unless said otherwise; empty for all
};

// What is known of a subject.
struct Facts {
    std::string name;
    std::optional<std::string> id;
    std::optional<std::string> description;
    std::string domain;
};

}  // namespace rzmx
