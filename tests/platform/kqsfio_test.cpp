#include "platform/kqsfio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "backends/kqsfio/kqsfio_calls.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kqsfio;

mode_t modeOf(std::string const &path) {
    struct stat info = {};
    EXPECT_EQ(0, stat(path.c_str(), &info)) << path;
    return info.st_mode & 07777;
}

np_fio_file open(std::string const &path, np_fio_mode mode) {
    np_fio_file file = NP_FIO_NONE;
    EXPECT_EQ(NP_FIO_OK, np_fio_open(path.c_str(), mode, &file)) << path;
    EXPECT_NE(0, fcntl(file, F_GETFD) & FD_CLOEXEC);
    return file;
}

// --- Faults -----------------------------------------------------------------------------------

// A call that answers -1 with an error once or always, and then as the system does.
template <class Pointer, Pointer Calls::*kCall>
struct Fault;
template <class Result, class... Args, Result (*Calls::*kCall)(Args...)>
struct Fault<Result (*)(Args...), kCall> {
    static inline Result (*real)(Args...);
    static inline int error, times;

    static Result call(Args... args) {
        if (times == 0) return real(args...);
        --times;
        errno = error;
        return Result(-1);
    }
    static void arm(int newError, int newTimes) {
        real = calls.*kCall;
        error = newError;
        times = newTimes;
        calls.*kCall = call;
    }
};

template <auto kCall>
void fail(int error, int times = -1) {
    Fault<std::remove_reference_t<decltype(calls.*kCall)>, kCall>::arm(error, times);
}

// Puts the real calls back at the end of each test.
class KqsfioFaults : public testing::Test {
protected:
    ~KqsfioFaults() override { calls = real_; }
    TemporaryFolder folder_;
    Calls const real_ = calls;
};

TEST_F(KqsfioFaults, CloseIsNeverTriedTwice) {
    for (auto const &[error, told] : {std::pair{EINTR, NP_FIO_OK}, std::pair{EIO, EIO}}) {
        calls = real_;
        np_fio_file const file = open(folder_.write("f", ""), NP_FIO_READ);
        fail<&Calls::close>(error, 1);  // a second try would succeed
        EXPECT_EQ(told, np_fio_close(file));
        EXPECT_EQ(0, real_.close(file)) << "closed by nobody since";
    }
}

// Replaces a file by "new": the first error on the way.
np_fio_error replace(std::string const &path) {
    np_fio_replacement *replacement = nullptr;
    np_fio_file file = NP_FIO_NONE;
    np_fio_error const begun = np_fio_replace_begin(path.c_str(), &replacement, &file);
    if (begun != NP_FIO_OK) return begun;
    np_fio_error const written = np_fio_write(file, "new", 3);
    if (written == NP_FIO_OK) return np_fio_replace_commit(replacement);
    np_fio_replace_abandon(replacement);
    return written;
}

