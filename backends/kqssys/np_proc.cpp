// A child that has ended keeps its number, which is also that of its group, until it is reaped. So
// its end is only looked at first, what remains of the group is told to end, and then it is reaped:
// no signal reaches a stranger who was given the number anew.
//
// Nobody's disposition of SIGCHLD is touched. Where the host ignores that signal, or waits for any
// child, the end is still seen, but how it came is known to nobody.
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <new>
#include <thread>

#include "backends/kqssys/np_proc_group.h"
#include "backends/kqssys/np_proc_start.h"
#include "platform/kqssysproc.h"

struct np_proc {
    pid_t child = 0;  // 0: none was started
    int watch = -1;   // becomes readable when the child ends
    bool ownGroup = false;
    np_proc_status status = NP_PROC_RUNNING;
    int code = 0;
    std::array<char, 256> error{};
};

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::chrono::seconds kGrace{2};  // between the request to end and force
constexpr int kCodeUnknown = -1;
constexpr milliseconds kShortestPause{1};
constexpr milliseconds kLongestPause{50};

// --- Looking ------------------------------------------------------------------------------------

enum class Sight { Running, Ended, Lost };  // lost: reaped by somebody else

Sight look(np_proc const &proc, int options) {
    siginfo_t info{};
    int result;
    do {
        result = waitid(P_PID, static_cast<id_t>(proc.child), &info, WEXITED | WNOWAIT | options);
    } while (result == -1 && errno == EINTR);
    if (result == -1) return Sight::Lost;
    return info.si_pid != 0 ? Sight::Ended : Sight::Running;
}

// Passes the time until the child ends, at most so long.
void await(np_proc const &proc, Clock::duration longest, Clock::duration pause) {
    using namespace std::chrono;
    auto const whole = duration_cast<seconds>(longest);
    timespec const limit{whole.count(), duration_cast<nanoseconds>(longest - whole).count()};
    pollfd watched{proc.watch, POLLIN, 0};
    if (proc.watch != -1 && (ppoll(&watched, 1, &limit, nullptr) != -1 || errno == EINTR)) return;
    std::this_thread::sleep_for(std::min(longest, pause));
}

// Kernels without such descriptors, and a process that has none left, make do with pauses.
void watch(np_proc *proc) {
    if (proc->watch == -1) {
        proc->watch = static_cast<int>(syscall(SYS_pidfd_open, proc->child, 0));
    }
}

bool endsBy(np_proc *proc, Clock::time_point deadline) {
    if (look(*proc, WNOHANG) != Sight::Running) return true;
    watch(proc);
    for (auto pause = kShortestPause;; pause = std::min(pause * 2, kLongestPause)) {
        auto const left = deadline - Clock::now();
        if (left > left.zero()) await(*proc, left, pause);
        if (look(*proc, WNOHANG) != Sight::Running) return true;
        if (Clock::now() >= deadline) return false;
    }
}

// --- Ending -------------------------------------------------------------------------------------

// Members of the group whose parents ended before them, where they fall to this process: the
// first of its container, or one that asked for them.
void reapAdopted(pid_t group) {
    siginfo_t info{};
    while (waitid(P_PGID, static_cast<id_t>(group), &info, WEXITED | WNOHANG) == 0 &&
           info.si_pid != 0) {
        info.si_pid = 0;
    }
}

// Nobody tells when a group becomes empty.
bool groupIsGoneBy(pid_t group, Clock::time_point deadline) {
    for (auto pause = kShortestPause;; pause = std::min(pause * 2, kLongestPause)) {
        reapAdopted(group);
        if (kill(-group, 0) == -1 || !kqssys::isAlive(group)) return true;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(pause);
    }
}

void reap(np_proc *proc) {
    siginfo_t info{};
    bool const isKnown = waitid(P_PID, static_cast<id_t>(proc->child), &info, WEXITED) == 0;
    bool const isAborted = isKnown && info.si_code != CLD_EXITED;
    proc->status = isAborted ? NP_PROC_ABORTED : NP_PROC_ENDED;
    proc->code = isKnown ? info.si_status : kCodeUnknown;
}

// Reaps a child that has ended and ends what remains of its group.
void finish(np_proc *proc) {
    if (proc->ownGroup) kill(-proc->child, SIGTERM);
    reap(proc);
    if (!proc->ownGroup || groupIsGoneBy(proc->child, Clock::now() + kGrace)) return;
    kill(-proc->child, SIGKILL);
    groupIsGoneBy(proc->child, Clock::now() + kGrace);
}

