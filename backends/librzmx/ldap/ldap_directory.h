// The lists of a directory.
#pragma once

#include "backends/librzmx/ldap/ldap_search.h"

namespace rzmx {

// The functions of the module; see rzmx_directory.h.
void listFromDirectory(Location const &location, dkSubject const *subject, Request const &request,
                       List &list);
void signOnAtDirectory(Location const &location, std::string_view user, Secret const &password,
                       std::string_view domain, dkSubject &subject);

// The members of a group and the consumers of a login map (ldap_members.cpp).
void listMembers(Session &session, std::string_view groupId, Rows &rows);
void listConsumers(Session &session, std::string_view mapId, Rows &rows);

}  // namespace rzmx
