// What is asked of a directory: filters, the attributes of each kind of entry, entries by name or ID.
#pragma once

#include <optional>

#include "backends/librzmx/ldap/ldap_connection.h"

namespace rzmx {

// The settings that say what entries of a kind are.
struct Kind {
    Setting classes, filter, name, id, description;
    char const *singular;  // for people
};
inline constexpr Kind kDomainKind = {Setting::kDomainClass,       Setting::kDomainFilter,
                                     Setting::kDomainName,        Setting::kDomainName,
                                     Setting::kDomainDescription, "domain"};
inline constexpr Kind kUserKind = {Setting::kUserClass,       Setting::kUserFilter,
                                   Setting::kUserName,        Setting::kUserId,
                                   Setting::kUserDescription, "user"};
inline constexpr Kind kGroupKind = {Setting::kGroupClass,       Setting::kGroupFilter,
                                    Setting::kGroupName,        Setting::kGroupId,
                                    Setting::kGroupDescription, "group"};
inline constexpr Kind kMapKind = {Setting::kMapClass, Setting::kMapFilter,      Setting::kMapName,
                                  Setting::kMapId,    Setting::kMapDescription, "login map"};
inline constexpr Kind kServerKind = {Setting::kServerClass,       Setting::kServerFilter,
                                     Setting::kServerName,        Setting::kServerName,
                                     Setting::kServerDescription, "server"};

// An entry that was looked for, with what other questions need of it.
struct Found {
    std::string dn;
    Facts facts;
    std::string number;  // of its own group, or of the group
};

// --- Filters ----------------------------------------------------------------------------------

// "(attribute=value)", whatever the value holds.
std::string equalTo(std::string_view attribute, std::string_view value);
// "(|...)" of that for each attribute; empty where there is none.
std::string anyEqualTo(Names const &attributes, std::string_view value);

// --- Questions --------------------------------------------------------------------------------

// One conversation with a directory: signed on, with the base known.
class Session {
public:
    Session(Location const &location, Clock::time_point deadline)
        : location_(location), connection_(location, deadline) {}

    // Signs on with the subject's rights, or where that is null with the location's.
    void open(dkSubject const *subject);

    Connection &connection() { return connection_; }
    std::string const &base() const { return base_; }

    Names names(Setting setting) const { return namesFrom(location_.text(setting)); }
    bool isOn(Setting setting) const { return location_.isOn(setting); }
    // The attributes that these settings name.
    Names attributes(std::initializer_list<Setting> settings) const;

    // The filter of the kind, with a condition ("" or in parentheses) besides.
    std::string filter(Kind const &kind, std::string_view condition = {}) const;
    Query query(Kind const &kind, std::string_view condition,
                std::initializer_list<Setting> settings) const;

    // The one entry of that name, or ID; below base where that is given. A Failure when there is none
    // or more than one.
    Found byName(Kind const &kind, std::string_view name, std::string const &base = {});
    Found byId(Kind const &kind, std::string_view id);
    // The entry of that name; nothing when it cannot be seen.
    std::optional<Found> byDn(Kind const &kind, std::string const &dn);

    // The entry of a domain by its name; the base for "".
    std::string baseOf(std::string_view domain);

private:
    void signOn();
    void findBase();
    Found found(Kind const &kind, Entry const &entry) const;
    std::vector<Found> matches(Kind const &kind, std::string const &base,
                               std::string const &condition);
    Found only(Kind const &kind, std::string_view key, std::vector<Found> found);

    Location const &location_;
    Connection connection_;
    std::string base_;
};

}  // namespace rzmx
