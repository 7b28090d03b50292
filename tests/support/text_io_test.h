// A test with the pool and the text IO module up, as initialisation leaves them.
#pragma once

#include <string>
#include <vector>

#include "io/kqbtextio_internal.h"
#include "kqb/kqbtxtfile.h"
#include "plugins/kqbio/kqbio.h"
#include "support/pool_test.h"

struct TextIoTest : PoolTest {
    void SetUp() override {
        PoolTest::SetUp();
        kqbSetTextIoFactory(KqbIOInitialize(""));
    }
    ~TextIoTest() override { kqbSetTextIoFactory(nullptr); }
};

struct ReleaseTxtFile {
    void operator()(KqbTxtFile *file) const { file->release(); }
};
using TxtFileOwner = std::unique_ptr<KqbTxtFile, ReleaseTxtFile>;

// Opens a file by its path, or a stream.
template <class Source>
TxtFileOwner openText(Source const &source, KqbTxtFileOpenMode mode, int encoding = -1,
                      int flags = 0) {
    KqbString error;
    TxtFileOwner file;
    if constexpr (std::is_convertible_v<Source, KqbIORaw *>) {
        file.reset(kqbTxtFileOpenStream(source, mode, encoding, flags, &error));
    } else {
        file.reset(kqbTxtFileOpen(std::string(source).c_str(), mode, encoding, flags, &error));
    }
    EXPECT_NE(file, nullptr) << error.asCstr();
    return file;
}

// All lines that are left; behind them the error text in angle brackets if reading failed.
inline std::vector<std::string> linesOf(KqbTxtFile &file) {
    std::vector<std::string> lines;
    char const *text = nullptr;
    unsigned int size = 0;
    for (bool end = false; file.readLine(&text, &size, &end); lines.emplace_back(text, size)) {
        EXPECT_EQ(end, text == nullptr);
        if (end) return lines;
        EXPECT_EQ(text[size], '\0');
    }
    lines.push_back("<" + std::string(file.getErrorMessage().asCstr()) + ">");
    return lines;
}
