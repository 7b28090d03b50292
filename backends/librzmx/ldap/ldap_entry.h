// What a directory answers with, read where it lies.
#pragma once

#include <ldap.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "backends/librzmx/rzmx_list.h"

namespace rzmx {

inline std::string_view view(berval const &value) { return {value.bv_val, value.bv_len}; }

bool equalNoCase(std::string_view a, std::string_view b);

// Attributes of which the first that an entry has counts, from a text such as "uid,cn,dn". Two are
// made of the entry's name: "dn" is that name, "dnsdomain" what its dc components say.
using Names = std::vector<std::string>;
Names namesFrom(std::string_view text);
bool isAttribute(std::string_view name);

// One entry at a time; what it gives is valid until the next.
class Entry {
public:
    explicit Entry(LDAP *handle) : handle_(handle) {}
    Entry(Entry const &) = delete;
    Entry &operator=(Entry const &) = delete;
    ~Entry() { clear(); }

    void read(LDAPMessage *message);

    std::string_view dn() const { return dn_; }

    struct Attribute {
        std::string_view name;  // as the server wrote it
        berval *values;         // ends with a null bv_val
    };
    // The attribute of that name; null where there is none.
    Attribute const *find(std::string_view name) const;
    std::vector<Attribute> const &attributes() const { return attributes_; }

    Text first(Names const &names) const;
    bool hasValue(std::string_view name, Names const &values) const;

private:
    void clear();

    LDAP *handle_;
    std::string_view dn_;
    std::vector<Attribute> attributes_;
    mutable std::string domain_;
};

}  // namespace rzmx
