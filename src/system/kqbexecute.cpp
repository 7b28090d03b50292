#include "kqb/kqbexecute.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "config/kqbmemory_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "kqb/kqbstringformat.h"
#include "platform/kqschr.h"
#include "platform/kqsfio.h"
#include "platform/kqssysproc.h"

namespace {

using std::string_view;

constexpr int kNoMemory = 29;
constexpr int kNoCaptureFile = 332;
constexpr int kNoStatus = 377;
constexpr int kAborted = 378;
constexpr int kNotStarted = 380;

constexpr long long kMostOutput = 8192;  // bytes

KqbString message(int number, std::initializer_list<KqbString> arguments = {}) {
    return kqb_get_message(KQB_EVENT_PLUGIN, number, "kqbexecute", arguments);
}

KqbString textOf(int number) { return KqbString().assign(number); }

// --- The command's words --------------------------------------------------------------------------

// The texts of strings, ending in null. Throws std::bad_alloc.
std::vector<char const *> textsOf(std::vector<KqbString> const &strings) {
    std::vector<char const *> texts;
    texts.reserve(strings.size() + 1);
    for (KqbString const &string : strings) texts.push_back(string.asCstr());
    texts.push_back(nullptr);
    return texts;
}

void appendWord(string_view word, std::string *line) {
    bool const isQuoted = !word.starts_with('"') && word.find(' ') != string_view::npos;
    if (isQuoted) *line += '"';
    *line += word;
    if (isQuoted) *line += '"';
}

// --- The output -----------------------------------------------------------------------------------

// A file that has no name any more once it is open, so that nothing is left even of a process that
// is killed.
class CaptureFile {
public:
    CaptureFile() = default;
    ~CaptureFile() { np_fio_close(file_); }
    CaptureFile(CaptureFile const &) = delete;
    CaptureFile &operator=(CaptureFile const &) = delete;

    np_fio_error create() {
        std::array<char, 1024> name;
        int const size = static_cast<int>(name.size());
        np_fio_error const error = np_fio_tmpfile(nullptr, "runprog", name.data(), size, &file_);
        if (error == NP_FIO_OK) np_fio_delete(name.data());
        return error;
    }

    np_fio_file handle() const { return file_; }

    // Leaves *text as it was when there is nothing.
    void read(KqbString *text) const;

private:
    np_fio_file file_ = NP_FIO_NONE;
};

// Turns each byte of white space into a blank.
void blankOut(char *text) {
    while (*text != '\0') {
        int const space = np_uchar_isspace(text);
        if (space > 0) std::memset(text, ' ', static_cast<std::size_t>(space));
        text += std::max(space, 1);
    }
}

void CaptureFile::read(KqbString *text) const {
    np_fio_info info;
    if (np_fio_stat_file(file_, &info) != NP_FIO_OK || info.size == 0) return;
    std::array<char, kMostOutput + 1> buffer;
    auto const most = static_cast<std::size_t>(std::min(info.size + 1, kMostOutput));
    std::size_t count = 0;
    if (np_fio_read_at(file_, 0, buffer.data(), most, &count) != NP_FIO_OK) count = 0;
    buffer[count] = '\0';
    blankOut(buffer.data());
    text->assign(buffer.data());
    if (text->isNull()) *text = KqbString("Failed to allocate memory to read program output", true);
}

struct ReleaseChild {
    void operator()(np_proc *child) const { np_proc_release(child); }
};

}  // namespace

// --- The record -----------------------------------------------------------------------------------

struct KqbExecute::Record {
    KqbString errorMessage;
    KqbString command;
    std::vector<KqbString> options;
    std::vector<KqbString> environment;
    KqbString outputLog;
    bool isIncomplete = false;  // an option or entry was lost

    // Throw std::bad_alloc.
    bool run(bool useShell, bool captureOutput, int timeout);
    int start(bool useShell, unsigned flags, np_proc_record const &record, np_proc **child) const;
    std::string shellLine() const;

