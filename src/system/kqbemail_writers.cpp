// What the mail file is made of. Headers and boundaries are written at once, each with a message of
// its own; attachments pass through a buffer that the processor's cache holds.
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "config/kqbmemory_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbemail.h"
#include "platform/kqschr.h"
#include "platform/kqsfio.h"
#include "platform/kqsstr.h"

namespace {

using std::string;
using std::string_view;

constexpr int kNotRead = 97;
constexpr int kOutOfMemory = 444;
constexpr int kNoBoundary = 448;
constexpr int kNoHeader = 449;
constexpr int kNoRecipient = 450;
constexpr int kNoSubject = 451;
constexpr int kNoBody = 452;
constexpr int kNotRewound = 453;
constexpr int kNotEmptied = 454;
constexpr int kNotOpened = 471;

constexpr char kLineEnd[] = "\r\n";
constexpr std::size_t kLineEndSize = 2;

// A line of base-64, and as many as go through the buffer at once.
constexpr std::size_t kLineBytes = 57;
constexpr std::size_t kLineSize = kqs_b64_size(kLineBytes) + kLineEndSize;
constexpr std::size_t kLines = 1024;

struct Buffer {
    unsigned char bytes[kLines * kLineBytes];
    char text[kLines * kLineSize];
};

struct ClosedFile {
    ~ClosedFile() { np_fio_close(file); }
    np_fio_file file = NP_FIO_NONE;
};

bool breaksLines(string_view text) {
    return text.find_first_of(string_view("\r\n\0", 3)) != string_view::npos;
}

// Encodes size bytes in lines; the size of the text.
std::size_t encodeLines(unsigned char const *bytes, std::size_t size, char *text) {
    char *to = text;
    while (size > 0) {
        std::size_t const count = size < kLineBytes ? size : kLineBytes;
        to += kqs_b64_encode(bytes, count, to);
        *to++ = kLineEnd[0];
        *to++ = kLineEnd[1];
        bytes += count;
        size -= count;
    }
    return static_cast<std::size_t>(to - text);
}

// A file's name without its directory, for use between double quotes. Throws std::bad_alloc.
string quotable(string_view path) {
    string name;
    for (char const c : path.substr(path.rfind('/') + 1)) {
        if (c == '"' || c == '\\') name += '\\';
        name += c;
    }
    return name;
}

// Opens a file that can be read to an end; *size is how much there is of it now. What is no regular
// file might never end, and opening it might never return.
np_fio_error openAttachment(KqbString const &path, np_fio_file *file, long long *size) {
    if (breaksLines(KqbStringAccess::view(path))) return EINVAL;
    np_fio_info info;
    if (np_fio_error const error = np_fio_stat(path.asCstr(), &info)) return error;
    if (info.kind != NP_FIO_REGULAR) return info.kind == NP_FIO_DIRECTORY ? EISDIR : EOPNOTSUPP;
    if (np_fio_error const error = np_fio_open(path.asCstr(), NP_FIO_READ, file)) return error;
    np_fio_error const error = np_fio_stat_file(*file, &info);
    *size = info.size;
    return error;
}

}  // namespace

bool KqbEmail::scanStr(KqbString const &text) {
    string_view const bytes = KqbStringAccess::view(text);
    return np_uchar_isascii_n(bytes.data(), bytes.size());
}

bool KqbEmail::writeBytes(char const *data, std::size_t size, int message) {
    return np_fio_write(mailFile_, data, size) == NP_FIO_OK || fail(message);
}

// --- Headers ----------------------------------------------------------------------------------

bool KqbEmail::writeEmailTextFile() {
    if (!writeTo() || !writeFrom() || !writeSubject() || !writeBody()) return false;
    np_fio_file const written = mailFile_;
    mailFile_ = NP_FIO_NONE;
    if (np_fio_close(written) != NP_FIO_OK) return fail(kNoBody);
    if (np_fio_seek(outputFile_, 0, NP_FIO_FROM_START, nullptr) != NP_FIO_OK) {
        return fail(kNotRewound, {KqbString(outputName_)});
    }
    return np_fio_truncate(outputFile_, 0) == NP_FIO_OK ||
           fail(kNotEmptied, {KqbString(outputName_)});
}

bool KqbEmail::writeTo() { return to_.isNull() ? fail(kNoRecipient) : writeValue("To", to_); }

bool KqbEmail::writeFrom() { return from_.isNull() || writeValue("From", from_); }

bool KqbEmail::writeSubject() {
    return subject_.isNull() ? fail(kNoSubject) : writeValue("Subject", subject_);
}

// A value that would end its line could smuggle in headers of its own.
bool KqbEmail::writeValue(char const *name, KqbString const &value) {
    KqbString encoded = value;
    if (!scanStr(value) && !encodeHeaderValue(value, &encoded)) return false;
    string line;
    bool const hasMemory = kqbWithMemory([&] {
        line.append(name).append(": ").append(KqbStringAccess::view(encoded)).append(kLineEnd);
    });
    if (!hasMemory) return fail(kOutOfMemory);
    bool const isRefused = breaksLines(KqbStringAccess::view(value));
    if (!isRefused && np_fio_write(mailFile_, line.data(), line.size()) == NP_FIO_OK) return true;
    return fail(kNoHeader, {KqbString(name), value});
}

