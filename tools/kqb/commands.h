// The commands of the tool, one file per group.
#pragma once

#include <CLI/CLI.hpp>

// options, option: the effective options after start-up (options_commands.cpp).
void addOptionsCommands(CLI::App &tool);

// config list, get, set, comment, delete: one configuration file (config_commands.cpp).
void addConfigCommands(CLI::App &tool);

// overlay list, set, clear, comment: a user's file over an installation's (overlay_commands.cpp).
void addOverlayCommands(CLI::App &tool);

// attributes: the parts of an attribute list (attributes_command.cpp).
void addAttributesCommand(CLI::App &tool);

// message: the text of a catalogue message (message_command.cpp).
void addMessageCommand(CLI::App &tool);

// decimal: a calculator (decimal_command.cpp).
void addDecimalCommand(CLI::App &tool);

// type: a value type by its name (type_command.cpp).
void addTypeCommand(CLI::App &tool);

// list domains, users, groups and so on: who there is (list_commands.cpp).
void addListCommands(CLI::App &tool);

// uri, uri build, escape, unescape: URIs taken apart and built (uri_commands.cpp).
void addUriCommands(CLI::App &tool);

// template: a template file with values put in (template_command.cpp).
void addTemplateCommand(CLI::App &tool);

// run: one external program (run_command.cpp).
void addRunCommand(CLI::App &tool);
// mail: a mail composed and handed to a mail command (mail_command.cpp).
void addMailCommand(CLI::App &tool);

// encrypt, decrypt: texts under a passphrase (crypt_commands.cpp).
void addCryptCommands(CLI::App &tool);
