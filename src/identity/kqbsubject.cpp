#include "kqb/kqbsubject.h"

#include <mutex>
#include <new>

#include "core/kqblog_internal.h"
#include "identity/kqbsubject_internal.h"
#include "platform/kqssys.h"
#include "platform/librzmx.h"

namespace {

constexpr char kSource[] = "kqbsubject";
constexpr int kReasonSize = 1024;
constexpr int kDomainSize = 512;

// Holds a new subject in the form that others can share.
using Subject = std::shared_ptr<dkSubject const>;

struct Current {
    std::mutex mutex;
    Subject subject;
};
constinit Current gCurrent;

Subject exchange(Subject subject) {
    std::lock_guard const guard(gCurrent.mutex);
    gCurrent.subject.swap(subject);
    return subject;
}

void fail(KqbString *error, char const *reason) {
    kqbLog(kqbIdentityLogger(), 3, kSource, __LINE__, "Sign-on failed (%s).", reason);
    if (error != nullptr) error->assign(reason);
}

Subject share(dkSubject *subject) {
    try {
        return Subject(subject, [](dkSubject const *each) {
            dkSubjectDestroy(const_cast<dkSubject *>(each));
        });
    } catch (std::bad_alloc const &) {
        return nullptr;  // the subject was destroyed
    }
}

KqbString read(char const *(*get)(dkSubject const *)) {
    Subject const subject = kqbCurrentSubject();
    return subject != nullptr ? KqbString(get(subject.get())) : KqbString();
}

}  // namespace

KqLogger *kqbIdentityLogger() { return kqlogGetLogger("KQ.Identity"); }

std::shared_ptr<dkSubject const> kqbCurrentSubject() {
    std::lock_guard const guard(gCurrent.mutex);
    return gCurrent.subject;
}

void kqbSubjectStop() {
    kqbSubjectSignOff();
    dkClearAuthServerLoc();
}

bool kqbSubjectSignOn(KqbString const &user, KqbString const &password, KqbString const &domain,
                      KqbString *error) {
    char reason[kReasonSize] = "";
    char standard[kDomainSize] = "";
    if (domain.length() == 0) np_env_get("AUTH_DEFAULT_DOMAIN", standard, sizeof standard);
    dkSubject *made = nullptr;
    int const result = dkSubjectSignOn(user.asCstr(), password.asCstr(),
                                       domain.length() > 0 ? domain.asCstr() : standard, reason,
                                       sizeof reason, &made);
    if (result != 0) {
        fail(error, reason);
        return false;
    }
    Subject subject = share(made);
    if (subject == nullptr) {
        fail(error, "Memory ran out.");
        return false;
    }
    kqbLog(kqbIdentityLogger(), 3, kSource, __LINE__, "%s signed on.",
           dkSubjectGetName(subject.get()));
    exchange(std::move(subject));
    return true;
}

void kqbSubjectSignOff() {
    Subject const subject = exchange(nullptr);
    if (subject == nullptr) return;
    kqbLog(kqbIdentityLogger(), 3, kSource, __LINE__, "%s signed off.",
           dkSubjectGetName(subject.get()));
}

bool kqbSubjectIsSignedOn() { return kqbCurrentSubject() != nullptr; }

KqbString kqbSubjectGetName() { return read(dkSubjectGetName); }
KqbString kqbSubjectGetID() { return read(dkSubjectGetID); }
KqbString kqbSubjectGetDescription() { return read(dkSubjectGetDescription); }
KqbString kqbSubjectGetDomain() { return read(dkSubjectGetDomain); }
