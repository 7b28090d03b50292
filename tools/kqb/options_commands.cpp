#include <memory>
#include <optional>

#include "commands.h"
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbstringcursor.h"
#include "library.h"
#include "list.h"
#include "output.h"

namespace {

struct OptionsArguments {
    StartOptions start;
    std::string key;
    std::string apply;
    bool expand = false;
    std::optional<CursorFormat> format;  // of a list; none: KEY=VALUE
    bool json = false;                   // of one option
};

// Values are masked before references are replaced, or a reference would carry a password into
// another option's value: that takes a registry of its own, since the default one is in use.
KqbConfigOptions *maskedOptions() {
    KqbConfigOptions *const masked = kqbGetConfigOptions("kqb options");
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    if (masked == nullptr || options == nullptr) throw Failure(kLibraryFailure, "out of memory");
    KqbString key, value;
    for (int i = 0; options->getOptionAt(i, &key, &value, false); ++i) {
        if (!masked->setOption(key, kqbMaskOptionValue(key, value)))
            throw Failure(kLibraryFailure, "out of memory");
    }
    return masked;
}

void listOptions(OptionsArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    KqbConfigOptions *const options = maskedOptions();
    List list({"key", "value"});
    KqbString key, value;
    for (int i = 0; options->getOptionAt(i, &key, &value, arguments.expand); ++i) {
        value = kqbMaskOptionValue(key, value);  // a password may stand in what was inserted
        if (arguments.format)
            list.add({key, value});
        else
            printLine(toText(key) + "=" + toText(value));
    }
    if (arguments.format) list.print(*arguments.format);
}

struct ReleaseCursor {
    void operator()(KqbStringCursor *cursor) const { cursor->release(); }
};
using Cursor = std::unique_ptr<KqbStringCursor, ReleaseCursor>;

// Reads a cursor and leaves it in front of its first row.
template <class Show>
void forRows(KqbStringCursor &cursor, Show const &show) {
    int state = cursor.next();
    for (; state == KqbCursorRow; state = cursor.next()) show();
    if (state == KqbCursorFailure || !cursor.rewind())
        throw Failure(kLibraryFailure, toText(cursor.getErrorMessage()));
}

// What both cursors hold, as one list.
void showUndo(KqbStringCursor &previous, KqbStringCursor &added,
              std::optional<CursorFormat> format) {
    List list({"option", "key", "value"});
    forRows(previous, [&] {
        KqbString const key = previous.getValue(0);
        KqbString const value = kqbMaskOptionValue(key, previous.getValue(1));
        if (format)
            list.add({"previous", key, value});
        else
            printLine("previous " + toText(key) + "=" + toText(value));
    });
    forRows(added, [&] {
        KqbString const key = added.getValue(0);
        if (format)
            list.add({"new", key, KqbString()});
        else
            printLine("new " + toText(key));
    });
    if (format) list.print(*format);
}

void applyOptions(OptionsArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    KqbStringCursor *previousValues = nullptr;
    KqbStringCursor *newKeys = nullptr;
    char const *error = nullptr;
    int result =
        kqbStartupSetParsedOptions(arguments.apply.c_str(), &previousValues, &newKeys, &error);
    checkResult(result, error);
    Cursor const previous(previousValues);
    Cursor const added(newKeys);
    showUndo(*previous, *added, arguments.format);
    result = kqbStartupSetOptions(previous.get(), &error);
    checkResult(result, error);
    result = kqbStartupDeleteOptions(added.get(), &error);
    checkResult(result, error);
}

KqbString findOption(OptionsArguments const &arguments) {
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    KqbString const key(arguments.key.c_str());
    KqbString value;
    if (!options->getOption(key, &value, false))
        throw Failure(kNotFound, "there is no option '" + arguments.key + "'");
    if (arguments.expand && !options->getOption(key, &value, true))
        throw Failure(kNotFound,
                      "option '" + arguments.key +
                          "' refers to an unknown option or to itself: " + toText(value));
    return value;
}

void showOption(OptionsArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    KqbString const value = findOption(arguments);
    if (arguments.json)
        printJson({{"key", arguments.key}, {"value", toJson(value)}});
    else
        printLine(toText(value));
}

void addCommonOptions(CLI::App &command, OptionsArguments &arguments) {
    command.add_flag("--expand", arguments.expand, "Replace references %%KEY%% by their values");
    addStartOptions(command, arguments.start);
}

}  // namespace

void addOptionsCommands(CLI::App &tool) {
    auto const list = std::make_shared<OptionsArguments>();
    CLI::App *const listing =
        tool.add_subcommand("options",
                            "List the effective options after start-up, KEY=VALUE in the order in "
                            "which they were set; passwords are masked");
    addCommonOptions(*listing, *list);
    addFormatOptions(*listing, list->format);
    CLI::Option *const apply =
        listing
            ->add_option("--apply", list->apply,
                         "Set the options of this attribute list after start-up, show instead of "
                         "all options what undoes that, and undo it")
            ->type_name("TEXT")
            ->excludes(listing->get_option("--expand"));
    listing->callback([list, apply] {
        if (apply->count() > 0)
            applyOptions(*list);
        else
            listOptions(*list);
    });

    auto const show = std::make_shared<OptionsArguments>();
    CLI::App *const showing = tool.add_subcommand(
        "option", "Print the value of one option after start-up, passwords included");
    showing->add_option("KEY", show->key, "Key of the option, in any letter case")
        ->required()
        ->type_name("");
    addCommonOptions(*showing, *show);
    showing->add_flag("--json", show->json, "Print JSON");
    showing->callback([show] { showOption(*show); });
}
