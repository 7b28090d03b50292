// The module itself.
#include "backends/librzmx/ldap/ldap_directory.h"
#include "backends/librzmx/rzmx_directory.h"

extern "C" [[gnu::visibility("default")]] rzmx::DirectoryFunctions const *rzmxDirectoryFunctions() {
    static constexpr rzmx::DirectoryFunctions table = {rzmx::listFromDirectory,
                                                       rzmx::signOnAtDirectory};
    return &table;
}
