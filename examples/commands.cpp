// Commands: running a program, what it writes, a limit, a failure.
#include "kqb/kqbexecute.h"

#include "running_library.h"

static void show(KqbExecute &command, bool isDone) {
    std::printf("%s: %s\n", isDone ? "done" : command.getErrorMessage().asCstr(),
                command.getOutputLog().asCstr());
}

static void capture() {
    KqbExecute command;
    command.setCommand("sh");
    command.addOption("-c");
    command.addOption("echo \"$GREETING from a child\"; exit 1");
    command.addEnvironment("GREETING=Hello");
    show(command, command.run(false, true, 10));
}

static void limit() {
    KqbExecute command;
    command.setCommand("sleep");
    command.addOption("60");
    show(command, command.run(false, false, 1));
}

static void missing() {
    KqbExecute command;
    command.setCommand("/no/such/program");
    show(command, command.run(false, true, 0));
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    capture();
    limit();
    missing();
    return 0;
}
