// The lists that the contract hands out.
#pragma once

#include "backends/librzmx/rzmx_list.h"
#include "platform/librzmxlists.h"

// A kind of list is a list with so many texts in a row.
struct asDomains : rzmx::List {
    asDomains() : List(2) {}
};
struct asSubjects : rzmx::List {
    asSubjects() : List(3) {}
};
struct asGroups : rzmx::List {
    asGroups() : List(3) {}
};
struct asPmaps : rzmx::List {
    asPmaps() : List(3) {}
};
struct asMembers : rzmx::List {
    asMembers() : List(2) {}
};
struct asServers : rzmx::List {
    asServers() : List(8) {}
};
