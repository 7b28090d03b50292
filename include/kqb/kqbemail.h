// KqbEmail: composes a mail and hands it to a mail command.
#pragma once

#include <initializer_list>
#include <vector>

#include "kqb/kqbstring.h"

// The mail becomes a MIME text file (RFC 2045 to 2047), which a command of the host's choice sends;
// the library itself speaks to no mail server.
//
//   KqbEmail mail;
//   if (!mail.initialize("/var/tmp", "msmtp -- %T < %B")) return complain(mail.getErrorMessage());
//   mail.setTo("ops@example.com");
//   mail.setSubject("Load finished");
//   mail.addMessage("12 rows");
//   mail.addAttachment("/srv/load.log");
//   if (!mail.sendMail()) return complain(mail.getErrorMessage());
//
// The command is a line for /bin/sh in which %T stands for the recipient and %B for the name of the
// mail file. What is put in for them is data to that shell, whatever it holds: a value that is not a
// plain word (ASCII letters, digits and @ + : , . / _ -) is quoted, also where the template has
// quotes around the placeholder. A value that is not plain makes sendMail fail, running nothing,
// where quotes would be no protection:
// - behind a backslash or a dollar sign;
// - behind ` $( << # or a ${} with more than a name in it;
// - in a line that starts another shell or evaluates a line anew (a shell by its usual name or as
//   $SHELL, eval, trap, alias, su, ssh, rsh, watch, parallel): that would read the value a second
//   time. Have a script do such work.
// A value that begins with "-" where the placeholder begins a word is refused too, since the command
// would take it for an option.
//
// Sending changes the template: the command with recipient and file name put in is kept, so that a
// later sendMail runs the same one again, also with another recipient.
//
// The file, with lines that end in CR LF: To, From and Subject; then, where there is a message or an
// attachment, multipart/mixed with the boundary KQ_EMAIL_00, messages first. A header value, and a
// message, that is not all ASCII goes out in base-64 as UTF-8 with its terminating zero byte, on one
// line; every other one as it is. A header value with CR, LF or a zero byte in it is refused, since
// it would be read as further headers. Attachments are base-64 in lines of 76 characters. Their names
// go out as they are, save that " and \ get a \ in front; one with CR or LF in it is refused. A
// message with a line --KQ_EMAIL_00 in it ends where that line stands.
//
// Attachments are regular files. They are read piece by piece, up to the size that they have when
// opened, so memory does not grow with them.
//
// The two temporary files, mail and output, are private to the user. They are deleted with the
// object, and when it is initialised anew.
//
// Failures: false, with the text of a message of "Base Services" in getErrorMessage(). The object
// stays usable. Nothing throws. One object belongs to one thread at a time. Strings need the pool
// (kqbInitialize).
class KQB_API KqbEmail {
public:
    KqbEmail() = default;
    ~KqbEmail();
    KqbEmail(KqbEmail const &) = delete;
    KqbEmail &operator=(KqbEmail const &) = delete;

    // Begins anew: keeps the command's template, empties both lists and creates the two temporary
    // files in directory (null: the system's directory for such files). Recipient, sender and
    // subject stay. False with message 332 when a file cannot be created.
    bool initialize(KqbString const &directory, KqbString const &command);

    // To and Subject are required; without From (null) the mail command chooses the sender.
    void setTo(KqbString const &to) { to_ = to; }
    void setFrom(KqbString const &from) { from_ = from; }
    void setSubject(KqbString const &subject) { subject_ = subject; }

    // Append a text part, and the path of a file to attach. Where memory runs out the next sendMail
    // fails with message 444, until the list is cleared.
    void addMessage(KqbString const &message) { add(messages_, message); }
    void addAttachment(KqbString const &path) { add(attachments_, path); }

    void clearMessages() { clear(messages_); }
    void clearAttachments() { clear(attachments_); }

    // Writes the mail file from its start and runs the command, waiting at most 10 seconds, after
    // which the command is ended with everything it started. A mail without recipient (message 450)
    // or subject (451) or with an attachment that cannot be opened (471) or read (97) never reaches
    // the command. A message that cannot be written is left out (of a full disk the parts behind it
    // tell). Nor is the command run when a placeholder cannot be filled safely (380).
    // The command has failed when it could not be started (380), did not end in time (377), was
    // aborted by a signal (378), or printed anything at all: what it printed, its first 64 KiB at
    // most, is then in the message (333) with lines joined by blanks. Its exit code alone decides
    // nothing; see getExitCode.
    bool sendMail();

    // The path of the mail file; null before initialize.
    KqbString getEmailFile() const;

    // What the last mail command ended with: its exit code, or the signal's number. 0 before any.
    int getExitCode() const { return exitCode_; }

    // Text of the last failure; null when there was none.
    KqbString getErrorMessage() const { return errorMessage_; }

protected:
    // The writers, in the order sendMail uses them: each writes its lines to the mail file, or sets
    // the error message. writeEmailTextFile writes everything, closes the mail file and empties the
    // output file.
    bool writeEmailTextFile();
    bool writeTo();
    bool writeFrom();
    bool writeSubject();
    bool writeBody();
    bool writeMultipartHeader();
    bool writeMessage(KqbString const &message);
    bool writeAttachment(KqbString const &path);
    bool writeBoundary(bool isLast);
    bool writeValue(char const *name, KqbString const &value);

    // An encoded word (RFC 2047) of a header value, and the base-64 of a message, both with their
    // zero byte. False with message 444 without memory.
    bool encodeHeaderValue(KqbString const &value, KqbString *encoded);
    bool encodeBody(KqbString const &message, KqbString *encoded);

    // Whether a text is all ASCII.
    static bool scanStr(KqbString const &text);

private:
    using List = std::vector<KqbString>;
    static constexpr int kNameSize = 1024;
    static constexpr int kNoFile = -1;

    void add(List &list, KqbString const &text);
    void clear(List &list);
    bool fail(int message, std::initializer_list<KqbString> arguments = {});
    bool failFile(int error);
    void closeFiles();
    bool createFile(char *name, int *file);
    bool rewindMailFile();
    bool fillPlaceholder(char const *placeholder, KqbString const &value);
    bool fillCommand();
    bool runCommand();
    bool checkOutput();
    bool writeBytes(char const *data, std::size_t size, int message);
    bool encode(char const *before, KqbString const &text, char const *after, KqbString *encoded);
    bool writeContent(int file, long long size, KqbString const &path);

    KqbString errorMessage_;
    KqbString command_;
    KqbString to_;
    KqbString from_;
    KqbString subject_;
    List messages_;
    List attachments_;
    KqbString boundary_;
    KqbString directory_;
    char mailName_[kNameSize] = "";
    char outputName_[kNameSize] = "";
    int mailFile_ = kNoFile;
    int outputFile_ = kNoFile;
    int exitCode_ = 0;
    bool isCut_ = false;  // an entry did not get into its list
};
