// The location in force, and subjects.
#include "backends/librzmx/rzmx_server.h"

#include <cstdlib>
#include <mutex>
#include <new>

#include "backends/librzmx/rzmx_directory.h"
#include "backends/librzmx/rzmx_machine.h"
#include "backends/text_buffer.h"
#include "platform/librzmx.h"

namespace {

using namespace rzmx;

constexpr int kNotSet = 2;

struct InForce {
    std::mutex mutex;
    std::shared_ptr<Location const> location;
    bool isRefused = false;  // there is none, although one was named
    std::string reason;
};
InForce &inForce() {
    // Never destroyed: threads may still list while the process ends.
    static InForce &only = *new InForce;
    return only;
}

void setInForce(std::shared_ptr<Location const> location) {
    InForce &now = inForce();
    std::lock_guard const guard(now.mutex);
    now.location = std::move(location);
    now.isRefused = false;
}

// Needs no memory: a location is refused at least without its reason.
void refuse() {
    InForce &now = inForce();
    std::lock_guard const guard(now.mutex);
    now.location = nullptr;
    now.isRefused = true;
    now.reason.clear();
}

void setReason(char const *reason) {
    InForce &now = inForce();
    std::lock_guard const guard(now.mutex);
    now.reason = reason;
}

std::string_view view(char const *text) { return text != nullptr ? text : ""; }

// What the location does not say itself comes from the settings. A password of the settings belongs
// to their user, not to another one that the location names.
void complete(Location &location, char const *base, char const *user, char const *password,
              int sspi) {
    if (location.base.empty()) location.base = view(base);
    bool const hasOwnUser = !location.user.empty();
    if (!hasOwnUser) location.user = view(user);
    bool const isSettingsUser = location.user == view(user);
    if (location.password.empty() && (!hasOwnUser || isSettingsUser)) {
        location.password = Secret(view(password));
    }
    location.ownCredentials = sspi != 0;
}

// Runs action, whose failure goes into error. True when it succeeds.
template <class Action>
bool attempt(Action const &action, char *error, int size) noexcept {
    try {
        action();
        return true;
    } catch (std::bad_alloc const &) {
        kqbackend::copyText("Memory ran out.", error, size);
    } catch (std::exception const &failure) {
        kqbackend::copyText(failure.what(), error, size);
    }
    return false;
}

void signOnHere(std::string_view user, std::string_view password, dkSubject &subject) {
    Facts facts = processAccount();
    if (!user.empty() && user != facts.name) {
        throw Failure(
            "Without a directory, only the account that this process runs under can sign "
            "on: '" +
            facts.name + "'.");
    }
    if (!password.empty()) {
        throw Failure(
            "The password of an account of this machine cannot be checked here; the "
            "process's own account signs on without one.");
    }
    subject.facts = std::move(facts);
}

void signOn(std::string_view user, std::string_view password, std::string_view domain,
            dkSubject &subject) {
    subject.location = locationInForce();
    if (subject.location == nullptr) return signOnHere(user, password, subject);
    // Servers take a name without a password for nobody in particular, and welcome it.
    if (user.empty()) throw Failure("A directory's users sign on with a name.");
    if (password.empty()) throw Failure("A directory's users sign on with a password.");
    subject.password = Secret(password);
    directory().signOn(*subject.location, user, subject.password, domain, subject);
}

char const *orNull(std::optional<std::string> const &text) {
    return text ? text->c_str() : nullptr;
}

}  // namespace

std::shared_ptr<Location const> rzmx::locationInForce() {
    InForce &now = inForce();
    std::lock_guard const guard(now.mutex);
    if (now.isRefused) {
        throw Failure(now.reason.empty() ? "The authentication server location was refused."
                                         : now.reason);
    }
    return now.location;
}

int dkSetAuthServerLoc(char const *location, char const *reposName, char const *user,
                       char const *password, int sspi, char *error, int size,
                       char const **profileName) {
    if (profileName != nullptr) *profileName = nullptr;
    char reason[512] = "";
    auto const set = [&] {
        refuse();
        auto parsed = std::make_shared<Location>(parseLocation(view(location)));
        complete(*parsed, reposName, user, password, sspi);
        setInForce(std::move(parsed));
    };
    if (attempt(set, reason, sizeof reason)) return 0;
    kqbackend::copyText(reason, error, size);
    attempt([&] { setReason(reason); }, nullptr, 0);
    return kNotSet;
}

void dkClearAuthServerLoc() {
    attempt([] { setInForce(nullptr); }, nullptr, 0);
}

int dkSubjectSignOn(char const *user, char const *password, char const *domain, char *error,
                    int size, dkSubject **subject) {
    *subject = nullptr;
    auto const make = [&] {
        auto made = std::make_unique<dkSubject>();
        signOn(view(user), view(password), view(domain), *made);
        *subject = made.release();
    };
    return attempt(make, error, size) ? 0 : 1;
}

char const *dkSubjectGetName(dkSubject const *subject) { return subject->facts.name.c_str(); }
char const *dkSubjectGetID(dkSubject const *subject) { return orNull(subject->facts.id); }
char const *dkSubjectGetDescription(dkSubject const *subject) {
    return orNull(subject->facts.description);
}
char const *dkSubjectGetDomain(dkSubject const *subject) {
    return subject->facts.domain.empty() ? nullptr : subject->facts.domain.c_str();
}

void dkSubjectDestroy(dkSubject *subject) { delete subject; }
