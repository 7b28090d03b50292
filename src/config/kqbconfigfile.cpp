// Lines are kept in the order in which they were read, one record per line that will be written
// back. An entry takes the record of the comment line that belongs to it, since both are written
// from the entry. A record that lost its entry, because the key was deleted or stood again further
// down, becomes a plain record: its text is then the line that stays in the file, with the entry's
// comment in front of it. So no operation ever touches the record of another line.
//
// Inside, whatever lacks memory throws std::bad_alloc before it has changed anything; the public
// operations turn that into their own answer.
#include "kqb/kqbconfigfile.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "config/kqbblocklist_internal.h"
#include "config/kqbconfigentries_internal.h"
#include "config/kqbkeyindex_internal.h"
#include "config/kqbmemory_internal.h"
#include "core/kqbcopy_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "kqb/kqbmodules.h"
#include "kqb/kqbtxtfile.h"
#include "platform/kqatom.h"

namespace {

constexpr int kOutOfMemory = 444;
constexpr int kDetectEncoding = -1;
constexpr std::uint32_t kNone = KqbKeyIndex::kNone;
constexpr KqbConfigEntry::Part kKey = KqbConfigEntry::kKey;
constexpr KqbConfigEntry::Part kValue = KqbConfigEntry::kValue;
constexpr KqbConfigEntry::Part kComment = KqbConfigEntry::kComment;
constexpr std::string_view kLineFeedEscape = "\\n";
constexpr std::string_view kDeletedMark = "#-DELETED ";

struct ReleaseFile {
    void operator()(KqbTxtFile *file) const { file->release(); }
};
using TextFile = std::unique_ptr<KqbTxtFile, ReleaseFile>;

KqbString outOfMemoryText() {
    return kqb_get_message(KQB_BASE_SERVICES, kOutOfMemory, "kqbconfigfile");
}

// A guess that keeps the key index from growing step by step, and costs little where it is wrong.
std::size_t likelyEntries(KqbTxtFile &file) {
    constexpr long long kBytesPerEntry = 48;
    constexpr long long kMost = 1 << 20;
    return static_cast<std::size_t>(std::clamp(file.size() / kBytesPerEntry, 0LL, kMost));
}

// --- Comments -----------------------------------------------------------------------------------

// The text that a comment line's text stands for: itself, or a copy with its escapes replaced.
std::string_view unescapedComment(std::string_view text, KqbTextStore &texts) {
    std::size_t escape = text.find(kLineFeedEscape);
    if (escape == std::string_view::npos) return text;
    std::string plain;
    while (escape != std::string_view::npos) {
        plain += text.substr(0, escape);
        plain += '\n';
        text.remove_prefix(escape + kLineFeedEscape.size());
        escape = text.find(kLineFeedEscape);
    }
    plain += text;
    return texts.keep(plain);
}

// What stays in the file of an entry that is gone: its comment, as it stands, and a line.
std::string_view deadText(KqbConfigEntry const &entry, std::string_view mark, std::string_view key,
                          KqbTextStore &texts) {
    std::string_view const value = entry.text(kValue);
    std::string_view const comment = entry.text(kComment);
    if (comment.empty()) return texts.keep({mark, key, "=", value});
    return texts.keep({"#", comment, "\n", mark, key, "=", value});
}

// --- Writing ------------------------------------------------------------------------------------

// Gathers lines and hands them to the file many at a time. Every operation is false when the file
// refuses what it is given.
class LineWriter {
public:
    explicit LineWriter(KqbTxtFile &file) : file_(file), buffer_(new char[kRoom]) {}

    bool line(std::string_view text) { return put(text) && put("\n"); }

    bool entry(std::string_view key, KqbConfigEntry const &entry) {
        return comment(entry.text(kComment)) && put(key) && put("=") && line(entry.text(kValue));
    }

    // Hands over what is left.
    bool finish() {
        std::size_t const size = std::exchange(used_, 0);
        return size == 0 || file_.write(buffer_.get(), static_cast<unsigned int>(size));
    }

private:
    static constexpr std::size_t kRoom = 128 * 1024;

    bool comment(std::string_view text) {
        return text.empty() || (put("#") && escapedLines(text) && put("\n"));
    }

    // A comment is one line of the file, however many it has.
    bool escapedLines(std::string_view text) {
        for (;;) {
            std::size_t const end = text.find('\n');
            std::string_view line = text.substr(0, end);
            if (end != std::string_view::npos && line.ends_with('\r')) line.remove_suffix(1);
            if (!put(line)) return false;
            if (end == std::string_view::npos) return true;
            if (!put(kLineFeedEscape)) return false;
            text.remove_prefix(end + 1);
        }
    }

