#include "platform/kqsfio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/kqsfio/kqsfio_calls.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using kqsfio::Calls;
using kqsfio::calls;

std::string read(np_fio_file file, std::size_t size) {
    std::string text(size, '?');
    std::size_t count = 0;
    EXPECT_EQ(NP_FIO_OK, np_fio_read(file, text.data(), size, &count));
    return text.substr(0, count);
}

mode_t modeOf(std::string const &path) {
    struct stat info = {};
    EXPECT_EQ(0, stat(path.c_str(), &info)) << path;
    return info.st_mode & 07777;
}

np_fio_file open(std::string const &path, np_fio_mode mode) {
    np_fio_file file = NP_FIO_NONE;
    EXPECT_EQ(NP_FIO_OK, np_fio_open(path.c_str(), mode, &file)) << path;
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

int closed;

TEST_F(KqsfioFaults, CloseIsNeverTriedTwice) {
    for (auto const &[error, told] : {std::pair{EINTR, NP_FIO_OK}, std::pair{EIO, EIO}}) {
        calls = real_;
        calls.close = [](int file) { return ++closed, ::close(file), -1; };
        closed = 0;
        np_fio_file const file = open(folder_.write("f", ""), NP_FIO_READ);
        errno = error;  // closing succeeds for the system and leaves it
        EXPECT_EQ(told, np_fio_close(file));
        EXPECT_EQ(1, closed);
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
    for (auto const interrupt :
         {fail<&Calls::read>, fail<&Calls::write>, fail<&Calls::pread>, fail<&Calls::pwrite>,
          fail<&Calls::open>, fail<&Calls::ftruncate>, fail<&Calls::fsync>, fail<&Calls::fchmod>,
          fail<&Calls::rename>, fail<&Calls::getrandom>}) {
        interrupt(EINTR, 2);
    }
    std::string const path = folder_.write("f", "");
    np_fio_file const file = open(path, NP_FIO_UPDATE);
    EXPECT_EQ(NP_FIO_OK, np_fio_write(file, "0123456789x", 11));
    EXPECT_EQ(NP_FIO_OK, np_fio_write_at(file, 4, "abcdef", 6));
    EXPECT_EQ(NP_FIO_OK, np_fio_truncate(file, 10));
    char text[8] = "";
    std::size_t count = 0;
    EXPECT_EQ(NP_FIO_OK, np_fio_read_at(file, 3, text, 5, &count));
    EXPECT_EQ("3abcd", std::string(text, count));
    EXPECT_EQ(NP_FIO_OK, np_fio_seek(file, 0, NP_FIO_FROM_START, nullptr));
    EXPECT_EQ("0123abcdef", read(file, 100));
    EXPECT_EQ(NP_FIO_OK, np_fio_close(file));
    EXPECT_EQ(NP_FIO_OK, replace(path));
    EXPECT_EQ("new", folder_.read("f"));
    calls.write = [](int, void const *, size_t) -> ssize_t { return 0; };
    EXPECT_EQ(EIO, np_fio_write(1, "x", 1)) << "a device that takes nothing";
}

TEST_F(KqsfioFaults, FailedReplacementLeavesTheOldFileAlone) {
    std::string const path = folder_.write("f", "old");
    std::pair<void (*)(int, int), int> const steps[] = {
        {fail<&Calls::stat>, EIO},     {fail<&Calls::faccessat>, EACCES},
        {fail<&Calls::open>, EMFILE},  {fail<&Calls::getrandom>, EIO},
        {fail<&Calls::write>, ENOSPC}, {fail<&Calls::fchown>, EIO},
        {fail<&Calls::fstat>, EIO},    {fail<&Calls::fchmod>, EPERM},
        {fail<&Calls::fsync>, ENOSPC}, {fail<&Calls::rename>, EXDEV},
    };
    for (auto const &[failStep, error] : steps) {
        SCOPED_TRACE(std::strerror(error));
        calls = real_;
        failStep(error, -1);
        EXPECT_EQ(error, replace(path));
        EXPECT_EQ("old", folder_.read("f"));
        EXPECT_EQ(1, std::distance(fs::directory_iterator(folder_.path()), {}));
    }
    calls = real_;
    calls.close = [](int file) { return ::close(file), errno = EIO, -1; };
    EXPECT_EQ(EIO, replace(path));
    EXPECT_EQ("old", folder_.read("f"));
    EXPECT_EQ(1, std::distance(fs::directory_iterator(folder_.path()), {}));
}

// Who may not keep the owner must not widen anybody's rights.
TEST_F(KqsfioFaults, RightsNarrowWhenOwnerOrGroupIsLost) {
    struct {
        uid_t owner;
        gid_t group;
        mode_t old, result;
    } const cases[] = {
        {0, 0, 04755, 04755}, {1, 0, 04750, 0750}, {0, 1, 02640, 0600},
        {0, 1, 0664, 0644},   {1, 0, 0477, 0444},  {1, 1, 0604, 0600},
    };
    static std::pair<uid_t, gid_t> added;
    fail<&Calls::fchown>(EPERM);
    calls.stat = [](char const *path, struct stat *info) {
        int const result = ::stat(path, info);
        info->st_uid += added.first;
        info->st_gid += added.second;
        return result;
    };
    for (auto const &c : cases) {
        std::string const path = folder_.write("f", "old");
        ASSERT_EQ(0, chmod(path.c_str(), c.old));
        added = {c.owner, c.group};
        calls.faccessat = [](int, char const *, int, int) { return 0; };
        ASSERT_EQ(NP_FIO_OK, replace(path));
        EXPECT_EQ(c.result, modeOf(path)) << std::oct << c.old;
        ASSERT_EQ(0, chmod(path.c_str(), 0600));
    }
}

// --- Files ------------------------------------------------------------------------------------

TEST(KqsfioFile, ModesReadWriteAppendUpdate) {
    TemporaryFolder const folder;
    std::string const path = folder.path("f");
    struct {
        np_fio_mode mode;
        char const *text, *result;
    } const cases[] = {
        {NP_FIO_WRITE, "one", "one"},
        {NP_FIO_APPEND, "two", "onetwo"},
        {NP_FIO_UPDATE, "T", "Tnetwo"},
        {NP_FIO_WRITE, "", ""},
    };
    for (auto const &c : cases) {
        np_fio_file const file = open(path, c.mode);
        EXPECT_NE(0, fcntl(file, F_GETFD) & FD_CLOEXEC);
        EXPECT_EQ(NP_FIO_OK, np_fio_write(file, c.text, std::strlen(c.text)));
        EXPECT_EQ(NP_FIO_OK, np_fio_close(file));
        EXPECT_EQ(c.result, folder.read("f"));
    }
    EXPECT_EQ(NP_FIO_OK, np_fio_close(NP_FIO_NONE));
    EXPECT_EQ(NP_FIO_OK, np_fio_delete(path.c_str()));
    EXPECT_EQ(0, np_fio_exists(path.c_str()));
}

TEST(KqsfioFile, OpenRefuses) {
    TemporaryFolder const folder;
    std::string const missing = folder.path("missing"), directory = folder.path();
    struct {
        char const *path;
        np_fio_mode mode;
        np_fio_error error;
    } const cases[] = {
        {missing.c_str(), NP_FIO_READ, ENOENT},   {missing.c_str(), NP_FIO_UPDATE, ENOENT},
        {directory.c_str(), NP_FIO_READ, EISDIR}, {directory.c_str(), NP_FIO_WRITE, EISDIR},
        {nullptr, NP_FIO_READ, EINVAL},           {"", NP_FIO_WRITE, ENOENT},
    };
    for (auto const &c : cases) {
        np_fio_file file = 77;
        EXPECT_EQ(c.error, np_fio_open(c.path, c.mode, &file));
        EXPECT_EQ(77, file);
    }
}

TEST(KqsfioFile, SeeksAndExamines) {
    TemporaryFolder const folder;
    np_fio_file const file = open(folder.write("f", "0123456789"), NP_FIO_READ);
    long long position = -1;
    EXPECT_EQ(NP_FIO_OK, np_fio_seek(file, -4, NP_FIO_FROM_END, &position));
    EXPECT_EQ(6, position);
    EXPECT_EQ(NP_FIO_OK, np_fio_seek(file, 1, NP_FIO_FROM_HERE, &position));
    EXPECT_EQ("789", read(file, 9));
    EXPECT_EQ("", read(file, 9));
    np_fio_info info = {};
    EXPECT_EQ(NP_FIO_OK, np_fio_stat_file(file, &info));
    EXPECT_EQ((std::pair{10LL, NP_FIO_REGULAR}), (std::pair{info.size, info.kind}));
    EXPECT_EQ(NP_FIO_OK, np_fio_stat("/dev/null", &info));
    EXPECT_EQ(NP_FIO_OTHER, info.kind);
    EXPECT_EQ(1, np_fio_exists(folder.path().c_str()));
    np_fio_close(file);
}

TEST_F(KqsfioFaults, TemporaryFilesArePrivateAndDistinct) {
    char const *const directory = folder_.path().c_str();
    fail<&Calls::open>(EEXIST, 3);
    std::string names[2];
    for (std::string &path : names) {
        char name[300] = "";
        np_fio_file file = NP_FIO_NONE;
        ASSERT_EQ(NP_FIO_OK, np_fio_tmpfile(directory, "kqb", name, sizeof name, &file));
        path = name;
        EXPECT_TRUE(path.starts_with(folder_.path("kqb"))) << path;
        EXPECT_EQ(0600U, modeOf(path));
        np_fio_close(file);
    }
    EXPECT_NE(names[0], names[1]);
    char name[300] = "old";
    np_fio_file file = 77;
    int const length = static_cast<int>(names[0].size());
    EXPECT_EQ(ENAMETOOLONG, np_fio_tmpfile(directory, "kqb", name, length, &file));
    EXPECT_EQ(EINVAL, np_fio_tmpfile(directory, "../kqb", name, sizeof name, &file));
    fail<&Calls::open>(EEXIST);
    EXPECT_EQ(EEXIST, np_fio_tmpfile(directory, "kqb", name, sizeof name, &file));
    EXPECT_STREQ("old", name);
    EXPECT_EQ(77, file);
}

TEST(KqsfioFile, TemporaryDirectoryIsTheEnvironmentsIfUsable) {
    TemporaryFolder const folder;
    char const *const set = std::getenv("TMPDIR");
    std::string const before = set == nullptr ? "" : set;
    std::string const start = folder.path() + "/";
    std::pair<char const *, char const *> const cases[] = {
        {folder.path().c_str(), start.c_str()}, {"/no/such", "/tmp/"}, {".", "/tmp/"}};
    for (auto const &[value, expected] : cases) {
        setenv("TMPDIR", value, 1);
        char name[300] = "";
        np_fio_file file = NP_FIO_NONE;
        ASSERT_EQ(NP_FIO_OK, np_fio_tmpfile(nullptr, "kqb", name, sizeof name, &file));
        EXPECT_TRUE(std::string_view(name).starts_with(expected)) << name;
        np_fio_close(file);
        np_fio_delete(name);
    }
    set == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", before.c_str(), 1);
}

TEST(KqsfioFile, ErrorTextsAreEnglish) {
    std::string const before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "");
    EXPECT_STREQ("No such file or directory", np_fio_errdesc(ENOENT));
    EXPECT_STREQ("Success", np_fio_errdesc(NP_FIO_OK));
    EXPECT_STREQ("Unknown error 99999", np_fio_errdesc(99999));
    std::setlocale(LC_ALL, before.c_str());
}

// --- Replacing --------------------------------------------------------------------------------

TEST(KqsfioReplace, OldFileStandsUntilTheCommit) {
    TemporaryFolder const folder;
    std::string const path = folder.write("f", "old");
    ASSERT_EQ(0, chmod(path.c_str(), 0640));
    for (bool const commit : {false, true}) {
        np_fio_replacement *replacement = nullptr;
        np_fio_file file = NP_FIO_NONE;
        ASSERT_EQ(NP_FIO_OK, np_fio_replace_begin(path.c_str(), &replacement, &file));
        ASSERT_EQ(NP_FIO_OK, np_fio_write(file, "new", 3));
        EXPECT_EQ("old", folder.read("f"));
        if (commit) {
            EXPECT_EQ(NP_FIO_OK, np_fio_replace_commit(replacement));
        } else {
            np_fio_replace_abandon(replacement);
        }
        EXPECT_EQ(commit ? "new" : "old", folder.read("f"));
        EXPECT_EQ(0640U, modeOf(path));
        EXPECT_EQ(1, std::distance(fs::directory_iterator(folder.path()), {}));
    }
    np_fio_replace_abandon(nullptr);
}

TEST(KqsfioReplace, NewFileFollowsTheMask) {
    TemporaryFolder const folder;
    mode_t const before = umask(027);
    EXPECT_EQ(NP_FIO_OK, replace(folder.path("f")));
    umask(before);
    EXPECT_EQ(0640U, modeOf(folder.path("f")));
}

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
    for (auto const *link : {"link", "link2", "dangling"}) {
        EXPECT_TRUE(fs::is_symlink(folder.path(link))) << link;
    }
    EXPECT_EQ(ELOOP, replace(folder.path("loop")));
}

