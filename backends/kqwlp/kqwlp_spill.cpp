#include "backends/kqwlp/kqwlp_spill.h"

namespace kqwlp {

void Spill::setDirectory(char const *directory) {
    directory_ = directory != nullptr ? directory : "";
    hasDirectory_ = directory != nullptr;
}

// The file has no name any more once it is open, so that nothing stays behind in any event.
kqwlpCode Spill::open() {
    if (file_ != NP_FIO_NONE) return KQWLP_OK;
    char name[4096];
    np_fio_file file;
    char const *const directory = hasDirectory_ ? directory_.c_str() : nullptr;
    if (np_fio_tmpfile(directory, "kqwlp", name, sizeof name, &file) != NP_FIO_OK) {
        return KQWLP_SPILL_WRITE;
    }
    if (np_fio_delete(name) != NP_FIO_OK) {
        np_fio_close(file);
        return KQWLP_SPILL_WRITE;
    }
    file_ = file;
    return KQWLP_OK;
}

kqwlpCode Spill::write(std::span<np_fio_part const> parts, long long *position) {
    if (kqwlpCode const code = open(); code != KQWLP_OK) return code;
    auto const count = static_cast<int>(parts.size());
    if (np_fio_write_parts_at(file_, size_, parts.data(), count) != NP_FIO_OK) {
        np_fio_truncate(file_, size_);  // a full disk gets back what it did take
        return KQWLP_SPILL_WRITE;
    }
    *position = size_;
    for (np_fio_part const &part : parts) size_ += static_cast<long long>(part.size);
    return KQWLP_OK;
}

kqwlpCode Spill::read(long long position, char *bytes, std::size_t size) const {
    std::size_t count = 0;
    np_fio_error const error = np_fio_read_at(file_, position, bytes, size, &count);
    return error == NP_FIO_OK && count == size ? KQWLP_OK : KQWLP_SPILL_READ;
}

}  // namespace kqwlp
