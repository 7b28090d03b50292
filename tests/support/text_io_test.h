// A test with the pool and the text IO module up, as initialisation leaves them.
#pragma once

#include <string>
#include <vector>

#include "io/kqbtextio_internal.h"
#include "kqb/kqbtxtfile.h"
#include "plugins/kqbio/kqbio.h"
#include "support/pool_test.h"

class TextIoTest : public PoolTest {
protected:
    void SetUp() override {
        PoolTest::SetUp();
        kqbSetTextIoFactory(KqbIOInitialize(""));
    }
    void TearDown() override {
        kqbSetTextIoFactory(nullptr);
        PoolTest::TearDown();
    }
};

struct ReleaseTxtFile {
    void operator()(KqbTxtFile *file) const { file->release(); }
};
using TxtFileOwner = std::unique_ptr<KqbTxtFile, ReleaseTxtFile>;

inline TxtFileOwner openText(std::string const &path, KqbTxtFileOpenMode mode, int encoding = -1,
                             int flags = 0) {
    KqbString error;
    TxtFileOwner file(kqbTxtFileOpen(path.c_str(), mode, encoding, flags, &error));
    EXPECT_EQ(file == nullptr, !error.isNull());
    EXPECT_NE(file, nullptr) << error.asCstr();
    return file;
}

inline TxtFileOwner openText(KqbIORaw *stream, KqbTxtFileOpenMode mode, int encoding = -1,
                             int flags = 0) {
    KqbString error;
    TxtFileOwner file(kqbTxtFileOpenStream(stream, mode, encoding, flags, &error));
    EXPECT_NE(file, nullptr) << error.asCstr();
    return file;
}

// All lines that are left; behind them the error text in angle brackets if reading failed.
inline std::vector<std::string> linesOf(KqbTxtFile &file) {
    std::vector<std::string> lines;
    for (;;) {
        char const *text = nullptr;
        unsigned int size = 0;
        bool end = false;
        if (!file.readLine(&text, &size, &end)) {
            lines.push_back("<" + std::string(file.getErrorMessage().asCstr()) + ">");
            return lines;
        }
        EXPECT_EQ(end, text == nullptr);
        if (end) return lines;
        EXPECT_EQ(text[size], '\0');
        lines.emplace_back(text, size);
    }
}
