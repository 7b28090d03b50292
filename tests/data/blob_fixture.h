// Blobs with their page file in a folder of the test's own, their log and the broken rules they
// report.
#pragma once

#include <functional>
#include <vector>

#include "config/config_fixture.h"
#include "config/kqbsingleton_internal.h"
#include "data/kqbblobpageserver_internal.h"
#include "kqb/kqbblob.h"
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbhost.h"
#include "platform/kqlog.h"

class BlobFixture : public ConfigFixture {
protected:
    void SetUp() override {
        ConfigFixture::SetUp();
        ASSERT_TRUE(kqbSingletonsStart());
        ASSERT_EQ(kqlogInitialize(), 0);
        ASSERT_EQ(kqlogConfigure(nullptr), 0);
        static bool const registered = (kqbRegisterAssertionHandler(noteAssertion, nullptr), true);
        ASSERT_TRUE(registered);
        broken().clear();
        set("BASE/TEMP", folder_.path().c_str());
    }
    void TearDown() override {
        EXPECT_EQ(pageFile(), "") << "removed with the last blob";
        kqlogTerminate();
        kqbSingletonsStop();
        ConfigFixture::TearDown();
    }

    static void set(char const *key, char const *value) {
        ASSERT_TRUE(kqbGetConfigOptions("")->setOption(key, value));
    }
    static void setSizes(char const *pageSize, char const *memPages) {
        set("BASE/BLOB/PAGESIZE", pageSize);
        set("BASE/BLOB/MEMPAGES", memPages);
    }
    static void logFrom(int level) { kqlogGetLogger("KQ.Base.Blob.PageServer")->setLevel(level); }

    // What an action logs: the texts, one a line, behind their level.
    static std::string logOf(std::function<void()> const &action) {
        testing::internal::CaptureStderr();
        action();
        std::istringstream lines(testing::internal::GetCapturedStderr());
        std::string texts;
        for (std::string line; std::getline(lines, line);) {
            std::size_t const start = line.find(" - ") + 3;
            texts += line[0] + (" " + line.substr(start, line.rfind(" (") - start)) + "\n";
        }
        return texts;
    }

    // The rules that were reported as broken since the test began.
    static std::vector<std::string> &broken() {
        static std::vector<std::string> messages;
        return messages;
    }

    // The name of the page file; empty when there is none.
    std::string pageFile() const {
        for (auto const &entry : std::filesystem::directory_iterator(folder_.path())) {
            std::string const name = entry.path().filename().string();
            if (name.starts_with("kqblob")) return name;
        }
        return "";
    }
    std::string pageFileBytes() const { return folder_.read(pageFile()); }

    static std::string readAll(KqbBlob &blob) {
        std::string bytes(static_cast<std::size_t>(blob.size()), '?');
        EXPECT_TRUE(blob.rewind());
        EXPECT_EQ(blob.read(bytes.data(), blob.size()), blob.size());
        return bytes;
    }
    static bool append(KqbBlob &blob, std::string const &bytes) {
        return blob.append(bytes.data(), static_cast<long long>(bytes.size()));
    }
    // Bytes that differ from page to page.
    static std::string pattern(std::size_t size, unsigned seed = 1) {
        std::string bytes(size, '\0');
        for (char &byte : bytes) byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
        return bytes;
    }

private:
    static void noteAssertion(char const *message, char const *, int, void *) {
        broken().push_back(message);
    }
};

// A hold of the test on the page server.
class HeldPages {
public:
    HeldPages() { EXPECT_TRUE(server.initialize(nullptr) && server.startUp()); }
    ~HeldPages() { server.terminate(); }
    HeldPages(HeldPages const &) = delete;
    HeldPages &operator=(HeldPages const &) = delete;

    KqbBlobPageServer server;
};
