// The BASE settings: what start-up derives from the gathered options, and applies.
#pragma once

#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbstring.h"
#include "platform/kqlog.h"

// Directories that start-up works with; user is empty where the host named none.
struct KqbPlaces {
    KqbString home;
    KqbString configuration;
    KqbString user;
};

class KqbBaseSettings {
public:
    KqbBaseSettings(KqbConfigOptions *options, KqbPlaces const &places, bool tolerant);

    // Derives, stores and applies all settings in their order. False with the reason in the
    // start-up message buffer.
    bool apply();

    // Lists all options with passwords masked; a tolerant start-up only for who asks for details.
    void logEffectiveOptions();

private:
    // The expanded value; false when it is absent or names an unknown option.
    bool read(char const *key, KqbString *value) { return options_->getOption(key, value, true); }
    bool readRaw(char const *key, KqbString *value) {
        return options_->getOption(key, value, false);
    }
    bool has(char const *key) { return options_->getOption(key, nullptr, false); }
    void store(char const *key, KqbString const &value) { options_->setOption(key, value); }

    void applyTimer();
    void applyTemporaryPaths();
    void applySortPath(KqbString const &temp);
    void applyMessagePath();
    KqbString searchMessagePath();
    bool isMessagePath(KqbString const &path);
    void applyMessageVariable(char const *key, char const *variable);
    bool startMessages();
    void applyExecutablePaths();
    KqbString deriveLibraryPath(KqbString const &executables);
    bool configureLogging();
    void applyTimeBase();
    void applyRepositories();
    void applyDateFormat();
    void applyAuthentication();
    int readSspi();
    void setServerLocation(KqbString const &location, int sspi);

    KqbConfigOptions *options_;
    KqbPlaces const &places_;
    bool tolerant_;
    KqLogger *logger_;
};
