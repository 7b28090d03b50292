#include "library.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "kqb/kqbhost.h"
#include "output.h"

namespace {

char const kHomeVariable[] = "KQEXEC_HOME";

// The program's file; where the system does not tell, the name it was called by.
std::filesystem::path programPath() {
    std::error_code failed;
    std::filesystem::path const path = std::filesystem::read_symlink("/proc/self/exe", failed);
    return failed ? std::filesystem::absolute(program_invocation_name) : path;
}

// An installation is its own home: the folder above bin.
std::string installedHome() {
    std::filesystem::path const prefix = programPath().parent_path().parent_path();
    std::error_code ignored;
    return std::filesystem::exists(prefix / "etc" / "app.cfg", ignored) ? prefix.string() : "";
}

std::string chooseHome(StartOptions const &start) {
    if (!start.home.empty()) return std::filesystem::absolute(start.home).string();
    char const *const inherited = std::getenv(kHomeVariable);
    return inherited != nullptr && *inherited != '\0' ? inherited : installedHome();
}

void stageOption(std::string const &assignment) {
    std::size_t const separator = assignment.find('=');
    char const *error = nullptr;
    int const result = kqbStartupAddOption(assignment.substr(0, separator).c_str(),
                                           assignment.c_str() + separator + 1, &error);
    checkResult(result, error);
}

}  // namespace

std::string checkAssignment(std::string const &text) {
    std::size_t const separator = text.find('=');
    bool const valid = separator != std::string::npos && separator > 0;
    return valid ? "" : "'" + text + "' is not of the form KEY=VALUE";
}

void checkResult(int result, char const *errorMessage) {
    if (result == 0) return;
    throw Failure(kLibraryFailure, errorMessage != nullptr ? errorMessage : "out of memory");
}

InitializedLibrary::InitializedLibrary() {
    char const *error = nullptr;
    int const result = kqbInitialize(programPath().c_str(), &error);
    checkResult(result, error);
}

InitializedLibrary::~InitializedLibrary() { kqbShutdown(); }

void addStartOptions(CLI::App &command, StartOptions &start) {
    std::string const group = "Start-up";
    CLI::Validator const existingDirectory = CLI::ExistingDirectory.description("");
    command
        .add_option("--home", start.home,
                    "Home of the installation; default: $KQEXEC_HOME, else the folder above this "
                    "program's if that holds etc/app.cfg")
        ->type_name("DIR")
        ->check(existingDirectory)
        ->group(group);
    command
        .add_option("--user", start.userPath, "The user's directory, read besides the home's etc")
        ->type_name("DIR")
        ->check(existingDirectory)
        ->group(group);
    command
        .add_option("--config", start.configFiles,
                    "Read this configuration file as well, relative to the home's etc; repeatable")
        ->type_name("FILE")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all()
        ->group(group);
    command
        .add_option("--set", start.options, "Impose an option over all other sources; repeatable")
        ->type_name("KEY=VALUE")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all()
        ->check(checkAssignment, "")
        ->group(group);
    command
        .add_flag(
            "--tolerant", start.tolerant,
            "Start even if app.cfg, the dependency library or a logging configuration is missing")
        ->group(group);
}

StartedLibrary::Home::Home(StartOptions const &start) {
    std::string const home = chooseHome(start);
    if (!home.empty() && setenv(kHomeVariable, home.c_str(), 1) != 0)
        throw Failure(kLibraryFailure, "out of memory");
}

StartedLibrary::StartedLibrary(StartOptions const &start) : home_(start) {
    if (!start.userPath.empty())
        kqbStartupSetUserPath(std::filesystem::absolute(start.userPath).c_str());
    char const *error = nullptr;
    for (std::string const &file : start.configFiles) {
        int const result = kqbStartupAddConfigFile(file.c_str(), &error);
        checkResult(result, error);
    }
    for (std::string const &option : start.options) stageOption(option);
    int const result = kqbStartup(&error, start.tolerant ? KQB_STARTUP_TOLERANT : 0u);
    checkResult(result, error);
}
