#include "lifecycle/kqbbasesettings_internal.h"

#include <cstring>

#include "core/kqbdate_internal.h"
#include "core/kqblog_internal.h"
#include "core/kqbstring_internal.h"
#include "core/kqbtextbool_internal.h"
#include "kqb/kqbmessage.h"
#include "kqb/kqbpath.h"
#include "lifecycle/kqbstartup_internal.h"
#include "platform/kqbb.h"
#include "platform/kqmsg.h"
#include "platform/kqsfio.h"
#include "platform/kqssys.h"
#include "platform/librzmx.h"

namespace {

constexpr char kSource[] = "kqbstartup";
constexpr int kProbeMessage = 444;

bool fail(KqbString const &text) {
    kqbStartupFailure(1, text.asCstr(), nullptr);
    return false;
}

bool exists(KqbString const &path) { return np_fio_exists(path.asCstr()) != 0; }

bool isSeparator(char c) { return c == '/' || c == '\\'; }

KqbString withoutTrailingSeparator(KqbString const &path) {
    std::string_view text = KqbStringAccess::view(path);
    if (text.empty() || !isSeparator(text.back())) return path;
    KqbString shorter;
    text.remove_suffix(1);
    KqbStringAccess::assign(shorter, text);
    return shorter;
}

KqbString parentOf(KqbString const &path) {
    KqbString parent;
    kqbParsePath(path, &parent, nullptr, nullptr);
    return parent;
}

bool equalNoCase(KqbString const &text, char const *word) { return text.compare(word, false) == 0; }

// A file that is there and has something in it.
bool isNonEmptyFile(KqbString const &path) {
    np_fio_info info;
    return np_fio_stat(path.asCstr(), &info) == NP_FIO_OK && info.kind != NP_FIO_DIRECTORY &&
           info.size > 0;
}

}  // namespace

KqbBaseSettings::KqbBaseSettings(KqbConfigOptions *options, KqbPlaces const &places, bool tolerant)
    : options_(options), places_(places), tolerant_(tolerant), logger_(kqbBaseLogger()) {}

bool KqbBaseSettings::apply() {
    applyTimer();
    applyTemporaryPaths();
    applyMessagePath();
    applyMessageVariable("BASE/MESSAGE_LOCALE", "VANTOREX_ERROR_LOCALE");
    applyMessageVariable("BASE/MESSAGE_LEVEL", "VANTOREX_ERROR_LEVEL");
    if (!startMessages()) return false;
    applyExecutablePaths();
    if (!tolerant_) logger_->setLevel(0);
    if (!configureLogging()) return false;
    applyTimeBase();
    applyRepositories();
    applyDateFormat();
    applyAuthentication();
    return true;
}

void KqbBaseSettings::applyTimer() {
    KqbString value;
    if (readRaw("BASE/HIGH_PRECISION_TIMER", &value) && value.length() > 0) {
        np_stamp_set_safe_mode();
    }
}

void KqbBaseSettings::applyTemporaryPaths() {
    KqbString temp;
    if (read("BASE/TEMP", &temp) || read("TEMP", &temp)) {
        store("BASE/TEMP", temp);
        store("TEMP", temp);
    }
    applySortPath(temp);
    KqbString output;
    if (read("BASE/SHARED_OUTPUT_PATH", &output)) {
        store("BASE/SHARED_OUTPUT_PATH", output);
    } else if (!temp.isNull()) {
        store("BASE/SHARED_OUTPUT_PATH", temp);
    }
}

void KqbBaseSettings::applySortPath(KqbString const &temp) {
    KqbString path;
    if (!readRaw("BASE/SORTTEMP", &path)) path = temp;
    if (path.length() == 0) return;
    char text[kKqbMessageSize];
    int const result = kqbbSetTempPath(path.asCstr(), text, sizeof text);
    if (result < 0) {
        kqbLog(logger_, 3, kSource, __LINE__, "MX Utility path is already set to '%s'.", text);
    } else if (result > 0) {
        kqbLog(logger_, 4, kSource, __LINE__, "Failed to set MX Utility path, '%s'.", text);
    }
}

