#include "kqb/kqbdirectorylisting.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "backends/kqsfio/kqsfio_calls.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"
#include "support/temporary_folder.h"

namespace {

using kqsfio::calls;

struct DirectoryListing : PoolTest {
    ~DirectoryListing() override { calls = real_; }

    TemporaryFolder folder_;
    kqsfio::Calls const real_ = calls;
};

dirent *withoutItsKind(DIR *stream) {
    dirent *const entry = ::readdir(stream);
    if (entry != nullptr) entry->d_type = DT_UNKNOWN;
    return entry;
}

TEST_F(DirectoryListing, NamesInByteOrderByKind) {
    for (char const *name : {"b", "B", "ä", "dir/f"}) folder_.write(name, "x");
    std::filesystem::create_symlink("dir", folder_.path("dirlink"));
    std::filesystem::create_symlink("nowhere", folder_.path("lost"));
    std::pair<unsigned, char const *> const cases[] = {
        {0, "B b dir dirlink lost ä "},
        {kKqbDirectoryFiles, "B b ä "},
        {kKqbDirectoryDirectories, "dir dirlink "},
        {kKqbDirectoryFiles | kKqbDirectoryDirectories, "B b dir dirlink ä "}};
    KqbString const directory(folder_.path().c_str());
    for (bool const isKindTold : {true, false}) {
        if (!isKindTold) calls.readdir = withoutItsKind;
        for (auto const &[flags, expected] : cases) {
            auto *const listing = kqbDirectoryOpen(directory, flags, nullptr);
            std::string names;
            for (KqbString name; listing->next(&name);) names += std::string(name.asCstr()) + " ";
            EXPECT_EQ(names, expected);
            listing->release();
        }
    }
    calls.readdir = [](DIR *) -> dirent * { return errno = EIO, nullptr; };
    KqbString error;
    EXPECT_EQ(kqbDirectoryOpen(directory, 0, &error), nullptr);
    EXPECT_FALSE(error.isNull());
}

TEST_F(DirectoryListing, WithoutMemory) {
    folder_.write("a name too long for a string to keep in itself", "");
    KqbString const directory(folder_.path().c_str());
    for (auto [n, hit] = std::pair{1L, true}; hit; ++n) {
        AllocFaults::failAt(n);
        KqbDirectoryListing *const listing = kqbDirectoryOpen(directory, 0, nullptr);
        AllocFaults::off();
        hit = AllocFaults::hit();
        EXPECT_EQ(listing == nullptr, hit);
        if (listing != nullptr) listing->release();
    }
}

}  // namespace
