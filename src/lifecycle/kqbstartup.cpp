// Start-up: gathers the sources of options, has the BASE settings derived from them, and starts
// the dependency library. Everything runs under the global mutex.
#include "lifecycle/kqbstartup_internal.h"

#include "core/kqbassert_internal.h"
#include "core/kqblog_internal.h"
#include "core/kqbmemoryfailures_internal.h"
#include "kqb/kqbconfigfile.h"
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbhost.h"
#include "kqb/kqbpath.h"
#include "lifecycle/kqbbasesettings_internal.h"
#include "lifecycle/kqbstartupoptions_internal.h"
#include "platform/kqsfio.h"
#include "platform/kqssys.h"

namespace {

constexpr char kSource[] = "kqbstartup";

class Startup {
public:
    explicit Startup(unsigned flags)
        : tolerant_((flags & KQB_STARTUP_TOLERANT) != 0), logger_(kqbBaseLogger()) {}

    bool run() {
        if (!kqbLoadDependencies() && !tolerant_) return false;
        if (!tolerant_) logger_->setLevel(2);
        KqbGlobalLock const guard;
        unsigned const failures = kqbMemoryFailures();
        if (!findHome()) return false;
        options_ = kqbGetConfigOptions(KqbString());
        if (options_ == nullptr) return kqbFail(kKqbOutOfMemory);
        gatherOptions();
        KqbBaseSettings settings(options_, places_, tolerant_);
        if (!settings.apply()) return false;
        settings.logEffectiveOptions();
        publishHome();
        // Much of this passes over what is missing; what lacked memory is not missing.
        if (kqbMemoryFailures() != failures) return kqbFail(kKqbOutOfMemory);
        if (!startDependencies()) return false;
        kqbSetStarted();
        return true;
    }

private:
    bool kqbFail(char const *text) {
        kqbStartupFailure(1, text, nullptr);
        return false;
    }

    bool findHome() {
        char home[kKqbMaxPath];
        if (np_env_get("KQEXEC_HOME", home, sizeof home) <= 0) {
            return kqbFail("The 'KQEXEC_HOME' environment variable is not set");
        }
        places_.home = home;
        places_.configuration = kqbConcatPath(places_.home, "etc");
        if (np_fio_exists(places_.configuration.asCstr()) == 0) {
            places_.configuration = places_.home;
        }
        places_.user = kqbStartupGetUserPath();
        if (hasUser()) kqbLog(logger_, 2, kSource, __LINE__, "UserPath '%S'", places_.user);
        return true;
    }

    bool hasUser() const { return places_.user.length() > 0; }

    // Later sources override earlier ones.
    void gatherOptions() {
        options_->setOption("BASE/PLUGIN_PATH", kqbModuleDirectory());
        addFile(kqbConcatPath(places_.configuration, "app.cfg"), tolerant_ ? 0 : 4);
        addUserFile("app.cfg");
        addStagedFiles();
        addMacros();
        kqbLog(logger_, 2, kSource, __LINE__, "Applying environment variables");
        options_->addEnvironment();
        addHostOptions();
    }

    // Reads one file into the options. A failure is logged at that level; 0 passes it over.
    void addFile(KqbString const &path, int failureLevel) {
        KqbConfigFile file;
        if (file.read(path)) {
            kqbLog(logger_, 2, kSource, __LINE__, "%s '%S'", "Reading configuration file", path);
            options_->addConfigFile(file);
        } else if (failureLevel > 0) {
            kqbLog(logger_, failureLevel, kSource, __LINE__,
                   "Read failed due to missing file or possibly invalid content in '%S'", path);
        }
    }

    void addUserFile(KqbString const &name) {
        if (!hasUser()) return;
        KqbString const path = kqbConcatPath(places_.user, name);
        if (path.length() > 0) addFile(path, 0);
    }

    void addStagedFiles() {
        KqbConfigOptions *const staged = kqbGetConfigOptions(KqbString(kKqbStagedFiles, true));
        if (staged == nullptr) return;
        int const count = staged->getOptionCount();
        for (int i = 1; i < count; ++i) {
            KqbString value;
            if (!staged->getOptionAt(i, nullptr, &value, false)) break;
            KqbString const path = kqbConcatPath(places_.configuration, value);
            addFile(path.length() > 0 ? path : value, 4);
            addUserFile(value);
        }
    }

    void addMacroDirectory(KqbString const &directory, char const *extension, char const *what) {
        kqbLog(logger_, 2, kSource, __LINE__, what, "Reading macro", directory);
        options_->addConfigDirectory(directory, extension);
    }

    void addMacros() {
        KqbString macros;
        if (!options_->getOption("BASE/MACROS_PATH", &macros, true)) {
            macros = kqbConcatPath(places_.configuration, "macros");
            options_->setOption("BASE/MACROS_PATH", macros);
        }
        addMacroDirectory(macros, "CFG", "%s directory '%S' for cfg files");
        addMacroDirectory(macros, "XML", "%s directory '%S' for xml files");
        if (hasUser()) {
            addMacroDirectory(kqbConcatPath(places_.user, "macros"), "CFG", "%s directory '%S'");
        }
        addFile(kqbConcatPath(places_.configuration, "macros.cfg"), 0);
        addUserFile("macros.cfg");
    }

    void addHostOptions() {
        KqbConfigOptions *const staged = kqbGetConfigOptions(KqbString(kKqbStagedOptions, true));
        if (staged == nullptr) return;
        int const count = staged->getOptionCount();
        for (int i = 0; i < count; ++i) {
            KqbString key;
            KqbString value;
            if (staged->getOptionAt(i, &key, &value, false)) options_->setOption(key, value);
        }
    }

    void publishHome() {
        options_->setOption("KQEXEC_HOME", places_.home);
        if (!tolerant_) kqbLog(logger_, 3, kSource, __LINE__, "KQEXEC_HOME=%S", places_.home);
    }

    bool startDependencies() {
        kqbLog(logger_, 2, kSource, __LINE__, "Extension specific startup");
        KqbString path;
        options_->getOption("BASE/EXE_PATH", &path, true);
        kqbLog(logger_, 2, kSource, __LINE__, "Run dep startup");
        if (kqbStartDependencies(path.asCstr()) || tolerant_) return true;
        return kqbFail("Dependency startup failed");
    }

    bool tolerant_;
    KqLogger *logger_;
    KqbPlaces places_;
    KqbConfigOptions *options_ = nullptr;
};

}  // namespace

int kqbStartup(char const **errorMessage, unsigned int flags) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    if (kqbGlobalMutex() == nullptr) {
        return kqbStartupFailure(1, "The library is not initialized.", errorMessage);
    }
    if (Startup(flags).run()) return 0;
    return kqbStartupFailure(1, kqbStartupMessage(), errorMessage);
}
