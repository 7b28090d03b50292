// kqb: the library at the command line.

#include <exception>
#include <iostream>

#include "commands.h"
#include "kqb/kqbtypes.h"
#include "output.h"

namespace {

char const kFooter[] =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the library reports a failure, or output cannot be written\n"
    "  2  the command line is not understood\n"
    "  3  the option, entry, message or type asked for does not exist\n"
    "\n"
    "Arguments that begin with a dash go behind '--'.";

void describe(CLI::App &tool) {
    tool.set_version_flag("--version",
                          std::string("kqb " KQB_VERSION " build ") + std::to_string(KQB_BUILD));
    tool.require_subcommand(1);
    tool.footer(kFooter);
    tool.failure_message([](CLI::App const *, CLI::Error const &error) {
        return std::string("kqb: ") + error.what() + "\nRun with --help for more information.\n";
    });
    addOptionsCommands(tool);
    addConfigCommands(tool);
    addOverlayCommands(tool);
    addAttributesCommand(tool);
    addMessageCommand(tool);
    addDecimalCommand(tool);
    addTypeCommand(tool);
    addListCommands(tool);
    addUriCommands(tool);
    addTemplateCommand(tool);
    addRunCommand(tool);
    addMailCommand(tool);
    addCryptCommands(tool);
}

int report(char const *text, ExitCode code) {
    std::cout.flush();
    std::cerr << "kqb: " << text << '\n';
    return code;
}

int run(int argc, char **argv) {
    CLI::App tool(
        "Looks into the kqb library: options, configuration files, messages, URIs, decimals, "
        "types, templates, commands.",
        "kqb");
    describe(tool);
    try {
        tool.parse(argc, argv);  // runs the command
        finishOutput();
        return kOk;
    } catch (CLI::ParseError const &error) {
        return tool.exit(error) == 0 ? kOk : kUsage;
    } catch (Failure const &failure) {
        return report(failure.what(), failure.code());
    }
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (std::exception const &error) {
        return report(error.what(), kLibraryFailure);
    }
}
