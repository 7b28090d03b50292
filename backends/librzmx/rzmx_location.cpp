#include "backends/librzmx/rzmx_location.h"

#include <algorithm>
#include <charconv>

#include "backends/librzmx/rzmx_list.h"

namespace rzmx {

namespace {

enum class Kind { kText, kSwitch, kNumber };

struct Option {
    std::string_view name;
    std::string_view standard;
    Kind kind = Kind::kText;
};

// In the order of Setting.
constexpr Option kOptions[] = {
    {"starttls", "yes", Kind::kSwitch},
    {"verify", "yes", Kind::kSwitch},
    {"cacert", ""},
    {"timeout", "15", Kind::kNumber},
    {"timelimit", "120", Kind::kNumber},
    {"pagesize", "1000", Kind::kNumber},
    {"domains.class", "domain,dcObject,domainDNS"},
    {"domains.filter", ""},
    {"domains.name", "associatedDomain,dnsdomain,dn"},
    {"domains.description", "description"},
    {"domains.partoflogin", "no", Kind::kSwitch},
    {"domains.casesensitive", "no", Kind::kSwitch},
    {"domains.upn", "no", Kind::kSwitch},
    {"users.class", "inetOrgPerson,posixAccount"},
    {"users.filter", ""},
    {"users.name", "uid,cn,dn"},
    {"users.id", "uidNumber,entryUUID,dn"},
    {"users.description", "displayName,gecos,cn,description"},
    {"users.group", "gidNumber"},
    {"groups.class", "groupOfNames,groupOfUniqueNames,posixGroup,group"},
    {"groups.filter", ""},
    {"groups.name", "cn,dn"},
    {"groups.id", "gidNumber,entryUUID,dn"},
    {"groups.description", "description"},
    {"groups.member", "member,uniqueMember"},
    {"groups.membername", "memberUid"},
    {"groups.number", "gidNumber"},
    {"maps.class", "organizationalRole"},
    {"maps.filter", ""},
    {"maps.name", "cn,dn"},
    {"maps.id", "entryUUID,dn"},
    {"maps.description", "description"},
    {"maps.consumer", "roleOccupant"},
    {"servers.class", "ipService"},
    {"servers.filter", ""},
    {"servers.name", "cn,dn"},
    {"servers.description", "description"},
    {"servers.protocol", "ipServiceProtocol"},
    {"servers.host", "host,ipHostNumber"},
    {"servers.port", "ipServicePort"},
    {"servers.domain", "associatedDomain"},
    {"servers.type", "authenticationMethod"},
    {"servers.proxyurl", "labeledURI"},
};
static_assert(std::size(kOptions) == static_cast<std::size_t>(Setting::kCount));

constexpr char kPasswordMark[] = "pass=";

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool equalNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

bool startsNoCase(std::string_view text, std::string_view start) {
    return equalNoCase(text.substr(0, start.size()), start);
}

[[noreturn]] void fail(std::string const &text) {
    throw Failure("The authentication server location " + text + ".");
}

std::string_view withoutLeadingBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

// Cuts text at the first mark and returns what stood before it.
std::string_view cut(std::string_view &text, std::string_view mark) {
    std::size_t const end = std::min(text.find(mark), text.size());
    std::string_view const part = text.substr(0, end);
    text.remove_prefix(std::min(end + mark.size(), text.size()));
    return part;
}

// Replaces percent-escapes in place; returns the new size.
std::size_t unescape(char *text, std::size_t size) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < size; ++i) {
        unsigned char byte = 0;
        if (text[i] == '%') {
            char const *const digits = text + i + 1;
            bool const isWhole =
                i + 2 < size && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
            if (!isWhole || byte == 0) fail("has a percent sign that begins no escape");
            i += 2;
            text[end++] = static_cast<char>(byte);
        } else {
            text[end++] = text[i];
        }
    }
    return end;
}

std::string unescaped(std::string_view text) {
    std::string result(text);
    result.resize(unescape(result.data(), result.size()));
    return result;
}

Secret unescapedSecret(std::string_view text) {
    if (text.find_first_of(",/") != text.npos) {
        fail("has a password with a comma or slash, which must be written %2C and %2F");
    }
    Secret secret(text);
    secret.shorten(unescape(secret.data(), text.size()));
    return secret;
}

// What logs show of a location hides what follows the first mark and nothing else.
void checkPasswordMarks(std::string_view text) {
    int marks = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (startsNoCase(text.substr(i), kPasswordMark)) ++marks;
    }
    if (marks > 1) fail("has \"pass=\" in more than one place");
}

bool isUri(std::string_view text) {
    return startsNoCase(text, "ldap://") || startsNoCase(text, "ldaps://") ||
           startsNoCase(text, "ldapi://");
}

// "ldap://host:389/base"
void addUri(Location &location, std::string_view text) {
    if (!isUri(text)) fail("does not begin with ldap://, ldaps:// or ldapi://");
    if (text.find_first_of("?#") != text.npos) fail("has a query or fragment");
    std::size_t const host = text.find("//") + 2;
    std::size_t const end = std::min(text.find('/', host), text.size());
    if (!location.uris.empty()) location.uris += ' ';
    location.uris += text.substr(0, end);
    if (end < text.size()) location.base = unescaped(text.substr(end + 1));
}

std::string checked(Option const &option, std::string value) {
    auto const refuse = [&](char const *what) {
        fail("has an option \"" + std::string(option.name) + "\" that is not " + what);
    };
    if (option.kind == Kind::kSwitch) {
        for (char &c : value) c = lower(c);
        if (value != "yes" && value != "no") refuse("yes or no");
    }
    int number = 0;
    char const *const end = value.data() + value.size();
    if (option.kind == Kind::kNumber &&
        (std::from_chars(value.data(), end, number).ptr != end || number < 1 || number > 86400)) {
        refuse("a number from 1 to 86400");
    }
    return value;
}

void setOption(Location &location, std::string_view name, std::string_view value) {
    if (equalNoCase(name, "user")) {
        location.user = unescaped(value);
    } else if (equalNoCase(name, "pass")) {
        location.password = unescapedSecret(value);
    } else {
        auto const *const option =
            std::find_if(std::begin(kOptions), std::end(kOptions),
                         [&](Option const &each) { return equalNoCase(each.name, name); });
        if (option == std::end(kOptions)) fail("has an unknown option");
        auto const place = static_cast<std::size_t>(option - std::begin(kOptions));
        location.settings[place] = checked(*option, unescaped(value));
    }
}

}  // namespace

Location parseLocation(std::string_view text) {
    Location location;
    for (std::size_t i = 0; i < std::size(kOptions); ++i) {
        location.settings[i] = kOptions[i].standard;
    }
    checkPasswordMarks(text);
    std::string_view uris = withoutLeadingBlanks(cut(text, ";"));
    if (uris.empty()) fail("is empty");
    while (!uris.empty()) {
        addUri(location, cut(uris, " "));
        uris = withoutLeadingBlanks(uris);
    }
    while (!text.empty()) {
        std::string_view value = cut(text, ";");
        // Logs know a password by the "=" right behind its name.
        std::string_view const name = withoutLeadingBlanks(cut(value, "="));
        if (!name.empty()) setOption(location, name, value);
    }
    return location;
}

}  // namespace rzmx