TEST(KqsfioReplace, OtherTargets) {
    TemporaryFolder const folder;
    EXPECT_EQ(NP_FIO_OK, replace("/dev/null"));
    EXPECT_FALSE(fs::is_regular_file("/dev/null"));
    EXPECT_EQ(EISDIR, replace(folder.path()));
    EXPECT_EQ(ENOENT, replace(folder.path("missing/f")));
    EXPECT_EQ(ENOENT, replace(folder.path("missing/")));
    EXPECT_EQ(ENOENT, replace(""));
    EXPECT_EQ(ENOTDIR, replace("/dev/null/f"));
    EXPECT_TRUE(fs::is_empty(folder.path()));
    EXPECT_EQ(EINVAL, np_fio_replace_commit(nullptr));
}

// --- Paths ------------------------------------------------------------------------------------

TEST(KqsfioPath, Parse) {
    struct {
        char const *path, *directory, *name, *extension;
    } const cases[] = {
        {"/a/b.txt", "/a", "b.txt", "txt"},
        {"b.tar.gz", "", "b.tar.gz", "gz"},
        {"/b", "/", "b", ""},
        {"//b", "/", "b", ""},
        {"a//b.", "a", "b.", ""},
        {"a/", "a", "", ""},
        {"/", "/", "", ""},
        {"", "", "", ""},
        {"a.d/.rc", "a.d", ".rc", ""},
        {"../..", "..", "..", ""},
        {"a\\b.c", "", "a\\b.c", "c"},
        {nullptr, "", "", ""},
    };
    for (auto const &c : cases) {
        np_fio_path parts;
        np_fio_pparse(c.path, &parts);
        EXPECT_EQ(c.directory, std::string(parts.directory, parts.directorySize)) << c.path;
        EXPECT_EQ(c.name, std::string(parts.name, parts.nameSize)) << c.path;
        EXPECT_EQ(c.extension, std::string(parts.extension, parts.extensionSize)) << c.path;
    }
}

