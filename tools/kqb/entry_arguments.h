// The entry of a configuration file that a command line names, and what it is to become.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

struct EntryArguments {
    std::string key;
    std::string text;      // a value or a comment
    bool hasText = false;  // a comment was given
};

// Add KEY, and behind it VALUE or an optional TEXT, to a command; arguments must outlive it.
void addKeyArgument(CLI::App &command, EntryArguments &arguments);
void addValueArgument(CLI::App &command, EntryArguments &arguments);
void addCommentArgument(CLI::App &command, EntryArguments &arguments);

// A line has no quoting: what would read back as something else is a Failure.
void checkEntry(EntryArguments const &arguments);
void checkComment(EntryArguments const &arguments);
