// The bundles of one message location.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kqmsg {

// The texts of one catalogue in one locale.
class Bundle {
public:
    // Of what a bundle's file holds; none of nothing.
    explicit Bundle(std::string bytes);

    // The text of a number, in UTF-8; without data when there is none.
    std::string_view find(int number) const;

private:
    struct Entry {
        int number;
        std::size_t place;
        std::size_t size;
    };
    void readLine(std::size_t place, std::string_view line);

    std::string bytes_;
    std::vector<Entry> entries_;  // by number
};

// Reads bundles when first asked and keeps them. One thread at a time. May throw std::bad_alloc.
class Catalogs {
public:
    // location is absolute.
    explicit Catalogs(std::string location) : location_(std::move(location)) {}

    // The text of a number in exactly this bundle. False when there is none.
    bool find(std::string const &folder, std::string const &locale, int number, std::string *text);

private:
    Bundle const &bundle(std::string const &folder, std::string const &locale);

    std::string location_;
    std::map<std::pair<std::string, std::string>, Bundle> bundles_;
};

}  // namespace kqmsg
