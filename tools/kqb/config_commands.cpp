#include <filesystem>
#include <memory>
#include <optional>

#include "commands.h"
#include "entry_arguments.h"
#include "kqb/kqbconfigfile.h"
#include "library.h"
#include "list.h"
#include "output.h"

namespace {

struct ConfigArguments : EntryArguments {
    std::string file;
    bool create = false;
    std::optional<CursorFormat> format;  // of the list; none: KEY=VALUE
};

KqbConfigFile readFile(ConfigArguments const &arguments) {
    KqbConfigFile file;
    if (arguments.create && !std::filesystem::exists(arguments.file)) return file;
    if (!file.read(arguments.file.c_str()))
        throw Failure(kLibraryFailure, toText(file.getErrorMessage()));
    return file;
}

void writeFile(KqbConfigFile &file, ConfigArguments const &arguments) {
    if (!file.write(arguments.file.c_str()))
        throw Failure(kLibraryFailure, toText(file.getErrorMessage()));
}

KqbString findEntry(KqbConfigFile &file, ConfigArguments const &arguments) {
    KqbString value = file.getEntry(arguments.key.c_str());
    if (value.isNull())
        throw Failure(kNotFound,
                      "there is no entry '" + arguments.key + "' in '" + arguments.file + "'");
    return value;
}

void listEntries(ConfigArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigFile file = readFile(arguments);
    List list({"key", "value", "comment"});
    KqbString key, value;
    for (bool more = file.getNextEntry(true, &key, &value); more;
         more = file.getNextEntry(false, &key, &value)) {
        if (arguments.format)
            list.add({key, value, file.getEntryComment(key)});
        else
            printLine(toText(key) + "=" + toText(value));
    }
    if (arguments.format) list.print(*arguments.format);
}

void getEntry(ConfigArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigFile file = readFile(arguments);
    printLine(toText(findEntry(file, arguments)));
}

void setEntry(ConfigArguments const &arguments) {
    InitializedLibrary const library;
    checkEntry(arguments);
    KqbConfigFile file = readFile(arguments);
    file.setEntry(arguments.key.c_str(), arguments.text.c_str());
    writeFile(file, arguments);
}

void commentEntry(ConfigArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigFile file = readFile(arguments);
    findEntry(file, arguments);
    if (!arguments.hasText) {
        printLine(toText(file.getEntryComment(arguments.key.c_str())));
        return;
    }
    checkComment(arguments);
    file.setEntryComment(arguments.key.c_str(), arguments.text.c_str());
    writeFile(file, arguments);
}

void deleteEntry(ConfigArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigFile file = readFile(arguments);
    findEntry(file, arguments);
    file.deleteEntry(arguments.key.c_str());
    writeFile(file, arguments);
}

using Action = void (*)(ConfigArguments const &);

struct ConfigCommand {
    CLI::App *app;
    std::shared_ptr<ConfigArguments> arguments;
};

ConfigCommand addCommand(CLI::App &config, char const *name, char const *help, Action action) {
    auto arguments = std::make_shared<ConfigArguments>();
    CLI::App *const app = config.add_subcommand(name, help);
    app->add_option("FILE", arguments->file, "Configuration file")->required()->type_name("");
    app->callback([arguments, action] { action(*arguments); });
    return {app, arguments};
}

ConfigCommand addKeyCommand(CLI::App &config, char const *name, char const *help, Action action) {
    ConfigCommand command = addCommand(config, name, help, action);
    addKeyArgument(*command.app, *command.arguments);
    return command;
}

}  // namespace

void addConfigCommands(CLI::App &tool) {
    CLI::App *const config = tool.add_subcommand(
        "config", "Read and change a configuration file, keeping everything else in it");
    config->require_subcommand(1);

    ConfigCommand const list = addCommand(
        *config, "list",
        "List the entries in key order, KEY=VALUE or with their comments in another format",
        listEntries);
    addFormatOptions(*list.app, list.arguments->format);

    addKeyCommand(*config, "get", "Print the value of an entry", getEntry);

    ConfigCommand const set =
        addKeyCommand(*config, "set", "Change the value of an entry or add one", setEntry);
    addValueArgument(*set.app, *set.arguments);
    set.app->add_flag("--create", set.arguments->create, "Make the file if there is none");

    ConfigCommand const comment = addKeyCommand(
        *config, "comment", "Print the comment of an entry, or change it", commentEntry);
    addCommentArgument(*comment.app, *comment.arguments);

    addKeyCommand(*config, "delete", "Remove an entry, leaving it in the file as a comment",
                  deleteEntry);
}
