#include <cctype>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>

#include "commands.h"
#include "cursor_output.h"
#include "kqb/kqbsubject.h"
#include "library.h"
#include "output.h"

namespace {

struct ListArguments {
    StartOptions start;
    std::string key;
    std::string server;
    std::string login;
    std::string passwordFile;
    std::optional<CursorFormat> format;
};

struct ReleaseCursor {
    void operator()(KqbStringCursor *cursor) const { cursor->release(); }
};
using Cursor = std::unique_ptr<KqbStringCursor, ReleaseCursor>;

using ListFunction = KqbStringCursor *(*)(KqbString const &key, KqbString *error);

// The first line of a file, or of standard input for "-".
std::string readPassword(std::string const &file) {
    std::ifstream opened;
    if (file != "-") opened.open(file, std::ios::binary);
    std::string line;
    if (!std::getline(file == "-" ? std::cin : opened, line))
        throw Failure(kLibraryFailure, "there is no password in '" + file + "'");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

// The settings' user and password belong to the settings' server and are sent to no other.
StartOptions startOptions(ListArguments const &arguments) {
    StartOptions start = arguments.start;
    bool const isOther = !arguments.server.empty();
    if (isOther) start.options.push_back("BASE/AUTH_SERVER_LOC=" + arguments.server);
    if (isOther || !arguments.login.empty())
        start.options.push_back("BASE/AUTH_SERVER_USER=" + arguments.login);
    if (!arguments.passwordFile.empty())
        start.options.push_back("BASE/AUTH_SERVER_PASS=" + readPassword(arguments.passwordFile));
    else if (isOther)
        start.options.push_back("BASE/AUTH_SERVER_PASS=");
    return start;
}

Cursor makeList(ListFunction function, KqbString const &key) {
    KqbString error;
    Cursor cursor(function(key, &error));
    if (cursor == nullptr) throw Failure(kLibraryFailure, toText(error));
    return cursor;
}

void showList(ListArguments const &arguments, ListFunction function) {
    StartedLibrary const library(startOptions(arguments));
    Cursor const cursor = makeList(function, arguments.key.c_str());
    printCursor(*cursor, arguments.format.value_or(CursorFormat::kTable));
    KqbString const note = cursor->getErrorMessage();
    if (!note.isNull()) std::cerr << "kqb: the list is incomplete: " << toText(note) << '\n';
}

// People know a group by its name.
KqbStringCursor *listMembers(KqbString const &group, KqbString *error) {
    Cursor const groups(kqbSubjectListGroups("", error));
    if (groups == nullptr) return nullptr;
    while (groups->next() == KqbCursorRow) {
        if (groups->getValue(0).compare(group) == 0)
            return kqbSubjectListMembersByGroupID(groups->getValue(1), error);
    }
    return kqbSubjectListMembersByGroupID(group, error);
}

std::string refusePassword(std::string const &location) {
    std::string lower = location;
    for (char &c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower.find("pass=") != std::string::npos
               ? "every user of this machine can read a command line: give the password with "
                 "--password-file"
               : "";
}

void addServerOptions(CLI::App &command, ListArguments &arguments) {
    command
        .add_option("--server", arguments.server,
                    "List from this directory instead of the one that is configured, such as "
                    "ldap://host/dc=example;timeout=5")
        ->type_name("LOCATION")
        ->check(refusePassword, "");
    command
        .add_option("--login", arguments.login,
                    "Search the directory as this user, a login name or the name of an entry")
        ->type_name("NAME");
    command
        .add_option("--password-file", arguments.passwordFile,
                    "Read that user's password from the first line of a file; '-': standard input")
        ->type_name("FILE");
}

void addList(CLI::App &list, char const *name, char const *help, char const *key,
             ListFunction function) {
    auto const arguments = std::make_shared<ListArguments>();
    CLI::App *const command = list.add_subcommand(name, help);
    if (key != nullptr) {
        command->add_option(key, arguments->key, "Its name, or of a group its ID")
            ->required()
            ->type_name("");
    }
    addServerOptions(*command, *arguments);
    addFormatOptions(*command, arguments->format);
    addStartOptions(*command, arguments->start);
    command->callback([arguments, function] { showList(*arguments, function); });
}

}  // namespace

void addListCommands(CLI::App &tool) {
    CLI::App *const list = tool.add_subcommand(
        "list", "List who there is, from the configured directory or else from this machine");
    list->require_subcommand(1);
    addList(*list, "domains", "The domains that users belong to", nullptr,
            [](KqbString const &, KqbString *error) { return kqbSubjectListDomains(error); });
    addList(*list, "users", "The users", nullptr, kqbSubjectListSubjects);
    addList(*list, "groups", "The groups", nullptr, kqbSubjectListGroups);
    addList(*list, "groups-of", "The groups that a user is in, straight or through others", "USER",
            kqbSubjectListGroupsBySubject);
    addList(*list, "members", "The members of a group", "GROUP", listMembers);
    addList(*list, "maps", "The logins that several users or groups share", nullptr,
            [](KqbString const &, KqbString *error) { return kqbSubjectListSharedLogins(error); });
    addList(*list, "servers", "The servers", nullptr,
            [](KqbString const &, KqbString *error) { return kqbSubjectListServers(error); });
}