    bool put(std::string_view piece) {
        if (piece.size() > kRoom - used_) return putApart(piece);
        kqbCopy(buffer_.get() + used_, piece.data(), piece.size());
        used_ += piece.size();
        return true;
    }

    [[gnu::noinline]] bool putApart(std::string_view piece) {
        if (piece.size() > std::numeric_limits<unsigned int>::max()) {
            throw std::length_error("line");
        }
        if (!finish()) return false;
        if (piece.size() <= kRoom) return put(piece);
        return file_.write(piece.data(), static_cast<unsigned int>(piece.size()));
    }

    KqbTxtFile &file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
};

}  // namespace

// --- The shared implementation ------------------------------------------------------------------

class KqbConfigFileImpl {
public:
    KqbConfigFileImpl() { kqAtomInit(&references_, 1); }

    void retain() { kqAtomAdd(&references_, 1); }
    void release() {
        if (kqAtomSub(&references_, 1) < 1) delete this;
    }

    bool read(KqbString const &path);
    bool write(KqbString const &path);
    void clear();

    int count() const { return static_cast<int>(entries_.size()); }
    KqbString get(KqbString const &key, KqbConfigEntry::Part part);
    bool getAt(int index, KqbString *key, KqbString *value);
    bool getNext(bool first, KqbString *key, KqbString *value);

    void setEntry(KqbString const &key, KqbString const &value);
    void setComment(KqbString const &key, KqbString const &comment);
    void deleteEntry(KqbString const &key);

    KqbString const &errorMessage() const { return errorMessage_; }

private:
    // A line that will be written back: its text as it stands, or, where it has an entry, the key
    // as this line has it.
    struct Line {
        explicit Line(std::string_view text, std::uint32_t entryAt = kNone)
            : data(text.data()), size(static_cast<std::uint32_t>(text.size())), entry(entryAt) {}
        std::string_view text() const { return {data, size}; }

        char const *data;
        std::uint32_t size;
        std::uint32_t entry;
    };

    class Reader;

    bool fail(KqbString const &message) {
        if (kqbTextOf(message) == kKqbOutOfMemory) kqbNoteMemoryFailure();
        errorMessage_ = message;
        return false;
    }
    bool readLines(KqbTxtFile &file, Reader &reader);
    bool writeLines(KqbTxtFile &file);
    void addLine(std::string_view text);
    void addEntryLine(std::string_view key, std::string_view value, std::string_view comment);
    void addNewEntry(KqbKey const &key, KqbConfigEntry &&entry);
    void overrideEntry(std::uint32_t position, KqbConfigEntry const &entry);
    bool writeAdded(LineWriter &out);
    bool deliver(std::size_t place, KqbString *key, KqbString *value);

    kqAtom references_;
    KqbTextStore texts_;  // what lines, and the entries that stand in them, consist of
    KqbBlockList<Line> lines_;
    // Of an added entry whose key a file brought afterwards: written in front of all lines.
    std::string_view frontLine_;
    KqbConfigEntries entries_;
    KqbKeySet added_;
    KqbString errorMessage_;
    std::size_t nextPlace_ = std::numeric_limits<std::size_t>::max();  // in key order
};

// --- Reading ------------------------------------------------------------------------------------

// Takes one file's lines. A comment line waits for the line behind it, which may be its entry's.
class KqbConfigFileImpl::Reader {
public:
    explicit Reader(KqbConfigFileImpl &target) : target_(target) {}

    void takeLine(std::string_view line) {
        line = target_.texts_.keep(kqbTrimmed(line));
        std::size_t const equals = line.find('=');
        if (line.starts_with('#')) {
            keepComment();
            comment_ = line;
        } else if (equals == std::string_view::npos) {
            keepComment();
            target_.addLine(line);
        } else {
            takeEntry(kqbTrimmed(line.substr(0, equals)), kqbTrimmed(line.substr(equals + 1)));
        }
    }

    // Keeps a comment line that turned out to belong to no entry. To be called at the end too.
    void keepComment() {
        if (!comment_.empty()) target_.addLine(comment_);
        comment_ = {};
    }

private:
    void takeEntry(std::string_view key, std::string_view value) {
        if (comment_.size() < 2) keepComment();  // a bare "#" is no entry's comment
        std::string_view comment = "";
        if (!comment_.empty()) comment = unescapedComment(comment_.substr(1), target_.texts_);
        target_.addEntryLine(key, value, comment);
        comment_ = {};
    }

    KqbConfigFileImpl &target_;
    std::string_view comment_;  // the whole line; empty when none waits
};

