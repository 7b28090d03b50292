// A mail with a text and an attachment, handed to a command that only looks at it.
#include <cstdio>

#include "kqb/kqbemail.h"
#include "running_library.h"

static bool send(KqbEmail &mail, char const *recipient) {
    mail.setTo(recipient);
    bool const isSent = mail.sendMail();
    std::printf("to %s: %s\n", recipient, isSent ? "sent" : mail.getErrorMessage().asCstr());
    return isSent;
}

// argv[1]: a file to attach.
int main(int argc, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp() || argc < 2) return 1;

    // A command that prints anything has failed, so this one complains of what it does not like.
    // The recipient is data to the shell, whatever it holds.
    KqbEmail mail;
    KqbString const command("grep -q 'Subject: Load' %B || echo bad; test %T != nobody || echo no");
    if (!mail.initialize(KqbString(), command)) return 1;
    mail.setSubject("Load finished");
    mail.addMessage("The load took 12 minutes.");
    mail.addAttachment(argv[1]);
    send(mail, "you & me");

    // The command keeps the recipient that was put into it first.
    KqbEmail other;
    if (!other.initialize(KqbString(), command)) return 1;
    other.setSubject("Load finished");
    send(other, "nobody");
    other.setSubject("Load\nBcc: everybody");
    send(other, "ops");
    return 0;
}
