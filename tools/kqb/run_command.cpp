#include <memory>

#include "commands.h"
#include "kqb/kqbexecute.h"
#include "library.h"
#include "output.h"

namespace {

struct RunArguments {
    StartOptions start;
    std::string command;
    std::vector<std::string> environment;  // NAME=VALUE
    int timeout = 0;
    bool shell = false;
    bool capture = false;
};

// The error message, and beside it what it does not tell: which command, what limit.
std::string reasonOf(KqbExecute &command, bool isCaptured) {
    std::string const message = toText(command.getErrorMessage());
    std::string const detail = toText(command.getOutputLog());
    return isCaptured || detail.empty() ? message : message + " (" + detail + ")";
}

void runCommand(RunArguments const &arguments, std::vector<std::string> const &options) {
    StartedLibrary const library(arguments.start);
    KqbExecute command;
    command.setCommand(arguments.command.c_str());
    for (std::string const &option : options) command.addOption(option.c_str());
    for (std::string const &entry : arguments.environment) command.addEnvironment(entry.c_str());
    bool const isDone = command.run(arguments.shell, arguments.capture, arguments.timeout);
    bool const hasOutput = arguments.capture && !command.getOutputLog().isNull();
    if (hasOutput) printLine(toText(command.getOutputLog()));
    if (!isDone) throw Failure(kLibraryFailure, reasonOf(command, hasOutput));
}

// What stands behind the command is its own, as it is: a list of arguments would take "[a,b]" for
// two. The mark that ends the tool's options is left among them.
std::vector<std::string> optionsOf(CLI::App const &command) {
    std::vector<std::string> options = command.remaining();
    if (!options.empty() && options.front() == "--") options.erase(options.begin());
    return options;
}

void addOptions(CLI::App &command, RunArguments &arguments) {
    command.add_option("COMMAND", arguments.command, "The command; its arguments follow")
        ->required()
        ->type_name("");
    command.add_flag("--shell", arguments.shell, "Let the system's shell read the words as a line");
    command.add_flag("--capture", arguments.capture,
                     "Print what the library keeps of the output: 8192 bytes, as one line");
    command.add_option("--timeout", arguments.timeout, "End the command after so long; 0: never")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber.description(""));
    command.add_option("--env", arguments.environment, "Add to the environment; repeatable")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all()
        ->check(checkAssignment, "");
}

}  // namespace

void addRunCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<RunArguments>();
    arguments->start.tolerant = true;
    CLI::App *const command =
        tool.add_subcommand("run", "Run a command: [options] -- COMMAND [ARGUMENT...]");
    addOptions(*command, *arguments);
    addStartOptions(*command, arguments->start);
    command->prefix_command();
    command->callback([arguments, command] { runCommand(*arguments, optionsOf(*command)); });
}
