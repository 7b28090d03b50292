#include <filesystem>
#include <memory>
#include <optional>

#include "commands.h"
#include "entry_arguments.h"
#include "kqb/kqbconfigoverlay.h"
#include "library.h"
#include "list.h"
#include "output.h"

namespace {

struct OverlayArguments : EntryArguments {
    std::string base;
    std::string overlay;
    std::optional<CursorFormat> format;  // of the list; none: ORIGIN KEY=VALUE
};

// A key with its value in each file; null where the file does not have the key.
struct Entry {
    KqbString key;
    KqbString base;
    KqbString overlay;
};

[[noreturn]] void fail(KqbConfigOverlay &both) {
    throw Failure(kLibraryFailure, toText(both.getErrorMessage()));
}

// An overlay that does not exist holds no change.
KqbConfigOverlay readBoth(OverlayArguments const &arguments) {
    KqbConfigOverlay both;
    if (!both.readBase(arguments.base.c_str())) fail(both);
    if (std::filesystem::exists(arguments.overlay) && !both.readOverlay(arguments.overlay.c_str()))
        fail(both);
    return both;
}

void writeOverlay(KqbConfigOverlay &both, OverlayArguments const &arguments) {
    if (!both.writeOverlay(arguments.overlay.c_str())) fail(both);
}

Entry entryAt(KqbConfigOverlay &both, int index) {
    Entry entry;
    if (!both.getEntry(index, &entry.key, &entry.base, &entry.overlay))
        throw Failure(kLibraryFailure, "out of memory");
    return entry;
}

bool findEntry(KqbConfigOverlay &both, std::string const &key, Entry &entry) {
    for (int i = 0; i < both.getEntryCount(); ++i) {
        entry = entryAt(both, i);
        if (entry.key.compare(key.c_str(), false) == 0) return true;
    }
    return false;
}

char const *originOf(Entry const &entry) {
    if (entry.overlay.isNull()) return "base";
    return entry.base.isNull() ? "overlay" : "both";
}

void listEntries(OverlayArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigOverlay both = readBoth(arguments);
    List list({"key", "base", "overlay", "comment"});
    for (int i = 0; i < both.getEntryCount(); ++i) {
        Entry const entry = entryAt(both, i);
        if (arguments.format) {
            list.add({entry.key, entry.base, entry.overlay, both.getEntryComment(entry.key)});
        } else {
            KqbString const &value = entry.overlay.isNull() ? entry.base : entry.overlay;
            printLine(std::string(originOf(entry)) + " " + toText(entry.key) + "=" + toText(value));
        }
    }
    if (arguments.format) list.print(*arguments.format);
}

void setEntry(OverlayArguments const &arguments) {
    InitializedLibrary const library;
    checkEntry(arguments);
    if (arguments.text.empty())
        throw Failure(kUsage, "an overlay cannot hold an empty value; 'clear' removes a change");
    KqbConfigOverlay both = readBoth(arguments);
    both.setOverlayEntry(arguments.key.c_str(), arguments.text.c_str());
    writeOverlay(both, arguments);
}

void clearEntry(OverlayArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigOverlay both = readBoth(arguments);
    Entry entry;
    if (!findEntry(both, arguments.key, entry) || entry.overlay.isNull())
        throw Failure(kNotFound, "there is no entry '" + arguments.key + "' in the overlay '" +
                                     arguments.overlay + "'");
    both.setOverlayEntry(arguments.key.c_str(), "");
    writeOverlay(both, arguments);
}

void commentEntry(OverlayArguments const &arguments) {
    InitializedLibrary const library;
    KqbConfigOverlay both = readBoth(arguments);
    Entry entry;
    if (!findEntry(both, arguments.key, entry))
        throw Failure(kNotFound, "there is no entry '" + arguments.key + "' in either file");
    if (!arguments.hasText) {
        printLine(toText(both.getEntryComment(arguments.key.c_str())));
        return;
    }
    checkComment(arguments);
    both.setEntryComment(arguments.key.c_str(), arguments.text.c_str());
    writeOverlay(both, arguments);
}

using Action = void (*)(OverlayArguments const &);

CLI::App &addCommand(CLI::App &overlay, std::shared_ptr<OverlayArguments> const &arguments,
                     char const *name, char const *help, Action action) {
    CLI::App *const app = overlay.add_subcommand(name, help);
    app->callback([arguments, action] { action(*arguments); });
    return *app;
}

}  // namespace

void addOverlayCommands(CLI::App &tool) {
    auto const arguments = std::make_shared<OverlayArguments>();
    CLI::App *const overlay = tool.add_subcommand(
        "overlay", "Read a configuration file with a user's changes over it, and change those");
    overlay->require_subcommand(1);
    overlay->add_option("BASE", arguments->base, "The installation's file; only read")
        ->required()
        ->type_name("");
    overlay->add_option("OVERLAY", arguments->overlay, "The user's file; need not exist")
        ->required()
        ->type_name("");

    CLI::App &list =
        addCommand(*overlay, arguments, "list",
                   "List the entries in key order, each as ORIGIN KEY=VALUE or with both values "
                   "and its comment in another format",
                   listEntries);
    addFormatOptions(list, arguments->format);

    CLI::App &set = addCommand(*overlay, arguments, "set",
                               "Set a value in the overlay, with the base's comment", setEntry);
    addKeyArgument(set, *arguments);
    addValueArgument(set, *arguments);

    CLI::App &clear = addCommand(*overlay, arguments, "clear",
                                 "Remove a change, so that the base's value shows", clearEntry);
    addKeyArgument(clear, *arguments);

    CLI::App &comment =
        addCommand(*overlay, arguments, "comment",
                   "Print the comment of an entry, or change it in the overlay", commentEntry);
    addKeyArgument(comment, *arguments);
    addCommentArgument(comment, *arguments);
}