TEST(KqsfioPath, Join) {
    struct {
        char const *directory, *name, *result;
    } const cases[] = {
        {"a", "b", "a/b"}, {"a//", "b", "a/b"}, {"/", "b", "/b"},    {"", "b", "b"},
        {"a/", "", "a/"},  {nullptr, "b", "b"}, {"a", nullptr, "a"}, {"a", "/b", ""},
    };
    for (auto const &c : cases) {
        int const length = static_cast<int>(std::strlen(c.result));
        char buffer[5] = "old";
        EXPECT_EQ(length, np_fio_pjoin(c.directory, c.name, buffer, length + 1));
        EXPECT_STREQ(c.result, buffer);
        EXPECT_EQ(length, np_fio_pjoin(c.directory, c.name, buffer, length));
        EXPECT_STREQ(length > 0 ? "" : c.result, buffer) << "too small";
        EXPECT_EQ(length, np_fio_pjoin(c.directory, c.name, nullptr, 0));
    }
}

TEST(KqsfioPath, Absolute) {
    std::string const here = fs::current_path().string();
    std::pair<char const *, std::string> const cases[] = {
        {"/a/../b", "/a/../b"}, {"a/b", here + "/a/b"}, {"", here}, {".", here + "/."}};
    for (auto const &[path, expected] : cases) {
        char buffer[4096] = "old";
        int const length = static_cast<int>(expected.size());
        EXPECT_EQ(length, np_fio_pabsolute(path, buffer, length + 1));
        EXPECT_EQ(expected, buffer);
        EXPECT_EQ(-1, np_fio_pabsolute(path, buffer, length));
        EXPECT_STREQ("", buffer);
    }
}

