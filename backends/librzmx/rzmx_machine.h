// Lists from the account database of this machine.
#pragma once

#include "backends/librzmx/rzmx_list.h"

namespace rzmx {

// Throws Failure. An empty name in the request is that of the process's account.
void listFromMachine(Request const &request, List &list);

// The account that this process runs under.
Facts processAccount();

}  // namespace rzmx