void signalAll(np_proc const &proc, int signal) {
    kill(proc.child, signal);
    if (proc.ownGroup) kill(-proc.child, signal);
}

// Ends a running child with its group.
void terminate(np_proc *proc) {
    signalAll(*proc, SIGTERM);
    signalAll(*proc, SIGCONT);  // one that is stopped would not hear it
    if (!endsBy(proc, Clock::now() + kGrace)) {
        signalAll(*proc, SIGKILL);
        look(*proc, 0);
    }
    finish(proc);
}

// Someone else reaped it, long ago perhaps: its number may be a stranger's by now.
void giveUp(np_proc *proc) {
    proc->status = NP_PROC_ENDED;
    proc->code = kCodeUnknown;
}

// --- Results ------------------------------------------------------------------------------------

int fail(np_proc *proc, int error) {
    std::snprintf(proc->error.data(), proc->error.size(), "%s", np_fio_errdesc(error));
    return error;
}

int failEntry(np_proc *proc, char const *entry) {
    std::snprintf(proc->error.data(), proc->error.size(),
                  "The environment entry \"%.100s\" is not of the form NAME=value", entry);
    return EINVAL;
}

int failLimit(np_proc *proc, int seconds) {
    std::snprintf(proc->error.data(), proc->error.size(),
                  "The time limit of %d second%s has passed", seconds, seconds == 1 ? "" : "s");
    return ETIMEDOUT;
}

int startInto(np_proc *proc, char const *const *argv, unsigned flags,
              np_proc_record const *record) {
    constexpr unsigned kNeedsRecord = NP_PROC_OUTPUT | NP_PROC_ENVIRONMENT;
    bool const isGiven = record != nullptr || (flags & kNeedsRecord) == 0;
    if (argv == nullptr || argv[0] == nullptr || !isGiven) return fail(proc, EINVAL);
    np_proc_record const wanted = record != nullptr ? *record : np_proc_record{};
    bool const hasEntries = (flags & NP_PROC_ENVIRONMENT) != 0;
    char const *const bad = hasEntries ? kqssys::badEntry(wanted.environment) : nullptr;
    if (bad != nullptr) return failEntry(proc, bad);
    pid_t child = 0;
    int const error = kqssys::start(argv, flags, wanted, &child);
    if (error != 0) return fail(proc, error);
    proc->child = child;
    proc->ownGroup = (flags & NP_PROC_OWN_GROUP) != 0;
    return 0;
}

// True when the child has ended, by itself or because its time was over, which *isLate tells.
void waitOut(np_proc *proc, int seconds, bool *isLate) {
    if (look(*proc, WNOHANG) == Sight::Lost) return giveUp(proc);
    if (seconds <= 0) {
        look(*proc, 0);
        return finish(proc);
    }
    *isLate = !endsBy(proc, Clock::now() + std::chrono::seconds(seconds));
    *isLate ? terminate(proc) : finish(proc);
}

bool isRunning(np_proc const &proc) { return proc.child != 0 && proc.status == NP_PROC_RUNNING; }

}  // namespace

int np_proc_execute(char const *const *argv, unsigned flags, np_proc_record const *record,
                    np_proc **handle) {
    *handle = new (std::nothrow) np_proc;
    return *handle == nullptr ? ENOMEM : startInto(*handle, argv, flags, record);
}

int np_proc_shellexec(char const *line, unsigned flags, np_proc_record const *record,
                      np_proc **handle) {
    // A line that begins with "-" is no option.
    char const *const argv[] = {"/bin/sh", "-c", "--", line, nullptr};
    return np_proc_execute(line != nullptr ? argv : nullptr, flags, record, handle);
}

int np_proc_wait(np_proc *handle, int seconds, np_proc_status *status, int *code) {
    if (handle == nullptr) return EINVAL;
    if (handle->child == 0) return fail(handle, ECHILD);
    bool isLate = false;
    if (isRunning(*handle)) waitOut(handle, seconds, &isLate);
    *status = handle->status;
    *code = handle->code;
    return isLate ? failLimit(handle, seconds) : 0;
}

char const *np_proc_geterr(np_proc const *handle) {
    return handle == nullptr ? np_fio_errdesc(ENOMEM) : handle->error.data();
}

void np_proc_release(np_proc *handle) {
    if (handle == nullptr) return;
    if (isRunning(*handle) && look(*handle, WNOHANG) != Sight::Lost) terminate(handle);
    if (handle->watch != -1) close(handle->watch);
    delete handle;
}