// The environment's location counts unless it is our own doing; then a configured one; then the
// first that exists.
void KqbBaseSettings::applyMessagePath() {
    KqbString path;
    bool const fromHost = !kqbMessageLocationSet() && readRaw("VANTOREX_ERROR_LOCATION", &path);
    if (!fromHost && !read("BASE/MESSAGE_PATH", &path)) path = searchMessagePath();
    store("BASE/MESSAGE_PATH", path);
    kqbSetEnvironment("VANTOREX_ERROR_LOCATION", path.asCstr());
}

bool KqbBaseSettings::isMessagePath(KqbString const &path) {
    kqbLog(logger_, 2, kSource, __LINE__, "Looking for message path '%S'.", path);
    return exists(path);
}

KqbString KqbBaseSettings::searchMessagePath() {
    KqbString path = kqbConcatPath(kqbConcatPath(places_.home, "share"), "msg");
    if (!isMessagePath(path)) {
        KqbString const parent = parentOf(withoutTrailingSeparator(places_.home));
        kqbLog(logger_, 2, kSource, __LINE__, "Started with kqexec temp path '%S'.", parent);
        path = kqbConcatPath(parent, "plxmisc");
        if (!isMessagePath(path)) {
            path = kqbConcatPath(parent, "misc");
            path = isMessagePath(path) ? kqbConcatPath(path, "nimbrine") : places_.home;
        }
    }
    kqbLog(logger_, 2, kSource, __LINE__, "Setting message path to '%S'.", path);
    return path;
}

// What the host's environment says goes before what the files say.
void KqbBaseSettings::applyMessageVariable(char const *key, char const *variable) {
    KqbString value;
    if (read(key, &value) && !has(variable)) kqbSetEnvironment(variable, value.asCstr());
}

bool KqbBaseSettings::startMessages() {
    char text[kKqbMessageSize];
    if (kqmsgInitialize(text, sizeof text) != 0) return fail(KqbString(text, true));
    if (kqmsgGetFragment(KQB_BASE_SERVICES, kProbeMessage, text, sizeof text) >= 0) return true;
    KqbString path;
    read("BASE/MESSAGE_PATH", &path);
    return fail(
        kqbStringFormat("Error message database or one of its components is not found: %S", path));
}

void KqbBaseSettings::applyExecutablePaths() {
    KqbString executables;
    if (!read("BASE/EXE_PATH", &executables)) executables = kqbModuleDirectory();
    store("BASE/EXE_PATH", executables);
    KqbString libraries;
    if (!read("BASE/LIBRARY_PATH", &libraries)) libraries = deriveLibraryPath(executables);
    store("BASE/LIBRARY_PATH", libraries);
}

// "lib" beside "bin", or below the executables' own directory, or failing both that directory.
KqbString KqbBaseSettings::deriveLibraryPath(KqbString const &executables) {
    KqbString base = withoutTrailingSeparator(executables);
    std::string_view const text = KqbStringAccess::view(base);
    KqbString const tail = base.right(3);
    bool const endsInBin = equalNoCase(tail, "bin");
    if (endsInBin && text.size() > 4 && isSeparator(text[text.size() - 4])) {
        base = parentOf(base);
    } else if (endsInBin && text.size() == 3) {
        base.assign("");
    }
    KqbString path = kqbConcatPath(base, "lib");
    if (!exists(path)) {
        path = path.mid(0, path.length() > 4 ? static_cast<int>(path.length()) - 4 : 0);
    }
    return path;
}

bool KqbBaseSettings::configureLogging() {
    KqbString path;
    if (!read("BASE/LOGCONFIG_PATH", &path)) {
        return tolerant_ || kqlogConfigure(nullptr) == 0 || fail("Failed to configure logging.");
    }
    if (!isNonEmptyFile(path)) {
        return fail(kqbStringFormat("Logging configuration file %S does not exist.", path));
    }
    return kqlogConfigure(path.asCstr()) == 0 || fail("Failed to configure logging.");
}

void KqbBaseSettings::applyTimeBase() {
    KqbString value;
    readRaw("BASE/TIME_BASE", &value);
    kqbDateOptions().gmt = equalNoCase(value, "GMT");
}

