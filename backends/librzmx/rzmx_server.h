// The server in force and subjects, as the files of this back end share them.
#pragma once

#include <memory>
#include <string>

#include "backends/librzmx/rzmx_list.h"
#include "backends/librzmx/rzmx_location.h"

// Who signed on: at a directory with an entry and a password, else as the process's account.
struct dkSubject {
    rzmx::Facts facts;
    std::shared_ptr<rzmx::Location const> location;  // null: this machine
    std::string entry;
    rzmx::Secret password;
};

namespace rzmx {

// The location in force; null for this machine. Throws Failure while a location is refused.
std::shared_ptr<Location const> locationInForce();

}  // namespace rzmx
