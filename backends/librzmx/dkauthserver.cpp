// The authenticating server's location. No kind of server is built in, so none can be set.
#include "backends/text_buffer.h"
#include "platform/librzmx.h"

namespace {

constexpr int kNotSet = 2;

}  // namespace

int dkSetAuthServerLoc(char const *location, char const * /*reposName*/, char const * /*user*/,
                       char const * /*password*/, int /*sspi*/, char *error, int size,
                       char const **profileName) {
    if (profileName != nullptr) *profileName = nullptr;
    bool const isEmpty = location == nullptr || *location == '\0';
    kqbackend::copyText(isEmpty ? "The authentication server location is empty."
                                : "Directory servers are not supported by this build.",
                        error, size);
    return kNotSet;
}
