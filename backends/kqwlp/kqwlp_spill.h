// The temporary file of one set.
#pragma once

#include <span>
#include <string>

#include "platform/kqsfio.h"
#include "platform/kqwlp.h"

namespace kqwlp {

class Spill {
public:
    Spill() = default;
    ~Spill() { np_fio_close(file_); }
    Spill(Spill const &) = delete;
    Spill &operator=(Spill const &) = delete;

    // Where the file will be made; null for the system's own place. Throws std::bad_alloc.
    void setDirectory(char const *directory);

    // Puts pieces at the end, one behind the other. After a failure the end is where it was.
    kqwlpCode write(std::span<np_fio_part const> parts, long long *position);

    kqwlpCode read(long long position, char *bytes, std::size_t size) const;

    long long size() const { return size_; }

private:
    kqwlpCode open();

    np_fio_file file_ = NP_FIO_NONE;
    long long size_ = 0;
    bool hasDirectory_ = false;
    std::string directory_;
};

}  // namespace kqwlp
