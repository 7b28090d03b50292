#include "backends/kqmsg/kqmsg_catalogs.h"

#include <algorithm>
#include <charconv>

#include "platform/kqsfio.h"

namespace kqmsg {

namespace {

// Everything that can be read of a file; nothing of one that is not there.
std::string readFile(std::string const &path) {
    std::string bytes;
    np_fio_file file = NP_FIO_NONE;
    if (np_fio_open(path.c_str(), NP_FIO_READ, &file) != NP_FIO_OK) return bytes;
    struct Closer {
        np_fio_file file;
        ~Closer() { np_fio_close(file); }
    } const closer{file};
    np_fio_info info;
    bool const isSized = np_fio_stat_file(file, &info) == NP_FIO_OK && info.size > 0;
    if (isSized) bytes.resize(static_cast<std::size_t>(info.size));
    std::size_t count = 0;
    np_fio_error const error = np_fio_read(file, bytes.data(), bytes.size(), &count);
    bytes.resize(error == NP_FIO_OK ? count : 0);
    return bytes;
}

}  // namespace

Bundle::Bundle(std::string bytes) : bytes_(std::move(bytes)) {
    for (std::size_t place = 0; place < bytes_.size();) {
        std::size_t const end = std::min(bytes_.find('\n', place), bytes_.size());
        readLine(place, std::string_view(bytes_).substr(place, end - place));
        place = end + 1;
    }
    std::sort(entries_.begin(), entries_.end(), [](Entry const &a, Entry const &b) {
        return a.number != b.number ? a.number < b.number : a.place < b.place;
    });
}

void Bundle::readLine(std::size_t place, std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    int number = 0;
    auto const read = std::from_chars(line.data(), line.data() + line.size(), number);
    auto const digits = static_cast<std::size_t>(read.ptr - line.data());
    if (read.ec != std::errc() || line.substr(digits, 1) != " ") return;
    entries_.push_back({number, place + digits + 1, line.size() - digits - 1});
}

std::string_view Bundle::find(int number) const {
    auto const behind =
        std::upper_bound(entries_.begin(), entries_.end(), number,
                         [](int sought, Entry const &entry) { return sought < entry.number; });
    if (behind == entries_.begin() || behind[-1].number != number) return {};
    return std::string_view(bytes_).substr(behind[-1].place, behind[-1].size);
}

bool Catalogs::find(std::string const &folder, std::string const &locale, int number,
                    std::string *text) {
    std::string_view const found = bundle(folder, locale).find(number);
    if (found.data() != nullptr) *text = found;
    return found.data() != nullptr;
}

Bundle const &Catalogs::bundle(std::string const &folder, std::string const &locale) {
    auto const key = std::make_pair(folder, locale);
    auto const known = bundles_.find(key);
    if (known != bundles_.end()) return known->second;
    return bundles_.emplace(key, Bundle(readFile(location_ + "/" + folder + "/" + locale + ".txt")))
        .first->second;
}

}  // namespace kqmsg
