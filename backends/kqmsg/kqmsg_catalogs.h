// The compiled bundles of one message location.
#pragma once

#include <unicode/ures.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

namespace kqmsg {

struct CloseBundle {
    void operator()(UResourceBundle *bundle) const { ures_close(bundle); }
};
using Bundle = std::unique_ptr<UResourceBundle, CloseBundle>;

// Opens bundles when first asked and keeps them. One thread at a time. May throw std::bad_alloc.
class Catalogs {
public:
    // location is absolute.
    explicit Catalogs(std::string location) : location_(std::move(location)) {}

    // The text of a number in exactly this bundle, in UTF-8. False when there is none.
    bool find(std::string const &folder, std::string const &locale, int number, std::string *text);

private:
    UResourceBundle *bundle(std::string const &folder, std::string const &locale);

    std::string location_;
    std::map<std::pair<std::string, std::string>, Bundle> bundles_;  // null: there is no such file
};

}  // namespace kqmsg
