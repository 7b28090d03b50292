#include <fstream>
#include <iostream>
#include <memory>

#include "commands.h"
#include "kqb/kqbemail.h"
#include "library.h"
#include "output.h"

namespace {

struct MailArguments {
    StartOptions start;
    std::string command;
    std::string directory;
    std::string to;
    std::string from;
    std::string subject;
    std::vector<std::string> messages;
    std::vector<std::string> attachments;
    bool composeOnly = false;
};

// Reaches what writes the mail file without sending it.
class Composer : public KqbEmail {
public:
    bool compose() { return writeEmailTextFile(); }
};

void check(bool succeeded, KqbEmail const &mail) {
    if (!succeeded) throw Failure(kLibraryFailure, toText(mail.getErrorMessage()));
}

void fill(KqbEmail &mail, MailArguments const &arguments) {
    KqbString const directory =
        arguments.directory.empty() ? KqbString() : KqbString(arguments.directory.c_str());
    check(mail.initialize(directory, arguments.command.c_str()), mail);
    mail.setTo(arguments.to.c_str());
    mail.setSubject(arguments.subject.c_str());
    if (!arguments.from.empty()) mail.setFrom(arguments.from.c_str());
    for (std::string const &message : arguments.messages) mail.addMessage(message.c_str());
    for (std::string const &path : arguments.attachments) mail.addAttachment(path.c_str());
}

void print(KqbEmail const &mail) {
    std::ifstream file(mail.getEmailFile().asCstr(), std::ios::binary);
    if (!file) throw Failure(kLibraryFailure, "the mail file cannot be read");
    std::cout << file.rdbuf();
}

// A command that complained has its complaint in the message; one that only printed blanks has not.
void send(KqbEmail &mail) {
    if (mail.sendMail()) {
        if (mail.getExitCode() == 0) return;
        throw Failure(kLibraryFailure,
                      "the mail command ended with code " + std::to_string(mail.getExitCode()));
    }
    std::string const text = toText(mail.getErrorMessage());
    throw Failure(kLibraryFailure, text.empty() ? "the mail command printed blanks" : text);
}

void mailOut(MailArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    Composer mail;
    fill(mail, arguments);
    if (!arguments.composeOnly) return send(mail);
    check(mail.compose(), mail);
    print(mail);
}

void addList(CLI::App &command, char const *name, std::vector<std::string> &list, char const *type,
             char const *help) {
    command.add_option(name, list, help)
        ->type_name(type)
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all();
}

}  // namespace

void addMailCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<MailArguments>();
    CLI::App *const command =
        tool.add_subcommand("mail", "Compose a mail and hand it to a mail command");
    command->add_option("--to", arguments->to, "Recipient")->required()->type_name("ADDRESS");
    command->add_option("--from", arguments->from, "Sender")->type_name("ADDRESS");
    command->add_option("--subject", arguments->subject, "Subject")->required()->type_name("TEXT");
    addList(*command, "--message", arguments->messages, "TEXT", "A text part; repeatable");
    addList(*command, "--attach", arguments->attachments, "FILE", "Attach a file; repeatable");
    command
        ->add_option("--directory", arguments->directory,
                     "Directory of the temporary files; default: the system's")
        ->type_name("DIR");
    CLI::Option *const how =
        command
            ->add_option("--command", arguments->command,
                         "The mail command, for example \"msmtp -- %T < %B\": %T becomes the "
                         "recipient, %B the mail file")
            ->type_name("LINE");
    CLI::Option *const only = command->add_flag("--compose-only", arguments->composeOnly,
                                                "Print the mail in place of sending it");
    only->excludes(how);
    addStartOptions(*command, arguments->start);
    command->callback([arguments] {
        if (arguments->command.empty() && !arguments->composeOnly)
            throw Failure(kUsage, "either --command or --compose-only is required");
        mailOut(*arguments);
    });
}
