#include <array>
#include <memory>

#include "commands.h"
#include "kqb/kqbmessage.h"
#include "library.h"
#include "output.h"

namespace {

constexpr std::size_t kMostArguments = 10;  // {0} to {9}

struct MessageArguments {
    StartOptions start;
    std::string catalog = KQB_BASE_SERVICES;
    std::string locale;
    int number = 0;
    std::array<std::string, kMostArguments> values;  // those not given: empty text
};

void showMessage(MessageArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    if (!arguments.locale.empty() && !kqbSetMessageLocale(arguments.locale.c_str()))
        throw Failure(kUsage, "'" + arguments.locale + "' is not the name of a locale");
    char const *const catalog = arguments.catalog.c_str();
    if (kqb_get_fragment(catalog, arguments.number).isNull())
        throw Failure(kNotFound, "catalogue '" + arguments.catalog + "' has no message " +
                                     std::to_string(arguments.number));
    std::array<KqbString, kMostArguments> values;
    for (std::size_t i = 0; i < kMostArguments; ++i) values[i] = arguments.values[i].c_str();
    printLine(toText(kqb_get_message(catalog, arguments.number, nullptr,
                                     {values[0], values[1], values[2], values[3], values[4],
                                      values[5], values[6], values[7], values[8], values[9]})));
}

// Each argument is a positional of its own: a list would take "[a,b]" for two elements.
void addMessageArguments(CLI::App &command, MessageArguments &arguments) {
    for (std::size_t i = 0; i < kMostArguments; ++i) {
        std::string const number = std::to_string(i);
        command
            .add_option("ARG" + number, arguments.values[i],
                        "Argument {" + number + "} of the message")
            ->type_name("");
    }
}

}  // namespace

void addMessageCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<MessageArguments>();
    CLI::App *const command =
        tool.add_subcommand("message", "Print a message of the catalogues, arguments filled in");
    command->add_option("NUMBER", arguments->number, "Number of the message")
        ->required()
        ->type_name("");
    addMessageArguments(*command, *arguments);
    command->add_option("--catalog", arguments->catalog, "Catalogue")
        ->type_name("NAME")
        ->capture_default_str();
    command->add_option("--locale", arguments->locale, "Locale, for example de or de_AT")
        ->type_name("NAME");
    addStartOptions(*command, arguments->start);
    command->callback([arguments] { showMessage(*arguments); });
}