void KqbBaseSettings::applyRepositories() {
    KqbString path;
    bool user = read("BASE/REPOS_USER_PATH", &path);
    if (!user && places_.user.length() > 0) {
        path = kqbConcatPath(places_.user, "repositories");
        user = true;
    }
    if (user) {
        store("BASE/REPOS_USER_PATH", path);
        kqbLog(logger_, 3, kSource, __LINE__, "BASE/REPOS_USER_PATH=%S", path);
    }
    if (!read("BASE/REPOS_SYS_PATH", &path)) {
        path = kqbConcatPath(places_.configuration, "repositories");
        if (tolerant_ && !exists(path)) path = places_.configuration;
    }
    store("BASE/REPOS_SYS_PATH", path);
    kqbLog(logger_, tolerant_ ? 2 : 3, kSource, __LINE__, "BASE/REPOS_SYS_PATH=%S", path);
}

void KqbBaseSettings::applyDateFormat() {
    KqbString value;
    read("BASE/DATE_FORMAT", &value);
    bool const with = equalNoCase(value, "ISO8601");
    bool const without = equalNoCase(value, "ISO8601_NO_MILLI");
    kqbDateOptions().iso = with || without;
    kqbDateOptions().milliseconds = with;
    if (with) kqbLog(logger_, 3, kSource, __LINE__, "ISO8601 date format will be used");
    if (without) {
        kqbLog(logger_, 3, kSource, __LINE__,
               "ISO8601 without milleseconds date format will be used");
    }
}

void KqbBaseSettings::applyAuthentication() {
    static constexpr char kDomain[] = "BASE/AUTH_DEFAULT_DOMAIN";
    KqbString domain;
    if (readRaw(kDomain, &domain)) {
        kqbSetEnvironment(std::strchr(kDomain, '/') + 1, domain.asCstr());
    }
    KqbString location;
    bool const located = read("BASE/AUTH_SERVER_LOC", &location);
    int const sspi = readSspi();
    if (located) {
        setServerLocation(location, sspi);
    } else {
        dkClearAuthServerLoc();  // one from an earlier start-up
    }
}

int KqbBaseSettings::readSspi() {
    KqbString value;
    bool enabled = false;
    if (readRaw("BASE/AUTH_SERVER_SSPI", &value)) kqbTextToBool(value.asCstr(), &enabled);
    kqbLog(logger_, 2, kSource, __LINE__, "SSPI is %s", enabled ? "enabled" : "disabled");
    return enabled ? 1 : 0;
}

void KqbBaseSettings::setServerLocation(KqbString const &location, int sspi) {
    KqbString repository;
    KqbString user;
    KqbString password;
    readRaw("BASE/AUTH_SERVER_REPOSNAME", &repository);
    readRaw("BASE/AUTH_SERVER_USER", &user);
    readRaw("BASE/AUTH_SERVER_PASS", &password);
    auto const orNull = [](KqbString const &text) {
        return text.isNull() ? nullptr : text.asCstr();
    };
    char error[kKqbMessageSize] = "";
    char const *profile = nullptr;
    int const result = dkSetAuthServerLoc(location.asCstr(), orNull(repository), orNull(user),
                                          orNull(password), sspi, error, sizeof error, &profile);
    if (result == 1) {
        kqbLog(logger_, 3, kSource, __LINE__,
               "Metadata profile (%s) supplies authenticating server location.", profile);
        store("BASE/AUTH_SERVER_IS_PROFILE", "YES");
    } else if (result != 0) {
        kqbLog(logger_, 3, kSource, __LINE__, "Failed to set authenticating server location (%s).",
               error);
    }
}

void KqbBaseSettings::logEffectiveOptions() {
    if (tolerant_ && logger_->getLevel() > 2) return;
    kqbLog(logger_, 3, kSource, __LINE__, "Effective options:");
    if (!logger_->isEnabled(3)) return;
    int const count = options_->getOptionCount();
    for (int i = 0; i < count; ++i) {
        KqbString key;
        KqbString value;
        if (!options_->getOptionAt(i, &key, &value, false)) continue;
        kqbLog(logger_, 3, kSource, __LINE__, "%S=%S", key, kqbMaskOptionValue(key, value));
    }
}
