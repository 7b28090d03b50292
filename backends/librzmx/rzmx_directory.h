// Lists from a directory. All of it lies in a module that is loaded when the first is asked for: most
// processes never ask, and the client brings a security library along.
#pragma once

#include "backends/librzmx/rzmx_server.h"

namespace rzmx {

// What the module exports. They throw Failure and std::bad_alloc.
struct DirectoryFunctions {
    // subject may be null.
    void (*list)(Location const &location, dkSubject const *subject, Request const &request,
                 List &list);
    // Fills facts and entry when the directory accepts the password.
    void (*signOn)(Location const &location, std::string_view user, Secret const &password,
                   std::string_view domain, dkSubject &subject);
};

constexpr char kDirectoryTable[] = "rzmxDirectoryFunctions";
using DirectoryTable = DirectoryFunctions const *();

// Loads the module if need be; throws Failure when that is not possible.
DirectoryFunctions const &directory();

}  // namespace rzmx
