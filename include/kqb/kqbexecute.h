// KqbExecute: runs one external program.
#pragma once

#include "kqb/kqbstring.h"

// Runs a program directly with its arguments, or a command line through the system's shell, with
// further environment entries, a time limit, and what it writes as a text.
//
//   KqbExecute command;
//   command.setCommand("tar");
//   command.addOption("-tf");
//   command.addOption("backup 1.tar");
//   if (!command.run(false, true, 60)) report(command.getErrorMessage());
//   show(command.getOutputLog());
//
// The child gets the process's environment, its working directory, an empty standard input and no
// open file but the standard streams; it leads a process group of its own. When run returns nothing
// of that group runs any more, whether the child ended by itself or was ended, and neither a file
// nor a descriptor is left.
//
// The command, its options and its environment stay for further runs; there is no way to take one
// back. Copies are shallow: a copy and its source share one record, which the destructor of either
// frees. So only one of them may ever be destroyed, and the other not be used from then on.
//
// One object belongs to one thread at a time, all copies together; several objects may run at once.
// Needs the pool (kqbInitialize). Nothing throws.
class KQB_API KqbExecute {
public:
    KqbExecute();
    KqbExecute(KqbExecute const &other);
    KqbExecute &operator=(KqbExecute const &other);
    ~KqbExecute();

    // The program: a path, or a name to be found through PATH.
    void setCommand(KqbString const &command);

    // Appends one argument. One that memory ran out for makes every run fail, since the command
    // without it would be another.
    void addOption(KqbString const &option);

    // Appends an entry "NAME=value", which replaces the process's own of that name; a later one
    // replaces an earlier one. One without a name or without "=" makes the start fail.
    void addEnvironment(KqbString const &entry);

    // Runs the command once and waits for its end. True when it was started and ended by itself,
    // with whatever exit code; that code is not examined.
    //
    // useShell: the words go to "/bin/sh -c" as one line, parted by blanks. A word that contains a
    // blank and does not begin with a double quote is put in double quotes; nothing else is quoted
    // or escaped, so the shell sees dollar signs, quotes, semicolons and the like. Never put words
    // of doubtful origin there. Without useShell each option reaches the program as it is.
    //
    // captureOutput: both streams are written to a private temporary file, whose first 8192 bytes,
    // up to the first NUL, become the output log with every byte of white space (Unicode
    // White_Space) turned into a blank. This happens after the wait however that went; a program
    // that wrote nothing leaves the output log as it was. Without captureOutput the program writes
    // where this process does.
    //
    // timeout: seconds; 0 or less is no limit. A program that takes longer is ended with its group
    // (SIGTERM, two seconds later SIGKILL), and the run has failed.
    //
    // Failures. getErrorMessage has a text of "Event Plugin", getOutputLog an English one:
    //   29   memory ran out                                  (no English text)
    //   332  the temporary file cannot be created            (no English text)
    //   380  "Failed to execute command %s. Error: %s"
    //   377  "Failed to get status of command %s. Error: %s": the time limit, for one
    //   378  "Command aborted with error: %d": ended by the signal of that number
    // What was captured replaces the English text of the last two. False at once, without a text,
    // when the object itself could not be allocated.
    bool run(bool useShell, bool captureOutput, int timeout);

    // The texts of the last run that set them: a run that succeeds leaves the error message of one
    // that failed before. Null until then.
    KqbString getErrorMessage();
    KqbString getOutputLog();

private:
    struct Record;

    Record *record_;
};