TEST_F(KqsfioFaults, InterruptedAndShortTransfersGoOn) {
    calls.read = [](int file, void *data, size_t size) {
        return ::read(file, data, std::min<size_t>(size, 3));
    };
    calls.write = [](int file, void const *data, size_t size) {
        return ::write(file, data, std::min<size_t>(size, 2));
    };
    calls.pwrite = [](int file, void const *data, size_t size, off_t position) {
        return ::pwrite(file, data, std::min<size_t>(size, 4), position);
    };
    calls.preadv = [](int file, iovec const *pieces, int count, off_t position) {
        return ::preadv(file, pieces, std::min(count, 1), position);
    };
    calls.pwritev = [](int file, iovec const *pieces, int, off_t position) {
        return ::pwrite(file, pieces->iov_base, std::min<size_t>(pieces->iov_len, 2), position);
    };
    for (auto const interrupt :
         {fail<&Calls::preadv>, fail<&Calls::pwritev>, fail<&Calls::read>, fail<&Calls::write>,
          fail<&Calls::pread>, fail<&Calls::pwrite>, fail<&Calls::open>, fail<&Calls::ftruncate>,
          fail<&Calls::fsync>, fail<&Calls::fchmod>, fail<&Calls::rename>,
          fail<&Calls::getrandom>}) {
        interrupt(EINTR, 2);
    }
    std::string const path = folder_.write("f", "");
    np_fio_file const file = open(path, NP_FIO_UPDATE);
    char text[11] = "";
    std::size_t count = 0;
    EXPECT_EQ(NP_FIO_OK, np_fio_write(file, "0123456789x", 11));
    EXPECT_EQ(NP_FIO_OK, np_fio_write_at(file, 4, "abcdef", 6));
    EXPECT_EQ(NP_FIO_OK, np_fio_truncate(file, 10));
    np_fio_part const parts[] = {{text, 3}, {text + 3, 2}};
    EXPECT_EQ(NP_FIO_OK, np_fio_read_parts_at(file, 2, parts, 2, &count));
    EXPECT_EQ("23abc", std::string(text, count));
    EXPECT_EQ(NP_FIO_OK, np_fio_write_parts_at(file, 2, parts, 2));
    EXPECT_EQ(NP_FIO_OK, np_fio_read_at(file, 3, text, 5, &count));
    EXPECT_EQ("3abcd", std::string(text, count));
    EXPECT_EQ(NP_FIO_OK, np_fio_seek(file, -10, NP_FIO_FROM_END, nullptr));
    EXPECT_EQ(NP_FIO_OK, np_fio_read(file, text, 11, &count));
    EXPECT_EQ("0123abcdef", std::string(text, count));
    EXPECT_EQ(NP_FIO_OK, np_fio_close(file));
    EXPECT_EQ(NP_FIO_OK, replace(path));
    EXPECT_EQ("new", folder_.read("f"));
    calls.write = [](int, void const *, size_t) -> ssize_t { return 0; };
    EXPECT_EQ(EIO, np_fio_write(1, "x", 1)) << "a device that takes nothing";
}

TEST_F(KqsfioFaults, PiecesOfAnyNumberAndSizeMakeOneTransfer) {
    std::string from(60000, '\0'), to(60000, '\0');
    for (std::size_t i = 0; i < from.size(); ++i) from[i] = static_cast<char>(i * 7 / 3);
    std::vector<np_fio_part> sources, targets;
    for (std::size_t start = 0, i = 0; start < from.size(); ++i) {
        std::size_t const size = std::min(i % 7 * 50, from.size() - start);
        sources.push_back({&from[start], size});
        targets.push_back({&to[start], size});
        start += size;
    }
    int const parts = static_cast<int>(sources.size());
    ASSERT_GT(parts, 300);
    np_fio_file const file = open(folder_.write("f", "head"), NP_FIO_UPDATE);
    std::size_t count = 0;
    EXPECT_EQ(NP_FIO_OK, np_fio_write_parts_at(file, 4, sources.data(), parts));
    EXPECT_EQ("head" + from, folder_.read("f"));
    EXPECT_EQ(NP_FIO_OK, np_fio_read_parts_at(file, 4, targets.data(), parts, &count));
    EXPECT_TRUE(count == from.size() && to == from);
    EXPECT_EQ(NP_FIO_OK, np_fio_read_parts_at(file, 60000, targets.data(), parts, &count));
    EXPECT_EQ(4U, count);
    fail<&Calls::pwritev>(ENOSPC, 1);
    EXPECT_EQ(ENOSPC, np_fio_write_parts_at(file, 4, sources.data(), parts));
    EXPECT_EQ(NP_FIO_OK, np_fio_close(file));
}

TEST_F(KqsfioFaults, FailedReplacementLeavesTheOldFileAlone) {
    std::string const path = folder_.write("f", "old");
    std::pair<void (*)(int, int), int> const steps[] = {
        {fail<&Calls::stat>, EIO},
        {fail<&Calls::faccessat>, EACCES},
        {fail<&Calls::open>, EMFILE},
        {fail<&Calls::getrandom>, EIO},
        {fail<&Calls::write>, ENOSPC},
        {fail<&Calls::fchown>, EIO},
        {fail<&Calls::fstat>, EIO},
        {fail<&Calls::fchmod>, EPERM},
        {fail<&Calls::fsync>, ENOSPC},
        {fail<&Calls::rename>, EXDEV},
        {[](int, int) { calls.close = [](int f) { return ::close(f), errno = EIO, -1; }; }, EIO}};
    for (auto const &[failStep, error] : steps) {
        SCOPED_TRACE(std::strerror(error));
        calls = real_;
        failStep(error, -1);
        EXPECT_EQ(error, replace(path));
        EXPECT_EQ("old", folder_.read("f"));
        EXPECT_EQ(1, std::distance(fs::directory_iterator(folder_.path()), {}));
    }
}

