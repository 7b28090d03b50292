// Uses the installed package as a newcomer would: every header, one value, one option, one URI.
#include <kqb/kqb.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int, char **arguments) {
    setenv("KQEXEC_HOME", arguments[1], 1);
    char const *reason = nullptr;
    std::string const program = std::string(arguments[1]) + "/bin/consumer";
    if (kqbInitialize(program.c_str(), &reason) != 0 || kqbStartup(&reason, 0) != 0) {
        std::fprintf(stderr, "%s\n", reason);
        return 1;
    }
    int result = 1;
    {
        KqbString home;
        bool const found = kqbGetConfigOptions(KqbString())->getOption("KQEXEC_HOME", &home, false);
        KqbString const copy = home;
        KqURI *const uri = getURIFromURIString("kqr://repo1/Jobs/Load(Job)");
        bool const isJob = uri != nullptr && uri->asReposURI()->getType().compare("Job") == 0;
        if (uri != nullptr) uri->release();
        if (found && isJob && copy.compare(arguments[1]) == 0 &&
            KqbDate(2017, 5, 5, 9, 3, 7).getWeekDay() == 5) {
            result = 0;
        }
    }
    kqbShutdown();
    return result;
}