bool KqbConfigFileImpl::read(KqbString const &path) {
    KqbString error;
    TextFile const file(kqbTxtFileOpen(path.asCstr(), KqbTxtFileRead, kDetectEncoding,
                                       kKqbTxtFileKeepIllFormed, &error));
    if (file == nullptr) return fail(error);
    Reader reader(*this);
    bool isRead = false;
    bool const hadMemory = kqbWithMemory([&] { isRead = readLines(*file, reader); });
    bool const isKept = kqbWithMemory([&] { reader.keepComment(); });
    if (!hadMemory || !isKept) return fail(outOfMemoryText());
    if (!isRead) return fail(file->getErrorMessage());
    file->close();
    return true;
}

bool KqbConfigFileImpl::readLines(KqbTxtFile &file, Reader &reader) {
    entries_.reserve(likelyEntries(file));
    char const *text = nullptr;
    unsigned int size = 0;
    bool isEnd = false;
    bool isRead = file.readLine(&text, &size, &isEnd);
    while (isRead && !isEnd) {
        reader.takeLine({text, size});
        isRead = file.readLine(&text, &size, &isEnd);
    }
    return isRead;
}

void KqbConfigFileImpl::addLine(std::string_view text) {
    if (lines_.size() >= kNone) throw std::bad_alloc();
    lines_.push_back(Line(text));
}

void KqbConfigFileImpl::addEntryLine(std::string_view key, std::string_view value,
                                     std::string_view comment) {
    KqbKey const sought(key);
    KqbConfigEntry entry(key, value, comment, static_cast<std::uint32_t>(lines_.size()));
    std::uint32_t const known = entries_.find(sought);
    if (known == kNone) {
        addNewEntry(sought, std::move(entry));
    } else {
        overrideEntry(known, entry);
    }
}

void KqbConfigFileImpl::addNewEntry(KqbKey const &key, KqbConfigEntry &&entry) {
    addLine(entry.text(kKey));
    try {
        lines_.back().entry = entries_.add(key, std::move(entry));
    } catch (...) {
        lines_.pop_back();
        throw;
    }
}

// The last line of a key is its entry; what it was before stays in the file as plain text.
void KqbConfigFileImpl::overrideEntry(std::uint32_t position, KqbConfigEntry const &entry) {
    KqbConfigEntry &known = entries_[position];
    std::string_view const dead = deadText(known, {}, entry.text(kKey), texts_);
    addLine(entry.text(kKey));
    lines_.back().entry = position;
    if (known.line() == kNone) {
        frontLine_ = dead;
    } else {
        lines_[known.line()] = Line(dead);
    }
    known.takeOver(entry);
}

// --- Writing ------------------------------------------------------------------------------------

bool KqbConfigFileImpl::write(KqbString const &path) {
    KqbString error;
    TextFile const file(kqbTxtFileOpen(path.asCstr(), KqbTxtFileWrite, kDetectEncoding, 0, &error));
    if (file == nullptr) return fail(error);
    bool isWritten = false;
    if (!kqbWithMemory([&] { isWritten = writeLines(*file); })) return fail(outOfMemoryText());
    if (isWritten && file->close()) return true;
    return fail(file->getErrorMessage());
}

bool KqbConfigFileImpl::writeLines(KqbTxtFile &file) {
    LineWriter out(file);
    if (frontLine_.data() != nullptr && !out.line(frontLine_)) return false;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        Line const &line = lines_[i];
        bool const isWritten = line.entry == kNone ? out.line(line.text())
                                                   : out.entry(line.text(), entries_[line.entry]);
        if (!isWritten) return false;
    }
    return writeAdded(out);
}

// An added key outlives its entry when the file was cleared since.
bool KqbConfigFileImpl::writeAdded(LineWriter &out) {
    for (KqbString const &key : added_.inOrder()) {
        std::uint32_t const position = entries_.find(KqbKey(key));
        if (position == kNone) continue;
        if (!out.line({}) || !out.entry(kqbTextOf(key), entries_[position])) return false;
    }
    return out.finish();
}

// --- Entries ------------------------------------------------------------------------------------

void KqbConfigFileImpl::clear() {
    lines_.clear();
    frontLine_ = {};
    entries_.clear();
    texts_.clear();
    errorMessage_.setNull();
}

KqbString KqbConfigFileImpl::get(KqbString const &key, KqbConfigEntry::Part part) {
    KqbString found;
    std::uint32_t const position = entries_.find(KqbKey(key));
    if (position != kNone) kqbWithMemory([&] { found = entries_[position].string(part); });
    return found;
}

bool KqbConfigFileImpl::getAt(int index, KqbString *key, KqbString *value) {
    if (index >= 0 && index < count() && deliver(static_cast<std::size_t>(index), key, value)) {
        return true;
    }
    if (key != nullptr) key->setNull();
    if (value != nullptr) value->setNull();
    return false;
}

