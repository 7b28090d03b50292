#include "backends/librzmx/ldap/ldap_entry.h"

#include <algorithm>
#include <new>

namespace rzmx {

namespace {

constexpr std::string_view kDn = "dn", kDnsDomain = "dnsdomain";

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

struct FreeMemory {
    void operator()(void *memory) const { ber_memfree(memory); }
};
struct FreeElement {
    void operator()(BerElement *element) const { ber_free(element, 0); }
};

// "dc=example,dc=com" is "example.com".
std::string domainOf(std::string_view dn) {
    char *text = nullptr;
    if (ldap_dn2domain(std::string(dn).c_str(), &text) != LDAP_SUCCESS || text == nullptr)
        return {};
    std::unique_ptr<char, FreeMemory> const owner(text);
    return text;
}

}  // namespace

bool equalNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) { return lower(x) == lower(y); });
}

Names namesFrom(std::string_view text) {
    Names names;
    while (!text.empty()) {
        std::size_t const end = std::min(text.find(','), text.size());
        if (end > 0) names.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return names;
}

bool isAttribute(std::string_view name) {
    return !equalNoCase(name, kDn) && !equalNoCase(name, kDnsDomain);
}

void Entry::read(LDAPMessage *message) {
    clear();
    BerElement *raw = nullptr;
    berval dn{};
    if (ldap_get_dn_ber(handle_, message, &raw, &dn) != LDAP_SUCCESS) {
        throw Failure("The directory answered with an entry that cannot be read.");
    }
    std::unique_ptr<BerElement, FreeElement> const element(raw);
    dn_ = view(dn);
    for (;;) {
        // Room first: what was read needs an owner.
        attributes_.reserve(attributes_.size() + 1 > attributes_.capacity()
                                ? attributes_.size() * 2 + 8
                                : attributes_.size());
        berval name{};
        berval *values = nullptr;
        int const result = ldap_get_attribute_ber(handle_, message, raw, &name, &values);
        if (result != LDAP_SUCCESS || name.bv_val == nullptr) return;
        attributes_.push_back({view(name), values});
    }
}

void Entry::clear() {
    for (Attribute const &attribute : attributes_) ber_memfree(attribute.values);
    attributes_.clear();
}

Entry::Attribute const *Entry::find(std::string_view name) const {
    for (Attribute const &attribute : attributes_) {
        bool const has = attribute.values != nullptr && attribute.values->bv_val != nullptr;
        if (has && equalNoCase(attribute.name, name)) return &attribute;
    }
    return nullptr;
}

Text Entry::first(Names const &names) const {
    for (std::string const &name : names) {
        if (equalNoCase(name, kDn)) return dn_;
        if (equalNoCase(name, kDnsDomain)) {
            domain_ = domainOf(dn_);
            if (!domain_.empty()) return domain_;
        } else if (Attribute const *const attribute = find(name)) {
            return view(attribute->values[0]);
        }
    }
    return {};
}

bool Entry::hasValue(std::string_view name, Names const &values) const {
    Attribute const *const attribute = find(name);
    if (attribute == nullptr) return false;
    for (berval const *value = attribute->values; value->bv_val != nullptr; ++value) {
        for (std::string const &wanted : values) {
            if (equalNoCase(view(*value), wanted)) return true;
        }
    }
    return false;
}

}  // namespace rzmx
