// The library's life within one run of the tool.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

// What is wrong with a KEY=VALUE of the command line; empty for nothing.
std::string checkAssignment(std::string const &text);

// A Failure with the library's own text when the result of a host function is not 0.
void checkResult(int result, char const *errorMessage);

// Up after construction (boot level 1), down again at the end of the scope. A Failure with the
// library's own text when it does not come up.
class InitializedLibrary {
public:
    InitializedLibrary();
    ~InitializedLibrary();
    InitializedLibrary(InitializedLibrary const &) = delete;
    InitializedLibrary &operator=(InitializedLibrary const &) = delete;
};

// What the command line says about start-up.
struct StartOptions {
    std::string home;  // empty: as described at the option's help
    std::string userPath;
    std::vector<std::string> configFiles;
    std::vector<std::string> options;  // KEY=VALUE
    bool tolerant = false;
};

// Adds the start-up options to a command; start must outlive it.
void addStartOptions(CLI::App &command, StartOptions &start);

// The library brought up and started (boot level 2) on a home; down again at the end of the scope.
class StartedLibrary {
public:
    explicit StartedLibrary(StartOptions const &start);

private:
    // The home is looked up when the library comes up, so it is put in place before that.
    struct Home {
        explicit Home(StartOptions const &start);
    };

    Home home_;
    InitializedLibrary library_;
};
