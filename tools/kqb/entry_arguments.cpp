#include "entry_arguments.h"

#include "output.h"

namespace {

void checkReadable(char const *what, std::string const &text, char const *forbidden) {
    if (text.find_first_of(forbidden) != std::string::npos)
        throw Failure(kUsage, std::string(what) + " '" + text +
                                  "' holds a character that a line cannot keep");
    if (KqbString trimmed(text.c_str()); trimmed.trim() > 0)
        throw Failure(kUsage,
                      std::string(what) + " '" + text + "' begins or ends with white space");
}

}  // namespace

void addKeyArgument(CLI::App &command, EntryArguments &arguments) {
    command.add_option("KEY", arguments.key, "Key of the entry, in any letter case")
        ->required()
        ->type_name("");
}

void addValueArgument(CLI::App &command, EntryArguments &arguments) {
    command.add_option("VALUE", arguments.text, "Value")->required()->type_name("");
}

void addCommentArgument(CLI::App &command, EntryArguments &arguments) {
    command
        .add_option_function<std::string>(
            "TEXT",
            [&arguments](std::string const &text) {
                arguments.text = text;
                arguments.hasText = true;
            },
            "The new comment; empty removes it")
        ->type_name("");
}

void checkEntry(EntryArguments const &arguments) {
    checkReadable("key", arguments.key, "=\r\n");
    checkReadable("value", arguments.text, "\r\n");
    if (!arguments.key.empty() && arguments.key.front() == '#')
        throw Failure(kUsage, "key '" + arguments.key + "' would read as a comment");
}

void checkComment(EntryArguments const &arguments) {
    if (arguments.text.find('\r') != std::string::npos)
        throw Failure(kUsage, "a comment cannot keep a carriage return");
}
