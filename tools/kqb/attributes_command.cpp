#include <memory>
#include <optional>

#include "commands.h"
#include "kqb/kqbparse.h"
#include "library.h"
#include "list.h"
#include "output.h"

namespace {

struct AttributesArguments {
    std::string text;
    std::string separator;
    std::optional<CursorFormat> format;  // none: NAME=VALUE
};

std::string checkSeparator(std::string const &text) {
    return text.size() == 1 ? "" : "'" + text + "' is not a single byte";
}

// A bare word is shown without "=", so that it is told from an attribute with an empty value.
std::string lineOf(KqbString const &name, KqbString const &value) {
    return name.isNull() ? toText(value) : toText(name) + "=" + toText(value);
}

void listAttributes(AttributesArguments const &arguments) {
    InitializedLibrary const library;
    KqbParse attributes;
    char const separator = arguments.separator.empty() ? '\0' : arguments.separator.front();
    if (!attributes.parse(arguments.text.c_str(), separator))
        throw Failure(kLibraryFailure, toText(attributes.getErrorMessage()));
    List list({"name", "value"});
    for (int i = 0; i < attributes.getAttributeCount(); ++i) {
        KqbString name, value;
        if (!attributes.getAttribute(i, &name, &value))
            throw Failure(kLibraryFailure, toText(attributes.getErrorMessage()));
        if (arguments.format)
            list.add({name, value});
        else
            printLine(lineOf(name, value));
    }
    if (arguments.format) list.print(*arguments.format);
}

}  // namespace

void addAttributesCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<AttributesArguments>();
    CLI::App *const command = tool.add_subcommand(
        "attributes", "Take an attribute list apart, NAME=VALUE or a bare word a line");
    command->add_option("TEXT", arguments->text, "The list")->required()->type_name("");
    command->add_option("--separator", arguments->separator, "What parts attributes; default: ;")
        ->type_name("BYTE")
        ->check(checkSeparator, "");
    addFormatOptions(*command, arguments->format);
    command->callback([arguments] { listAttributes(*arguments); });
}
