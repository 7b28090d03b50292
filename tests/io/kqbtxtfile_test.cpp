// Opening and reading text files.
#include "kqb/kqbtxtfile.h"

#include <gtest/gtest.h>

#include "backends/kqsfio/kqsfio_calls.h"
#include "platform/kqschr.h"
#include "support/memory_stream.h"
#include "support/pool_faults.h"
#include "support/temporary_folder.h"
#include "support/text_encodings.h"
#include "support/text_io_test.h"

namespace {

using Lines = std::vector<std::string>;

class TxtFileReading : public TextIoTest {
protected:
    Lines linesIn(std::string_view content, int encoding = -1, int flags = 0) {
        std::string const path = folder_.write("f", content);
        Lines const lines = linesOf(*openText(path, KqbTxtFileRead, encoding, flags));
        for (std::size_t step : {1U, 7U, 100'000U}) {
            auto *const stream = new MemoryStream(std::string(content), step);
            Lines const streamed = linesOf(*openText(stream, KqbTxtFileRead, encoding, flags));
            EXPECT_EQ(withoutErrors(streamed), withoutErrors(lines)) << "in steps of " << step;
        }
        return lines;
    }

    // The subject of an error text is not the same for paths and streams.
    static Lines withoutErrors(Lines lines) {
        if (!lines.empty() && lines.back().starts_with("<Cannot")) lines.back() = "<>";
        return lines;
    }

    std::string error(std::string_view reason) const {
        return "<Cannot read '" + folder_.path("f") + "', " + std::string(reason) + ">";
    }

    static std::string errorOf(std::string const &path, int mode, int encoding = -1) {
        KqbString error;
        auto const openMode = static_cast<KqbTxtFileOpenMode>(mode);
        EXPECT_EQ(kqbTxtFileOpen(path.c_str(), openMode, encoding, 0, &error), nullptr);
        return error.asCstr();
    }

    TemporaryFolder folder_;
};

TEST_F(TxtFileReading, TakesEveryLineEnd) {
    std::pair<std::string_view, Lines> const cases[] = {
        {"", {}},
        {"\r\r\n\n\n\r", {"", "", "", "", ""}},
        {"a\n\rb", {"a", "", "b"}},
        {"\xEF\xBB\xBFk=\xEF\xBB\xBF\n", {"k=\xEF\xBB\xBF"}},
        {"\xEF\xBB", {"<>"}}};
    for (auto const &[content, lines] : cases) EXPECT_EQ(withoutErrors(linesIn(content)), lines);
}

// The pieces that are read begin and end at every place of a line and of its end.
TEST_F(TxtFileReading, LineEndsAtBoundariesOfPieces) {
    for (std::string const end : {"\n", "\r\n", "\r"}) {
        for (std::size_t size : {65'534U, 65'535U, 65'536U, 65'537U, 1'000'000U}) {
            std::string const line(size, 'x');
            Lines const expected{line, "€", "", line, "open"};
            std::string content;
            for (auto const &text : expected) content += (content.empty() ? "" : end) + text;
            EXPECT_EQ(linesIn(content), expected) << size;
        }
    }
}

TEST_F(TxtFileReading, MarksTellTheEncoding) {
    std::string const text = "Grüße\r\n€𝄞\nlast";
    Lines const expected{"Grüße", "€𝄞", "last"};
    for (int const encoding :
         {NP_ENC_UTF8, NP_ENC_UTF16LE, NP_ENC_UTF16BE, NP_ENC_UTF32LE, NP_ENC_UTF32BE}) {
        std::string const marked = encoded(encoding, kMark + text);
        EXPECT_EQ(linesIn(marked), expected) << encoding;
        EXPECT_EQ(linesIn(encoded(encoding, text), encoding), expected) << encoding;
    }
    EXPECT_EQ(linesIn("k=caf\xE9 \x80", kqbTxtFileEncoding("windows-1252")), Lines{"k=café €"});
}

TEST_F(TxtFileReading, IllFormedBytes) {
    std::string const far(200'000, 'x');  // behind the first piece
    std::string const marked = encoded(NP_ENC_UTF16LE, kMark + ("ok\n" + far + "\nx"));
    std::string const u16far = marked + std::string("\0\xD8z\0", 4);
    std::string const notText = "line 3: bytes that are no text in the file's encoding";
    std::tuple<std::string, int, Lines, std::string> const cases[] = {
        {"ok\na\xE4z\nn", -1, {"ok", "a\xE4z", "n"}, "line 2: ill-formed UTF-8"},
        {"ok\n\xE2\x82", -1, {"ok", "\xE2\x82"}, "line 2: ill-formed UTF-8"},
        {"ok\n" + far + "\n\xC0\x80", -1, {"ok", far, "\xC0\x80"}, "line 3: ill-formed UTF-8"},
        {u16far, -1, {"ok", far, "x\xEF\xBF\xBDz"}, notText},
        {encoded(NP_ENC_UTF16BE, "ok\n" + far + "\n") + " ",
         NP_ENC_UTF16BE,
         {"ok", far, "\xEF\xBF\xBD"},
         notText}};
    for (auto const &[content, encoding, kept, reason] : cases) {
        EXPECT_EQ(linesIn(content, encoding, kKqbTxtFileKeepIllFormed), kept);
        Lines const strict = linesIn(content, encoding);
        EXPECT_EQ(strict.back(), error(reason));
        EXPECT_EQ(strict.front(), "ok");
    }
}

TEST_F(TxtFileReading, NulIsAnErrorAndForGood) {
    std::string const content("a\r\nb\0c\nd\n", 10);
    std::string const reason = error("line 2: NUL character (possibly a binary file)");
    EXPECT_EQ(linesIn(content, -1, kKqbTxtFileKeepIllFormed), (Lines{"a", reason}));
    EXPECT_EQ(linesIn(encoded(NP_ENC_UTF32BE, content), NP_ENC_UTF32BE), (Lines{"a", reason}));
    TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileRead, NP_ENC_UTF32BE);
    for (Lines const &expected : {Lines{"a", reason}, Lines{reason}})
        EXPECT_EQ(linesOf(*file), expected);
}

// Reads with a limit until the end: the pieces, with the number of the line each belongs to.
std::string piecesOf(KqbTxtFile &file, int limit) {
    std::string pieces;
    for (bool end = false; !end;) {
        KqbString line;
        if (!file.readln(&line, limit, &end)) return pieces + "!";
        EXPECT_EQ(end, line.isNull());
        if (!end) pieces += std::to_string(file.lineNumber()) + line.asCstr() + "|";
    }
    return pieces;
}

TEST_F(TxtFileReading, LimitedLinesAreCutBetweenCharacters) {
    std::string const path = folder_.write("f", "abcd\r\n€e€\n\nz");
    char const *const expected[] = {"1abcd|2€e€|3|4z|", "1a|1b|1c|1d|!", "1ab|1cd|!",
                                    "1abc|1d|2€|2e|2€|3|4z|", "1abcd|2€e|2€|3|4z|"};
    for (int limit = 0; limit < 5; ++limit) {
        EXPECT_EQ(piecesOf(*openText(path, KqbTxtFileRead), limit), expected[limit]);
    }
    TxtFileOwner const file = openText(path, KqbTxtFileRead);
    EXPECT_EQ(piecesOf(*file, 2), expected[2]);
    EXPECT_EQ(piecesOf(*file, 3), "2€|2e|2€|3|4z|") << "nothing was lost";
}

TEST_F(TxtFileReading, ReadGivesTextWithLineFeeds) {
    std::string const text = "ab\n\n€cd\nx";
    std::string const path = folder_.write("f", "ab\r\n\r€cd\nx");
    KqbString piece;
    for (int limit = 3; limit < 14; ++limit) {
        TxtFileOwner const file = openText(path, KqbTxtFileRead);
        std::string whole;
        while (file->read(&piece, limit) && !piece.isNull()) {
            EXPECT_LE(piece.cStrSize(), static_cast<unsigned>(limit) + 1);
            whole += piece.asCstr();
        }
        EXPECT_EQ(whole, text) << limit;
        EXPECT_TRUE(file->rewind() && file->readAll(&piece));
        EXPECT_EQ(piece.asCstr(), text);
    }
}

TEST_F(TxtFileReading, EndNumberAndRewind) {
    std::string const content = encoded(NP_ENC_UTF16LE, kMark + std::string("a\r\nb\r\n"));
    std::string const path = folder_.write("f", content);
    for (TxtFileOwner const &file :
         {openText(path, KqbTxtFileRead), openText(new MemoryStream(content, 1), KqbTxtFileRead)}) {
        EXPECT_EQ(file->size(), static_cast<long long>(content.size()));
        for (int pass = 0; pass < 2; ++pass) {
            EXPECT_TRUE(file->lineNumber() == 0 && !file->atEnd());
            EXPECT_EQ(linesOf(*file), (Lines{"a", "b"}));
            EXPECT_TRUE(file->lineNumber() == 2 && file->atEnd());
            EXPECT_TRUE(file->rewind());
        }
    }
}

// --- Failures ---------------------------------------------------------------------------------

kqsfio::Calls const realCalls = kqsfio::calls;
int callCount;

TEST_F(TxtFileReading, FailingReads) {
    std::string const path = folder_.write("f", std::string(100'000, 'x') + "\nend");
    callCount = 0;
    kqsfio::calls.read = [](int file, void *data, std::size_t size) -> ssize_t {
        if (++callCount == 1) return realCalls.read(file, data, size);
        return errno = EIO, -1;
    };
    Lines const lines = linesOf(*openText(path, KqbTxtFileRead));
    std::string const told = errorOf(path, KqbTxtFileRead);
    kqsfio::calls = realCalls;
    EXPECT_EQ(lines, Lines{"<Cannot read '" + path + "': Input/output error>"});
    EXPECT_EQ("<" + told + ">", lines[0]);
}

TEST_F(TxtFileReading, FailuresAreTold) {
    std::string const file = folder_.write("f", "x"), gone = folder_.path("n/m");
    for (int mode = 0; mode < 3; ++mode) {
        std::tuple<std::string, int, char const *> const cases[] = {
            {gone, -1, "No such file or directory"}, {file, 9999, "its encoding is not known"}};
        for (auto const &[path, encoding, reason] : cases) {
            EXPECT_EQ(errorOf(path, mode, encoding), "Cannot open '" + path + "': " + reason);
        }
    }
    EXPECT_EQ(errorOf(file, 3), "Cannot open a text file: its mode is not known");
    EXPECT_EQ(folder_.read("f"), "x");
}

TEST_F(TxtFileReading, StreamsAreReleasedInEveryCase) {
    auto const alive = std::make_shared<int>();
    KqbString error;
    for (int i = 0; i < 9; ++i) {
        auto *const stream = new MemoryStream("x", 1, alive);
        stream->ready = i % 2 == 0;
        stream->opens = i == 8;
        if (i == 8) kqbSetTextIoFactory(nullptr);
        auto const mode = static_cast<KqbTxtFileOpenMode>(i / 2);
        EXPECT_EQ(kqbTxtFileOpenStream(stream, mode, -1, 0, &error), nullptr);
        EXPECT_FALSE(error.isNull());
        EXPECT_EQ(alive.use_count(), 1);
    }
    EXPECT_EQ(errorOf("x", 1), "Cannot open a text file: the library is not initialized");
}

// Every allocation of opening and reading fails once; the stream is released each time.
TEST_F(TxtFileReading, WithoutMemory) {
    std::string const content = encoded(NP_ENC_UTF16LE, "\xEF\xBB\xBFone\ntwo\n");
    auto const alive = std::make_shared<int>();
    bool hit = true;
    for (long n = 1; hit; ++n) {
        auto *const stream = new MemoryStream(content, 5, alive);
        KqbString error;
        AllocFaults::failAt(n);
        TxtFileOwner file(kqbTxtFileOpenStream(stream, KqbTxtFileRead, -1, 0, &error));
        AllocFaults::off();
        hit = AllocFaults::hit();
        ASSERT_EQ(file == nullptr, !error.isNull()) << n;
        file.reset();
        EXPECT_EQ(alive.use_count(), 1);
    }
}

TEST_F(TxtFileReading, LinesWithoutMemoryAreNotPassedOver) {
    refusesRequests_ = true;
    std::string const path = folder_.write("f", std::string(50, 'a') + "\nb");
    TxtFileOwner const file = openText(path, KqbTxtFileRead);
    KqbString line;
    bool end = true;
    {
        PoolFaults const faults(0);
        EXPECT_FALSE(file->readln(&line, 0, &end));
    }
    EXPECT_STREQ(file->getErrorMessage().asCstr(), "Out of memory");
    EXPECT_FALSE(file->readln(&line, 0, &end)) << "the line is lost, so reading must not go on";
    EXPECT_TRUE(file->rewind() && file->readln(&line, 0, &end));
    EXPECT_EQ(line.length(), 50U);
}

}  // namespace
