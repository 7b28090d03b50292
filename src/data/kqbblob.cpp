#include "kqb/kqbblob.h"

#include <algorithm>
#include <new>
#include <utility>

#include "data/kqbblobpageserver_internal.h"
#include "kqb/kqbmempool.h"
#include "platform/kqbb.h"

// What the handles of a blob share.
class KqbBlob::Body {
public:
    // A body with one handle; null when it or the page server cannot be had.
    static Body *make() {
        void *block = nullptr;
        if (!KqbMemPool::getBytes(sizeof(Body), &block)) return nullptr;
        auto *const body = new (block) Body;
        if (body->begin()) return body;
        discard(body);
        return nullptr;
    }

    static void hold(Body *body) {
        if (body != nullptr) kqAtomAdd(&body->references_, 1);
    }

    static void release(Body *body) {
        if (body == nullptr || kqAtomSub(&body->references_, 1) >= 1) return;
        if (body->chain_.first != 0) body->server_.freePages(body->chain_.first, body->chain_.last);
        body->server_.terminate();
        discard(body);
    }

    long long size() const { return size_; }

    bool append(char const *data, long long size) {
        bool inStretches = true;
        while (size > 0) {
            long long done = inStretches ? server_.appendStretch(&chain_, data, size) : 0;
            // What failed as a whole is done page by page, up to what fails then.
            if (done < 0) inStretches = false;
            if (done <= 0) done = appendToPage(data, size);
            if (done < 0) return false;
            data += done;
            size -= done;
            size_ += done;
        }
        return true;
    }

    long long read(char *buffer, long long size) {
        long long count = 0;
        bool isFinal = chain_.first == 0;
        while (count < size && !isFinal) {
            long long const done = readPages(buffer + count, size - count, &isFinal);
            if (done < 0) return -1;
            count += done;
        }
        return count;
    }

    void rewind() { position_ = {chain_.first, chain_.first != 0 ? 0 : server_.pageSize()}; }

private:
    Body() { kqAtomInit(&references_, 1); }

    bool begin() {
        if (!server_.initialize(nullptr)) return false;
        if (!server_.startUp()) {
            server_.terminate();
            return false;
        }
        // As if a page were full, and one were read.
        chain_.writeOffset = position_.offset = server_.pageSize();
        return true;
    }

    static void discard(Body *body) {
        body->~Body();
        KqbMemPool::freeBytes(body);
    }

    // Fills the last page, or takes another one where it is full. Bytes appended; -1 on failure.
    long long appendToPage(char const *data, long long size) {
        unsigned const space = server_.pageSize() - chain_.writeOffset;
        if (space == 0) return addPage() ? 0 : -1;
        auto const chunk = static_cast<unsigned>(std::min<long long>(space, size));
        if (!server_.writePage(chain_.last, data, chain_.writeOffset, chunk)) return -1;
        chain_.writeOffset += chunk;
        return chunk;
    }

    bool addPage() {
        KqbBlobPageId page = 0;
        if (!server_.acquirePage(chain_.first == 0, chain_.last, &page)) return false;
        if (chain_.first == 0) chain_.first = page;
        chain_.last = page;
        chain_.writeOffset = 0;
        return true;
    }

    // Reads what lies together, or moves to the next page where the present one is read. Bytes
    // read; -1 on failure. *isFinal: they reach into the last page, so no more is to be read.
    long long readPages(char *buffer, long long size, bool *isFinal) {
        long long done = server_.readStretch(chain_, &position_, buffer, size);
        if (done == 0) done = readPage(buffer, size);
        *isFinal = done > 0 && position_.page == chain_.last;
        return done;
    }

    long long readPage(char *buffer, long long size) {
        bool const isLast = position_.page == chain_.last;
        unsigned const end =
            isLast ? std::min(chain_.writeOffset, server_.pageSize()) : server_.pageSize();
        if (end <= position_.offset) return moveOn() ? 0 : -1;
        auto const chunk = static_cast<unsigned>(std::min<long long>(end - position_.offset, size));
        if (!server_.readPage(position_.page, buffer, position_.offset, chunk)) return -1;
        position_.offset += chunk;
        return chunk;
    }

    bool moveOn() {
        KqbBlobPageId next = chain_.first;
        if (position_.page != 0 && !server_.nextPage(position_.page, &next)) return false;
        position_ = {next, 0};
        return true;
    }

    kqAtom references_;
    KqbBlobChain chain_;
    KqbBlobPosition position_;
    KqbBlobPageServer server_;
    long long size_ = 0;
};

KqbBlob::KqbBlob(KqbBlob const &other) : body_(other.body_) { Body::hold(body_); }

KqbBlob const &KqbBlob::operator=(KqbBlob const &other) {
    Body::hold(other.body_);
    Body::release(body_);
    body_ = other.body_;
    return *this;
}

KqbBlob const &KqbBlob::operator=(KqbBlob &&other) noexcept {
    if (this != &other) {
        Body::release(body_);
        body_ = std::exchange(other.body_, nullptr);
    }
    return *this;
}

KqbBlob::~KqbBlob() { Body::release(body_); }

__int64 KqbBlob::size() const { return body_ != nullptr ? body_->size() : 0; }

__int64 KqbBlob::read(char *buffer, __int64 size) {
    if (body_ == nullptr || size < 0 || (buffer == nullptr && size > 0)) return -1;
    return body_->read(buffer, size);
}

bool KqbBlob::rewind() {
    if (body_ == nullptr) return false;
    body_->rewind();
    return true;
}

bool KqbBlob::append(char const *data, __int64 size) {
    if (size < 0 || (data == nullptr && size > 0)) return false;
    if (body_ == nullptr) body_ = Body::make();
    return body_ != nullptr && body_->append(data, size);
}
