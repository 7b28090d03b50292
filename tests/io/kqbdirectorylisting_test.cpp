#include "kqb/kqbdirectorylisting.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "backends/kqsfio/kqsfio_calls.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"
#include "support/temporary_folder.h"

namespace {

class DirectoryListing : public PoolTest {
protected:
    std::string namesOf(unsigned int flags) {
        KqbString error("old");
        KqbDirectoryListing *const listing =
            kqbDirectoryOpen(KqbString(folder_.path().c_str()), flags, &error);
        EXPECT_TRUE(error.isNull());
        if (listing == nullptr) return "<null>";
        std::string names;
        KqbString name;
        for (int pass = 0; pass < 2; ++pass, listing->rewind()) {
            int count = 0;
            names.clear();
            for (; listing->next(&name); ++count) names += std::string(name.asCstr()) + " ";
            EXPECT_EQ(count, listing->getCount());
        }
        EXPECT_EQ(names.empty(), name.isNull()) << "untouched at the end";
        listing->release();
        return names;
    }

    TemporaryFolder folder_;
};

TEST_F(DirectoryListing, NamesInByteOrderByKind) {
    EXPECT_EQ(namesOf(0), "");
    for (char const *name : {"b", "a.cfg", "B", "ä", ".hidden"}) folder_.write(name, "x");
    std::filesystem::create_directory(folder_.path("dir"));
    std::filesystem::create_symlink("dir", folder_.path("dirlink"));
    std::filesystem::create_symlink("b", folder_.path("link"));
    std::filesystem::create_symlink("nowhere", folder_.path("lost"));
    EXPECT_EQ(namesOf(0), ".hidden B a.cfg b dir dirlink link lost ä ");
    EXPECT_EQ(namesOf(kKqbDirectoryFiles), ".hidden B a.cfg b link ä ");
    EXPECT_EQ(namesOf(kKqbDirectoryDirectories), "dir dirlink ");
    EXPECT_EQ(namesOf(kKqbDirectoryFiles | kKqbDirectoryDirectories),
              ".hidden B a.cfg b dir dirlink link ä ");
}

TEST_F(DirectoryListing, Failures) {
    KqbString error;
    std::string const missing = folder_.path("missing");
    EXPECT_EQ(kqbDirectoryOpen(KqbString(missing.c_str()), 0, &error), nullptr);
    EXPECT_EQ(error.asCstr(), "Cannot read directory '" + missing + "': No such file or directory");
    EXPECT_EQ(kqbDirectoryOpen(KqbString(), 0, nullptr), nullptr);

    kqsfio::Calls const realCalls = kqsfio::calls;
    kqsfio::calls.readdir = [](DIR *) -> dirent * { return errno = EIO, nullptr; };
    EXPECT_EQ(kqbDirectoryOpen(KqbString(folder_.path().c_str()), 0, &error), nullptr);
    kqsfio::calls = realCalls;
    EXPECT_EQ(error.asCstr(), "Cannot read directory '" + folder_.path() + "': Input/output error");
}

TEST_F(DirectoryListing, WithoutMemory) {
    folder_.write("a name too long for a string to keep in itself", "");
    folder_.write("another name too long for a string to keep in itself", "");
    KqbString const directory(folder_.path().c_str());
    bool hit = true;
    for (long n = 1; hit; ++n) {
        KqbString error;
        AllocFaults::failAt(n);
        KqbDirectoryListing *const listing = kqbDirectoryOpen(directory, 0, &error);
        AllocFaults::off();
        hit = AllocFaults::hit();
        EXPECT_EQ(listing == nullptr, hit);
        EXPECT_EQ(error.isNull(), !hit);
        if (listing != nullptr) listing->release();
    }
}

}  // namespace
