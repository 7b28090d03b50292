#include "kqb/kqbemail.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "config/kqbmemory_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqsfio.h"
#include "platform/kqssysproc.h"
#include "system/kqbshellquote_internal.h"

namespace {

using std::string_view;

constexpr int kNoTemporaryFile = 332;
constexpr int kCommandPrinted = 333;
constexpr int kNoEnd = 377;
constexpr int kAborted = 378;
constexpr int kNoStart = 380;
constexpr int kOutOfMemory = 444;
constexpr int kNotRewound = 453;
constexpr int kNotEmptied = 454;

constexpr char kPrefix[] = "cmd_email";
constexpr char kBoundary[] = "KQ_EMAIL_00";
constexpr unsigned kProcessFlags = NP_PROC_OUTPUT | NP_PROC_OWN_GROUP;
constexpr int kWaitSeconds = 10;
constexpr std::size_t kMostOutput = 65536;  // that is shown

KqbString number(int value) { return KqbString().assign(value); }

// Closes and deletes a temporary file.
void drop(int *file, char *name) {
    np_fio_close(*file);
    *file = NP_FIO_NONE;
    if (*name != '\0') np_fio_delete(name);
    *name = '\0';
}

// The beginning of the output, as far as it can be read. Throws std::bad_alloc.
std::string readOutput(np_fio_file file) {
    std::string output(kMostOutput, '\0');
    std::size_t count = 0;
    np_fio_read_at(file, 0, output.data(), output.size(), &count);
    output.resize(count);
    std::replace(output.begin(), output.end(), '\0', ' ');  // which would end the text
    return output;
}

string_view withoutTrailingBlanks(string_view line) {
    return line.substr(0, line.find_last_not_of(" \t\r\f\v") + 1);
}

// The lines of a text on one line. Throws std::bad_alloc.
std::string joined(string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t const end = std::min(text.find('\n'), text.size());
        string_view const line = withoutTrailingBlanks(text.substr(0, end));
        if (!result.empty() && !line.empty()) result += ' ';
        result += line;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return result;
}

}  // namespace

KqbEmail::~KqbEmail() { closeFiles(); }

bool KqbEmail::initialize(KqbString const &directory, KqbString const &command) {
    closeFiles();
    directory_ = directory;
    command_ = command;
    boundary_ = KqbString(kBoundary, true);
    exitCode_ = 0;
    messages_.clear();
    attachments_.clear();
    isCut_ = false;
    if (createFile(mailName_, &mailFile_) && createFile(outputName_, &outputFile_)) return true;
    closeFiles();
    return false;
}

bool KqbEmail::createFile(char *name, int *file) {
    char const *const where = directory_.isNull() ? nullptr : directory_.asCstr();
    np_fio_error const error = np_fio_tmpfile(where, kPrefix, name, kNameSize, file);
    return error == NP_FIO_OK || failFile(error);
}

void KqbEmail::closeFiles() {
    drop(&mailFile_, mailName_);
    drop(&outputFile_, outputName_);
}

void KqbEmail::add(List &list, KqbString const &text) {
    if (!kqbWithMemory([&] { list.push_back(text); })) isCut_ = true;
}

void KqbEmail::clear(List &list) {
    list.clear();
    isCut_ = false;
}

KqbString KqbEmail::getEmailFile() const {
    return *mailName_ == '\0' ? KqbString() : KqbString(mailName_);
}

bool KqbEmail::fail(int message, std::initializer_list<KqbString> arguments) {
    errorMessage_ = kqb_get_message(KQB_BASE_SERVICES, message, "kqbemail", arguments);
    return false;
}

bool KqbEmail::failFile(int error) {
    return fail(kNoTemporaryFile, {number(error), directory_, KqbString(np_fio_errdesc(error))});
}

// --- Sending ----------------------------------------------------------------------------------

bool KqbEmail::sendMail() {
    if (isCut_) return fail(kOutOfMemory);
    if (!rewindMailFile() || !writeEmailTextFile() || !fillCommand()) return false;
    bool const hasRun = runCommand();
    return checkOutput() && hasRun;
}

// A mail file that was closed by an earlier success is opened again.
bool KqbEmail::rewindMailFile() {
    if (mailFile_ == NP_FIO_NONE) {
        np_fio_error const error = np_fio_open(mailName_, NP_FIO_UPDATE, &mailFile_);
        if (error != NP_FIO_OK) return failFile(error);
    }
    if (np_fio_seek(mailFile_, 0, NP_FIO_FROM_START, nullptr) != NP_FIO_OK) {
        return fail(kNotRewound, {getEmailFile()});
    }
    return np_fio_truncate(mailFile_, 0) == NP_FIO_OK || fail(kNotEmptied, {getEmailFile()});
}

bool KqbEmail::fillPlaceholder(char const *placeholder, KqbString const &value) {
    char const *refusal = nullptr;
    bool const hasMemory = kqbWithMemory([&] {
        command_ = kqbStringOf(kqbFilledForShell(KqbStringAccess::view(command_), placeholder,
                                                 KqbStringAccess::view(value), &refusal));
    });
    if (!hasMemory) return fail(kOutOfMemory);
    return refusal == nullptr || fail(kNoStart, {KqbString(refusal, true)});
}

// A template that cannot be filled wholly stays as it was.
bool KqbEmail::fillCommand() {
    KqbString const command = command_;
    if (fillPlaceholder("%T", to_) && fillPlaceholder("%B", getEmailFile())) return true;
    command_ = command;
    return false;
}

bool KqbEmail::runCommand() {
    np_proc_record record;
    record.output = outputFile_;
    np_proc *process = nullptr;
    bool isDone = np_proc_shellexec(command_.asCstr(), kProcessFlags, &record, &process) == 0 ||
                  fail(kNoStart, {KqbString(np_proc_geterr(process))});
    if (isDone) {
        np_proc_status status = NP_PROC_RUNNING;
        if (np_proc_wait(process, kWaitSeconds, &status, &exitCode_) != 0)
            isDone = fail(kNoEnd);
        else if (status == NP_PROC_ABORTED)
            isDone = fail(kAborted, {number(exitCode_)});
    }
    np_proc_release(process);
    return isDone;
}

// What the command prints is taken for a complaint.
bool KqbEmail::checkOutput() {
    np_fio_info info;
    if (np_fio_stat_file(outputFile_, &info) != NP_FIO_OK || info.size == 0) return true;
    KqbString text;
    bool const hasMemory =
        kqbWithMemory([&] { text = kqbStringOf(joined(readOutput(outputFile_))); });
    if (!hasMemory) return fail(kOutOfMemory);
    if (text.cStrSize() > 1) fail(kCommandPrinted, {command_, text});
    return false;
}