bool KqbConfigFileImpl::getNext(bool first, KqbString *key, KqbString *value) {
    if (first) {
        nextPlace_ = 0;
    } else if (nextPlace_ < entries_.size()) {
        ++nextPlace_;
    }
    return nextPlace_ < entries_.size() && deliver(nextPlace_, key, value);
}

// Hands out the entry at a place in key order. False, outputs untouched, when memory runs out.
bool KqbConfigFileImpl::deliver(std::size_t place, KqbString *key, KqbString *value) {
    return kqbWithMemory([&] {
        KqbConfigEntry &entry = entries_.inOrder(place);
        if (key != nullptr) entry.string(kKey);  // so that nothing fails behind the first output
        if (value != nullptr) *value = entry.string(kValue);
        if (key != nullptr) *key = entry.string(kKey);
    });
}

void KqbConfigFileImpl::setEntry(KqbString const &key, KqbString const &value) {
    KqbKey const sought(key);
    std::uint32_t const position = entries_.find(sought);
    if (position != kNone) {
        entries_[position].set(kValue, value);
        return;
    }
    bool const isNew = added_.add(sought, key);
    try {
        entries_.add(sought, KqbConfigEntry(key, value));
    } catch (...) {
        if (isNew) added_.remove(sought);
        throw;
    }
}

void KqbConfigFileImpl::setComment(KqbString const &key, KqbString const &comment) {
    std::uint32_t const position = entries_.find(KqbKey(key));
    if (position != kNone) entries_[position].set(kComment, comment);
}

void KqbConfigFileImpl::deleteEntry(KqbString const &key) {
    KqbKey const sought(key);
    std::uint32_t const position = entries_.find(sought);
    if (position == kNone) return;
    KqbConfigEntry const &entry = entries_[position];
    if (entry.line() == kNone) {
        added_.remove(sought);
    } else {
        lines_[entry.line()] = Line(deadText(entry, kDeletedMark, kqbTextOf(key), texts_));
    }
    entries_.remove(sought, position);
}

// --- The handle ---------------------------------------------------------------------------------

KqbConfigFile::KqbConfigFile() : impl_(nullptr) {
    kqbWithMemory([this] { impl_ = new KqbConfigFileImpl; });
}

KqbConfigFile::~KqbConfigFile() {
    if (impl_ != nullptr) impl_->release();
}

KqbConfigFile::KqbConfigFile(KqbConfigFile const &other) : impl_(other.impl_) {
    if (impl_ != nullptr) impl_->retain();
}

KqbConfigFile &KqbConfigFile::operator=(KqbConfigFile const &other) {
    KqbConfigFile copy(other);
    std::swap(impl_, copy.impl_);
    return *this;
}

bool KqbConfigFile::read(KqbString const &path) { return impl_ != nullptr && impl_->read(path); }

bool KqbConfigFile::write(KqbString const &path) { return impl_ != nullptr && impl_->write(path); }

void KqbConfigFile::clear() {
    if (impl_ != nullptr) impl_->clear();
}

int KqbConfigFile::getEntryCount() { return impl_ != nullptr ? impl_->count() : 0; }

KqbString KqbConfigFile::getEntry(KqbString const &key) {
    return impl_ != nullptr ? impl_->get(key, kValue) : KqbString();
}

bool KqbConfigFile::getEntry(int index, KqbString *key, KqbString *value) {
    if (impl_ != nullptr) return impl_->getAt(index, key, value);
    if (key != nullptr) key->setNull();
    if (value != nullptr) value->setNull();
    return false;
}

bool KqbConfigFile::getNextEntry(bool first, KqbString *key, KqbString *value) {
    return impl_ != nullptr && impl_->getNext(first, key, value);
}

void KqbConfigFile::setEntry(KqbString const &key, KqbString const &value) {
    if (impl_ != nullptr) kqbWithMemory([&] { impl_->setEntry(key, value); });
}

void KqbConfigFile::deleteEntry(KqbString const &key) {
    if (impl_ != nullptr) kqbWithMemory([&] { impl_->deleteEntry(key); });
}

KqbString KqbConfigFile::getEntryComment(KqbString const &key) {
    return impl_ != nullptr ? impl_->get(key, kComment) : KqbString();
}

void KqbConfigFile::setEntryComment(KqbString const &key, KqbString const &comment) {
    if (impl_ != nullptr) kqbWithMemory([&] { impl_->setComment(key, comment); });
}

KqbString KqbConfigFile::getErrorMessage() {
    return impl_ != nullptr ? impl_->errorMessage() : KqbString();
}
