// The location of a directory, taken apart.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "backends/librzmx/rzmx_secret.h"

namespace rzmx {

// What a location's options can set, in the order of the table in rzmx_location.cpp. "Names" are
// attributes of which the first that an entry has counts; "classes" are values of objectClass.
enum class Setting {
    kStartTls,
    kVerify,
    kCaCert,
    kTimeout,    // seconds that an answer may take
    kTimeLimit,  // seconds that a list may take
    kPageSize,   // entries the server is asked for at a time
    kDomainClass,
    kDomainFilter,
    kDomainName,
    kDomainDescription,
    kDomainPartOfLogin,
    kDomainCaseSensitive,
    kDomainUpn,
    kUserClass,
    kUserFilter,
    kUserName,
    kUserId,
    kUserDescription,
    kUserGroup,  // the number of a user's own group
    kGroupClass,
    kGroupFilter,
    kGroupName,
    kGroupId,
    kGroupDescription,
    kGroupMember,      // names of members' entries
    kGroupMemberName,  // login names of members
    kGroupNumber,      // what kUserGroup refers to
    kMapClass,
    kMapFilter,
    kMapName,
    kMapId,
    kMapDescription,
    kMapConsumer,  // names of consumers' entries
    kServerClass,
    kServerFilter,
    kServerName,
    kServerDescription,
    kServerProtocol,
    kServerHost,
    kServerPort,
    kServerDomain,
    kServerType,
    kServerProxyUrl,
    kCount,
};

struct Location {
    std::string uris;  // without bases, parted by blanks
    std::string base;
    std::string user;
    Secret password;
    bool ownCredentials = false;
    std::array<std::string, static_cast<std::size_t>(Setting::kCount)> settings;

    std::string const &text(Setting setting) const {
        return settings[static_cast<std::size_t>(setting)];
    }
    bool isOn(Setting setting) const { return text(setting) == "yes"; }
    int number(Setting setting) const { return std::stoi(text(setting)); }
};

// Throws Failure with a text that quotes no value.
Location parseLocation(std::string_view text);

}  // namespace rzmx