// Who may not keep the owner must not widen anybody's rights.
TEST_F(KqsfioFaults, RightsNarrowWhenOwnerOrGroupIsLost) {
    std::tuple<uid_t, gid_t, mode_t, mode_t> const cases[] = {
        {0, 0, 04755, 04755}, {1, 0, 04750, 0750}, {0, 1, 02640, 0600},
        {0, 1, 0664, 0644},   {1, 0, 0477, 0444},  {1, 1, 0604, 0600}};
    static std::pair<uid_t, gid_t> added;
    fail<&Calls::fchown>(EPERM);
    calls.stat = [](char const *path, struct stat *info) {
        int const result = ::stat(path, info);
        info->st_uid += added.first;
        info->st_gid += added.second;
        return result;
    };
    calls.faccessat = [](int, char const *, int, int) { return 0; };
    for (auto const &[owner, group, old, result] : cases) {
        fs::remove(folder_.path("f"));
        std::string const path = folder_.write("f", "old");
        ASSERT_EQ(0, chmod(path.c_str(), old));
        added = {owner, group};
        ASSERT_EQ(NP_FIO_OK, replace(path));
        EXPECT_EQ(result, modeOf(path)) << std::oct << old;
    }
}

// --- Files ------------------------------------------------------------------------------------

TEST_F(KqsfioFaults, TemporaryFilesArePrivateAndDistinct) {
    char const *const directory = folder_.path().c_str();
    fail<&Calls::open>(EEXIST, 3);
    char name[300] = "";
    np_fio_file file = NP_FIO_NONE;
    for (int count = 1; count <= 2; ++count) {
        ASSERT_EQ(NP_FIO_OK, np_fio_tmpfile(directory, "kqb", name, sizeof name, &file));
        EXPECT_EQ(0600U, modeOf(name));
        EXPECT_EQ(count, std::distance(fs::directory_iterator(folder_.path()), {}));
        np_fio_close(file);
    }
    EXPECT_EQ(EINVAL, np_fio_tmpfile(directory, "../kqb", name, sizeof name, &file));
    EXPECT_EQ(ENAMETOOLONG, np_fio_tmpfile(directory, "kqb", name, 10, &file));
    fail<&Calls::open>(EEXIST);
    EXPECT_EQ(EEXIST, np_fio_tmpfile(directory, "kqb", name, sizeof name, &file));
}

// --- Replacing --------------------------------------------------------------------------------

TEST(KqsfioReplace, LinksAreFollowedAlsoToWhatIsToBeMade) {
    TemporaryFolder const folder;
    folder.write("d/old", "old");
    fs::create_symlink("d/old", folder.path("link"));
    fs::create_symlink("link", folder.path("link2"));
    fs::create_symlink("d/../d/new", folder.path("dangling"));
    fs::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(NP_FIO_OK, replace(folder.path("link2")));
    EXPECT_EQ("new", folder.read("d/old"));
    EXPECT_EQ(NP_FIO_OK, replace(folder.path("dangling")));
    EXPECT_EQ("new", folder.read("d/new"));
    EXPECT_TRUE(fs::is_symlink(folder.path("link2")) && fs::is_symlink(folder.path("dangling")));
    EXPECT_EQ(ELOOP, replace(folder.path("loop")));
    EXPECT_EQ(NP_FIO_OK, replace("/dev/null"));
    EXPECT_FALSE(fs::is_regular_file("/dev/null"));
    EXPECT_EQ(EISDIR, replace(folder.path()));
}

}  // namespace