// --- Directories ------------------------------------------------------------------------------

using Listing = std::map<std::string, np_fio_kind>;

Listing list(std::string const &path) {
    np_fio_dir *directory = nullptr;
    EXPECT_EQ(NP_FIO_OK, np_fio_dir_open(path.c_str(), &directory));
    Listing found;
    char const *name;
    np_fio_kind kind;
    while (np_fio_dir_next(directory, &name, &kind) == 1) found[name] = kind;
    np_fio_dir_close(directory);
    return found;
}

TEST_F(KqsfioFaults, DirectoryKindsWithAndWithoutTheFileSystemsHelp) {
    folder_.write("file", "");
    folder_.write("sub/deeper", "");
    fs::create_symlink("sub", folder_.path("link"));
    fs::create_symlink("missing", folder_.path("dangling"));
    Listing const expected = {{"file", NP_FIO_REGULAR},
                              {"sub", NP_FIO_DIRECTORY},
                              {"link", NP_FIO_DIRECTORY},
                              {"dangling", NP_FIO_OTHER}};
    EXPECT_EQ(expected, list(folder_.path()));
    calls.readdir = [](DIR *stream) {
        dirent *const entry = ::readdir(stream);
        if (entry != nullptr) entry->d_type = DT_UNKNOWN;
        return entry;
    };
    EXPECT_EQ(expected, list(folder_.path()));
    calls.readdir = [](DIR *) -> dirent * { return errno = EIO, nullptr; };
    np_fio_dir *directory = nullptr;
    ASSERT_EQ(NP_FIO_OK, np_fio_dir_open(folder_.path().c_str(), &directory));
    EXPECT_EQ(-EIO, np_fio_dir_next(directory, nullptr, nullptr));
    np_fio_dir_close(directory);
    EXPECT_EQ(ENOENT, np_fio_dir_open(folder_.path("missing").c_str(), &directory));
    EXPECT_EQ(ENOTDIR, np_fio_dir_open(folder_.path("file").c_str(), &directory));
    np_fio_dir_close(nullptr);
}

}  // namespace
