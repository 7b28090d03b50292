// Whole programs: started, brought up, taken down, ended. What they have resident at their end
// they tell on standard output.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

extern char **environ;

namespace {

// Runs a program; returns the kilobytes it says it had resident, or -1.
long run(std::string const &program) {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    char *const arguments[] = {const_cast<char *>(program.c_str()), nullptr};
    pid_t child;
    int const failed = posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char text[32] = "";
    ssize_t const size = read(ends[0], text, sizeof text - 1);
    close(ends[0]);
    int status = 1;
    if (failed != 0 || waitpid(child, &status, 0) < 0 || status != 0 || size <= 0) return -1;
    return std::atol(text);
}

void life(benchmark::State &state, std::string const &program) {
    long resident = 0;
    for (auto _ : state) {
        resident = run(program);
        if (resident < 0) state.SkipWithError("failed");
    }
    state.counters["resident_KB"] = static_cast<double>(resident);
}

}  // namespace

int main(int argc, char **argv) {
    setenv("KQEXEC_HOME", KQB_BENCH_HOME, 1);
    for (char const *peer : {"kqb", "poco", "qt"}) {
        benchmark::RegisterBenchmark((std::string("initialise, start, shut down/") + peer).c_str(),
                                     [peer](benchmark::State &state) {
                                         life(state, std::string(KQB_BENCH_DIR "/life_") + peer);
                                     })
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
