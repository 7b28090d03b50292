// Starting /bin/true, waiting for it and taking what it writes, by a process with a small heap and
// by one with a large one.
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QProcess>
#include <QStringList>
#include <iterator>
#include <string>
#include <vector>

#include "bench/library.h"

namespace {

constexpr char kProgram[] = "/bin/true";

void check(bool holds) {
    if (!holds) std::abort();
}

void byKqb() {
    KqbExecute command;
    command.setCommand(kProgram);
    check(command.run(false, true, 0));
    benchmark::DoNotOptimize(command.getOutputLog());
}

std::string readAll(int file) {
    std::string all;
    char buffer[4096];
    for (ssize_t count; (count = read(file, buffer, sizeof buffer)) > 0;) {
        all.append(buffer, static_cast<std::size_t>(count));
    }
    return all;
}

void bySpawn() {
    int ends[2];
    check(pipe2(ends, O_CLOEXEC) == 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
    char *const arguments[] = {const_cast<char *>(kProgram), nullptr};
    pid_t child;
    check(posix_spawn(&child, kProgram, &actions, nullptr, arguments, environ) == 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    benchmark::DoNotOptimize(readAll(ends[0]));
    close(ends[0]);
    int status;
    check(waitpid(child, &status, 0) == child && status == 0);
}

void byPopen() {
    FILE *const child = popen(kProgram, "r");
    benchmark::DoNotOptimize(readAll(fileno(child)));
    check(pclose(child) == 0);
}

void byQt() {
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(kProgram, QStringList());
    check(child.waitForFinished(-1) && child.exitCode() == 0);
    benchmark::DoNotOptimize(child.readAll());
}

void byPoco() {
    Poco::Pipe out;
    Poco::ProcessHandle const child = Poco::Process::launch(kProgram, {}, nullptr, &out, &out);
    Poco::PipeInputStream stream(out);
    benchmark::DoNotOptimize(std::string(std::istreambuf_iterator<char>(stream), {}));
    check(child.wait() == 0);
}

void row(std::string const &work, char const *who, std::size_t heap, void (*run)()) {
    benchmark::RegisterBenchmark((work + "/" + who).c_str(), [heap, run](benchmark::State &state) {
        std::vector<char> const touched(heap, 'x');
        benchmark::DoNotOptimize(touched.data());
        for (auto _ : state) run();
    })->UseRealTime();
}

void rows() {
    for (std::size_t const heap : {std::size_t{0}, std::size_t{256} << 20}) {
        std::string const work =
            heap == 0 ? "run /bin/true, small heap" : "run /bin/true, 256 MB of heap";
        row(work, "kqb", heap, byKqb);
        row(work, "posix_spawn", heap, bySpawn);
        row(work, "popen", heap, byPopen);
        row(work, "QProcess", heap, byQt);
        row(work, "Poco::Process", heap, byPoco);
    }
}

}  // namespace

int main(int argc, char **argv) { return runBenchmarks(argc, argv, rows); }