bool KqbEmail::encodeHeaderValue(KqbString const &value, KqbString *encoded) {
    return encode("=?UTF-8?B?", value, "?=", encoded);
}

bool KqbEmail::encodeBody(KqbString const &message, KqbString *encoded) {
    return encode("", message, "", encoded);
}

// The zero byte at the text's end is encoded with it.
bool KqbEmail::encode(char const *before, KqbString const &text, char const *after,
                      KqbString *encoded) {
    bool const hasMemory = kqbWithMemory([&] {
        string result(before);
        std::size_t const start = result.size();
        result.resize(start + kqs_b64_size(text.cStrSize()));
        kqs_b64_encode(text.asCstr(), text.cStrSize(), result.data() + start);
        *encoded = kqbStringOf(result.append(after));
    });
    return hasMemory || fail(kOutOfMemory);
}

// --- Body -------------------------------------------------------------------------------------

bool KqbEmail::writeBody() {
    if (messages_.empty() && attachments_.empty()) return true;
    if (!writeMultipartHeader()) return false;
    for (KqbString const &message : messages_) writeMessage(message);
    for (KqbString const &path : attachments_) {
        if (!writeAttachment(path)) return false;
    }
    return writeBoundary(true);
}

bool KqbEmail::writeMultipartHeader() {
    string header;
    bool const hasMemory = kqbWithMemory([&] {
        header.append("Content-Type: multipart/mixed; boundary=\"")
            .append(KqbStringAccess::view(boundary_))
            .append("\"\r\nMIME-version: 1.0\r\n")
            .append("This is a multi-part message in MIME format.\r\n\r\n");
    });
    if (!hasMemory) return fail(kOutOfMemory);
    return writeBytes(header.data(), header.size(), kNoBody);
}

bool KqbEmail::writeBoundary(bool isLast) {
    string line;
    bool const hasMemory = kqbWithMemory([&] {
        line.append("--").append(KqbStringAccess::view(boundary_));
        line.append(isLast ? "--\r\n" : kLineEnd);
    });
    if (!hasMemory) return fail(kOutOfMemory);
    return writeBytes(line.data(), line.size(), kNoBoundary);
}

bool KqbEmail::writeMessage(KqbString const &message) {
    bool const isPlain = scanStr(message);
    KqbString body = message;
    if (!isPlain && !encodeBody(message, &body)) return false;
    string_view const header = isPlain ? "Content-Type: text/plain; charset=US-ASCII\r\n"
                                         "Content-Transfer-Encoding: 7bit\r\n\r\n"
                                       : "Content-Type: text/plain; charset=UTF-8\r\n"
                                         "Content-Transfer-Encoding: base64\r\n\r\n";
    string_view const text = KqbStringAccess::view(body);
    return writeBoundary(false) && writeBytes(header.data(), header.size(), kNoBody) &&
           writeBytes(text.data(), text.size(), kNoBody) &&
           writeBytes(kLineEnd, kLineEndSize, kNoBody);
}

bool KqbEmail::writeAttachment(KqbString const &path) {
    ClosedFile attachment;
    long long size = 0;
    if (np_fio_error const error = openAttachment(path, &attachment.file, &size)) {
        return fail(kNotOpened, {KqbString(np_fio_errdesc(error))});
    }
    string header;
    bool const hasMemory = kqbWithMemory([&] {
        header.append("Content-Type: application/octet-stream\r\n")
            .append("Content-Transfer-Encoding: base64\r\n")
            .append("Content-Disposition: attachment; filename=\"")
            .append(quotable(KqbStringAccess::view(path)))
            .append("\"\r\n\r\n");
    });
    if (!hasMemory) return fail(kOutOfMemory);
    return writeBoundary(false) && writeBytes(header.data(), header.size(), kNoBody) &&
           writeContent(attachment.file, size, path);
}

// Files that tell no size, as those of /proc, are read to their end.
bool KqbEmail::writeContent(int file, long long size, KqbString const &path) {
    std::unique_ptr<Buffer> const buffer(new (std::nothrow) Buffer);
    if (buffer == nullptr) return fail(kOutOfMemory);
    for (long long left = size; size == 0 || left > 0;) {
        std::size_t wanted = sizeof buffer->bytes, count = 0;
        if (size > 0 && left < static_cast<long long>(wanted)) {
            wanted = static_cast<std::size_t>(left);
        }
        if (np_fio_error const error = np_fio_read(file, buffer->bytes, wanted, &count)) {
            return fail(kNotRead, {path, KqbString(np_fio_errdesc(error))});
        }
        std::size_t const written = encodeLines(buffer->bytes, count, buffer->text);
        if (!writeBytes(buffer->text, written, kNoBody)) return false;
        if (count < wanted) return true;  // the end
        left -= static_cast<long long>(count);
    }
    return true;
}