    void add(KqbString const &text, std::vector<KqbString> *list) {
        if (!kqbWithMemory([&] { list->push_back(text); })) isIncomplete = true;
    }
    bool fail(KqbString const &text) {
        errorMessage = text;
        return false;
    }
    bool failStart(KqbString const &reason);
    bool wait(np_proc *child, int timeout);
};

std::string KqbExecute::Record::shellLine() const {
    std::string line;
    appendWord(KqbStringAccess::view(command), &line);
    for (KqbString const &option : options) {
        line += ' ';
        appendWord(KqbStringAccess::view(option), &line);
    }
    return line;
}

int KqbExecute::Record::start(bool useShell, unsigned flags, np_proc_record const &record,
                              np_proc **child) const {
    if (useShell) return np_proc_shellexec(shellLine().c_str(), flags, &record, child);
    std::vector<char const *> arguments = textsOf(options);
    arguments.insert(arguments.begin(), command.asCstr());
    return np_proc_execute(arguments.data(), flags, &record, child);
}

bool KqbExecute::Record::failStart(KqbString const &reason) {
    outputLog = kqbStringFormat("Failed to execute command %S. Error: %S", command, reason);
    return fail(message(kNotStarted, {reason}));
}

bool KqbExecute::Record::wait(np_proc *child, int timeout) {
    np_proc_status status = NP_PROC_RUNNING;
    int code = 0;
    if (np_proc_wait(child, timeout, &status, &code) != 0) {
        outputLog = kqbStringFormat("Failed to get status of command %S. Error: %s", command,
                                    np_proc_geterr(child));
        return fail(message(kNoStatus));
    }
    if (status != NP_PROC_ABORTED) return true;
    outputLog = kqbStringFormat("Command aborted with error: %d", code);
    return fail(message(kAborted, {textOf(code)}));
}

bool KqbExecute::Record::run(bool useShell, bool captureOutput, int timeout) {
    if (isIncomplete) throw std::bad_alloc();
    unsigned flags = NP_PROC_OWN_GROUP;
    std::vector<char const *> const entries = textsOf(environment);
    if (!environment.empty()) flags |= NP_PROC_ENVIRONMENT;
    CaptureFile capture;
    if (captureOutput) {
        flags |= NP_PROC_OUTPUT;
        np_fio_error const error = capture.create();
        if (error != NP_FIO_OK) {
            return fail(message(kNoCaptureFile, {textOf(error), np_fio_errdesc(error)}));
        }
    }
    np_proc *started = nullptr;
    int const error = start(useShell, flags, {capture.handle(), entries.data()}, &started);
    std::unique_ptr<np_proc, ReleaseChild> const child(started);
    if (error != 0) return failStart(np_proc_geterr(started));
    bool const isEnded = wait(started, timeout);
    if (captureOutput) capture.read(&outputLog);
    return isEnded;
}

// --- The object -----------------------------------------------------------------------------------

KqbExecute::KqbExecute() : record_(new (std::nothrow) Record) {}

KqbExecute::KqbExecute(KqbExecute const &other) = default;

KqbExecute &KqbExecute::operator=(KqbExecute const &other) = default;

KqbExecute::~KqbExecute() { delete record_; }

void KqbExecute::setCommand(KqbString const &command) {
    if (record_ != nullptr) record_->command = command;
}

void KqbExecute::addOption(KqbString const &option) {
    if (record_ != nullptr) record_->add(option, &record_->options);
}

void KqbExecute::addEnvironment(KqbString const &entry) {
    if (record_ != nullptr) record_->add(entry, &record_->environment);
}

bool KqbExecute::run(bool useShell, bool captureOutput, int timeout) {
    if (record_ == nullptr) return false;
    bool isEnded = false;
    bool const isDone =
        kqbWithMemory([&] { isEnded = record_->run(useShell, captureOutput, timeout); });
    return isDone ? isEnded : record_->fail(message(kNoMemory));
}

KqbString KqbExecute::getErrorMessage() {
    return record_ != nullptr ? record_->errorMessage : KqbString();
}

KqbString KqbExecute::getOutputLog() {
    return record_ != nullptr ? record_->outputLog : KqbString();
}
