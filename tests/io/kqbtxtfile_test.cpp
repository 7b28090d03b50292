// Reading text files, opening them, and the overloads that the library itself provides.
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
            MemoryStream *const stream = new MemoryStream(content, step);
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

    TemporaryFolder folder_;
};

TEST_F(TxtFileReading, TakesEveryLineEnd) {
    struct {
        std::string_view content;
        Lines lines;
    } const cases[] = {
        {"", {}},
        {"\n", {""}},
        {"a", {"a"}},
        {"a\nb", {"a", "b"}},
        {"a\r\nb\r\n", {"a", "b"}},
        {"a\rb\r", {"a", "b"}},
        {"\r\r\n\n\n\r", {"", "", "", "", ""}},
        {"a\n\rb", {"a", "", "b"}},
        {"\xEF\xBB\xBF", {}},
        {"\xEF\xBB\xBFk=\xEF\xBB\xBF\n", {"k=\xEF\xBB\xBF"}},
        {"\xEF\xBB", {"<>"}},
    };
    for (auto const &c : cases) EXPECT_EQ(withoutErrors(linesIn(c.content)), c.lines);
}

// The pieces that are read begin and end at every place of a line and of its end.
TEST_F(TxtFileReading, LineEndsAtBoundariesOfPieces) {
    for (std::string const end : {"\n", "\r\n", "\r"}) {
        for (std::size_t size = 65'533; size <= 65'538; ++size) {
            std::string const line(size, 'x');
            Lines const expected{line, "€", "", line, "last"};
            std::string content;
            for (auto const &text : expected) content += text + end;
            EXPECT_EQ(linesIn(content), expected) << size;
            EXPECT_EQ(linesIn(content + "open").back(), "open") << size;
        }
    }
}

TEST_F(TxtFileReading, LongLines) {
    Lines const lines{std::string(3'000'001, 'a'), "b", std::string(200'000, 'c')};
    EXPECT_EQ(linesIn(lines[0] + "\r\nb\r\n" + lines[2]), lines);
    EXPECT_EQ(linesIn(encoded(NP_ENC_UTF16BE, lines[0] + "\nb\n" + lines[2]), NP_ENC_UTF16BE),
              lines);
}

TEST_F(TxtFileReading, MarksTellTheEncoding) {
    std::string const text = "Grüße\r\n€𝄞\nlast";
    Lines const expected{"Grüße", "€𝄞", "last"};
    for (int const encoding :
         {NP_ENC_UTF8, NP_ENC_UTF16LE, NP_ENC_UTF16BE, NP_ENC_UTF32LE, NP_ENC_UTF32BE}) {
        std::string const marked = encoded(encoding, kMark + text);
        EXPECT_EQ(linesIn(marked), expected) << encoding;
        EXPECT_EQ(linesIn(marked, encoding), expected) << encoding;
        EXPECT_EQ(linesIn(encoded(encoding, text), encoding), expected) << encoding;
        EXPECT_EQ(openText(folder_.write("f", marked), KqbTxtFileRead)->encoding(), encoding);
    }
    EXPECT_EQ(linesIn("k=caf\xE9 \x80", kqbTxtFileEncoding("windows-1252")), Lines{"k=café €"});
}

TEST_F(TxtFileReading, IllFormedBytes) {
    std::string const far(200'000, 'x');  // behind the first piece
    struct {
        std::string content;
        int encoding;
        Lines kept;
        std::string reason;
    } const cases[] = {
        {"ok\na\xE4z\nn", -1, {"ok", "a\xE4z", "n"}, "line 2: ill-formed UTF-8"},
        {"ok\n\xE2\x82", -1, {"ok", "\xE2\x82"}, "line 2: ill-formed UTF-8"},
        {"ok\n" + far + "\n\xC0\x80", -1, {"ok", far, "\xC0\x80"}, "line 3: ill-formed UTF-8"},
        {encoded(NP_ENC_UTF16LE, "\xEF\xBB\xBFok\n" + far + "\nx") + std::string("\0\xD8z\0", 4),
         -1,
         {"ok", far, "x\xEF\xBF\xBDz"},
         "line 3: bytes that are no text in the file's encoding"},
        {encoded(NP_ENC_UTF16BE, "ok\n") + " ",
         NP_ENC_UTF16BE,
         {"ok", "\xEF\xBF\xBD"},
         "line 2: bytes that are no text in the file's encoding"},
    };
    for (auto const &c : cases) {
        EXPECT_EQ(linesIn(c.content, c.encoding, kKqbTxtFileKeepIllFormed), c.kept);
        Lines const strict = linesIn(c.content, c.encoding);
        EXPECT_EQ(strict.back(), error(c.reason));
        EXPECT_EQ(strict.front(), "ok");
    }
}

TEST_F(TxtFileReading, NulIsAnErrorAndForGood) {
    std::string const content("a\r\nb\0c\nd\n", 10);
    std::string const reason = error("line 2: NUL character (possibly a binary file)");
    EXPECT_EQ(linesIn(content, -1, kKqbTxtFileKeepIllFormed), (Lines{"a", reason}));
    EXPECT_EQ(linesIn(encoded(NP_ENC_UTF32BE, content), NP_ENC_UTF32BE), (Lines{"a", reason}));

    TxtFileOwner const file = openText(folder_.write("f", content), KqbTxtFileRead);
    EXPECT_EQ(linesOf(*file), (Lines{"a", reason}));
    EXPECT_EQ(linesOf(*file), Lines{reason});
    EXPECT_FALSE(file->atEnd());
    EXPECT_TRUE(file->rewind());
    EXPECT_EQ(linesOf(*file), (Lines{"a", reason}));
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
    char const *const expected[] = {
        "1abcd|2€e€|3|4z|",       "1a|1b|1c|1d|!",      "1ab|1cd|!",
        "1abc|1d|2€|2e|2€|3|4z|", "1abcd|2€e|2€|3|4z|",
    };
    for (int limit = 0; limit < 5; ++limit) {
        EXPECT_EQ(piecesOf(*openText(path, KqbTxtFileRead), limit), expected[limit]);
    }
    TxtFileOwner const file = openText(path, KqbTxtFileRead);
    EXPECT_EQ(piecesOf(*file, 2), expected[2]);
    EXPECT_EQ(piecesOf(*file, 3), "2€|2e|2€|3|4z|") << "nothing was lost";

    TxtFileOwner const odd = openText(folder_.write("f", "\x80\x80\x80\x80\x80\x80"),
                                      KqbTxtFileRead, -1, kKqbTxtFileKeepIllFormed);
    EXPECT_EQ(piecesOf(*odd, 4), "1\x80\x80\x80\x80|1\x80\x80|");
}

TEST_F(TxtFileReading, ReadGivesTextWithLineFeeds) {
    std::string const text = "ab\n\n€cd\nx";
    std::string const path = folder_.write("f", "ab\r\n\r€cd\nx");
    for (int limit = 3; limit < 14; ++limit) {
        TxtFileOwner const file = openText(path, KqbTxtFileRead);
        std::string whole;
        KqbString piece;
        while (file->read(&piece, limit) && !piece.isNull()) {
            EXPECT_LE(piece.cStrSize(), static_cast<unsigned>(limit) + 1);
            whole += piece.asCstr();
        }
        EXPECT_EQ(whole, text) << limit;
        EXPECT_TRUE(file->getErrorMessage().isNull());
    }
    TxtFileOwner const file = openText(path, KqbTxtFileRead);
    KqbString rest;
    EXPECT_TRUE(file->read(&rest, 2));
    EXPECT_EQ(linesOf(*file).front(), "") << "the end of the first line was not consumed";
    EXPECT_TRUE(file->rewind());
    EXPECT_TRUE(file->readAll(&rest));
    EXPECT_EQ(rest.asCstr(), text);
    EXPECT_TRUE(file->readAll(&rest));
    EXPECT_FALSE(rest.isNull());
    EXPECT_EQ(rest.length(), 0U);
}

TEST_F(TxtFileReading, EndNumberAndRewind) {
    for (int const encoding : {NP_ENC_UTF8, NP_ENC_UTF16LE}) {
        std::string const content = encoded(encoding, kMark + std::string("a\r\nb\r\n"));
        std::string const path = folder_.write("f", content);
        for (TxtFileOwner const &file : {openText(path, KqbTxtFileRead),
                                         openText(new MemoryStream(content, 1), KqbTxtFileRead)}) {
            EXPECT_EQ(file->lineNumber(), 0);
            EXPECT_EQ(file->size(), static_cast<long long>(content.size()));
            for (int pass = 0; pass < 2; ++pass) {
                EXPECT_FALSE(file->atEnd());
                EXPECT_EQ(linesOf(*file), (Lines{"a", "b"}));
                EXPECT_EQ(file->lineNumber(), 2);
                EXPECT_TRUE(file->atEnd());
                EXPECT_TRUE(file->rewind());
            }
        }
    }
}

TEST_F(TxtFileReading, RefusesWhatMakesNoSense) {
    TxtFileOwner const file = openText(folder_.write("f", "a\nb"), KqbTxtFileRead);
    EXPECT_FALSE(file->write("x"));
    EXPECT_FALSE(file->writeln("x", 1, 1));
    EXPECT_EQ(std::string(file->getErrorMessage().asCstr()),
              "Cannot write '" + folder_.path("f") + "': it is open for reading");
    EXPECT_EQ(linesOf(*file), (Lines{"a", "b"})) << "misuse must not disturb";
    EXPECT_TRUE(file->close());
    EXPECT_TRUE(file->close());
    KqbString line;
    EXPECT_FALSE(file->readAll(&line));
    EXPECT_FALSE(file->rewind());
    EXPECT_EQ(file->size(), -1);
    EXPECT_STREQ(file->getName().asCstr(), folder_.path("f").c_str());
    EXPECT_EQ(file->mode(), KqbTxtFileRead);
}

// --- System calls -----------------------------------------------------------------------------

kqsfio::Calls const realCalls = kqsfio::calls;
int callCount;

TEST_F(TxtFileReading, SmallFilesCostFewCalls) {
    std::string const path = folder_.write("f", "key=value\n");
    callCount = 0;
    kqsfio::calls.read = [](int file, void *data, std::size_t size) {
        ++callCount;
        return realCalls.read(file, data, size);
    };
    kqsfio::calls.lseek = [](int, off_t, int) -> off_t { return callCount += 100; };
    Lines const lines = linesOf(*openText(path, KqbTxtFileRead));
    kqsfio::calls = realCalls;
    EXPECT_EQ(lines, Lines{"key=value"});
    EXPECT_EQ(callCount, 1);
}

TEST_F(TxtFileReading, FailingReads) {
    std::string const path = folder_.write("f", std::string(100'000, 'x') + "\nend");
    callCount = 0;
    kqsfio::calls.read = [](int file, void *data, std::size_t size) -> ssize_t {
        if (++callCount == 1) return realCalls.read(file, data, size);
        errno = EIO;
        return -1;
    };
    Lines const lines = linesOf(*openText(path, KqbTxtFileRead));
    KqbString error;
    EXPECT_EQ(kqbTxtFileOpen(path.c_str(), KqbTxtFileRead, -1, 0, &error), nullptr);
    kqsfio::calls = realCalls;
    EXPECT_EQ(lines, Lines{"<Cannot read '" + path + "': Input/output error>"});
    EXPECT_EQ("<" + std::string(error.asCstr()) + ">", lines[0]);
}

// --- Opening ----------------------------------------------------------------------------------

class TxtFileOpening : public TextIoTest {
protected:
    std::string errorOf(std::string const &path, int mode, int encoding = -1) {
        KqbString error;
        KqbTxtFile *const file = kqbTxtFileOpen(path.c_str(), static_cast<KqbTxtFileOpenMode>(mode),
                                                encoding, 0, &error);
        EXPECT_EQ(file, nullptr);
        return error.asCstr();
    }

    TemporaryFolder folder_;
};

TEST_F(TxtFileOpening, FailuresAreTold) {
    std::string const file = folder_.write("f", "x"), gone = folder_.path("n/m");
    struct {
        std::string path;
        int mode, encoding;
        char const *reason;
    } const cases[] = {
        {gone, 1, -1, "No such file or directory"},   {gone, 0, -1, "No such file or directory"},
        {gone, 2, -1, "No such file or directory"},   {"", 1, -1, "No such file or directory"},
        {folder_.path(), 1, -1, "Is a directory"},    {folder_.path(), 2, -1, "Is a directory"},
        {file, 1, 9999, "its encoding is not known"}, {file, 2, 9999, "its encoding is not known"},
    };
    for (auto const &c : cases) {
        EXPECT_EQ(errorOf(c.path, c.mode, c.encoding), "Cannot open '" + c.path + "': " + c.reason);
    }
    EXPECT_EQ(errorOf(file, 3), "Cannot open a text file: its mode is not known");
    EXPECT_EQ(folder_.read("f"), "x");
    EXPECT_EQ(kqbTxtFileOpen(nullptr, KqbTxtFileRead, -1, 0, nullptr), nullptr);
}

TEST_F(TxtFileOpening, StreamsAreReleasedInEveryCase) {
    int alive = 0;
    for (int mode = 0; mode < 4; ++mode) {
        for (auto const defect : {MemoryStream::kNotReady, MemoryStream::kNoOpen}) {
            MemoryStream *const stream = new MemoryStream("x", 1, &alive);
            stream->fail(defect);
            KqbString error;
            EXPECT_EQ(
                kqbTxtFileOpenStream(stream, static_cast<KqbTxtFileOpenMode>(mode), -1, 0, &error),
                nullptr);
            EXPECT_FALSE(error.isNull());
            EXPECT_EQ(alive, 0);
        }
    }
    KqbString error;
    EXPECT_EQ(kqbTxtFileOpenStream(nullptr, KqbTxtFileRead, -1, 0, &error), nullptr);
    EXPECT_STREQ(error.asCstr(), "Cannot open a text file: no stream");

    kqbSetTextIoFactory(nullptr);
    MemoryStream *const stream = new MemoryStream("x", 1, &alive);
    EXPECT_EQ(kqbTxtFileOpenStream(stream, KqbTxtFileRead, -1, 0, &error), nullptr);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(errorOf("x", KqbTxtFileRead),
              "Cannot open a text file: the library is not initialized");
    EXPECT_EQ(kqbTxtFileEncoding("UTF-8"), 0);
}

TEST_F(TxtFileOpening, EncodingsByName) {
    EXPECT_EQ(kqbTxtFileEncoding("utf8"), NP_ENC_UTF8);
    EXPECT_EQ(kqbTxtFileEncoding("UTF-16BE"), NP_ENC_UTF16BE);
    EXPECT_NE(kqbTxtFileEncoding("latin1"), 0);
    EXPECT_EQ(kqbTxtFileEncoding("no such thing"), 0);
    EXPECT_EQ(kqbTxtFileEncoding(nullptr), 0);
}

// Every allocation of opening and reading fails once; the stream is released each time.
TEST_F(TxtFileOpening, WithoutMemory) {
    std::string const content = encoded(NP_ENC_UTF16LE, "\xEF\xBB\xBFone\ntwo\n");
    bool hit = true;
    for (long n = 1; hit; ++n) {
        int alive = 0;
        MemoryStream *const stream = new MemoryStream(content, 5, &alive);
        KqbString error;
        AllocFaults::failAt(n);
        KqbTxtFile *const file = kqbTxtFileOpenStream(stream, KqbTxtFileRead, -1, 0, &error);
        AllocFaults::off();
        hit = AllocFaults::hit();
        ASSERT_EQ(file == nullptr, !error.isNull()) << n;
        if (file != nullptr) file->release();
        EXPECT_EQ(alive, 0);
    }
}

TEST_F(TxtFileOpening, LinesWithoutMemoryAreNotPassedOver) {
    refusesRequests_ = true;
    TxtFileOwner const file =
        openText(folder_.write("f", std::string(50, 'a') + "\nb"), KqbTxtFileRead);
    KqbString line;
    bool end = true;
    {
        PoolFaults const faults(0);
        EXPECT_FALSE(file->readln(&line, 0, &end));
    }
    EXPECT_TRUE(line.isNull());
    EXPECT_FALSE(end);
    EXPECT_STREQ(file->getErrorMessage().asCstr(), "Out of memory");
    EXPECT_FALSE(file->readln(&line, 0, &end)) << "the line is lost, so reading must not go on";
    EXPECT_TRUE(file->rewind());
    EXPECT_TRUE(file->readln(&line, 0, &end));
    EXPECT_EQ(line.length(), 50U);
}

// --- Overloads --------------------------------------------------------------------------------

// Notes what reaches the operations that a text IO module provides.
class NotingFile final : public KqbTxtFile {
public:
    using KqbTxtFile::write;
    using KqbTxtFile::writeln;
    std::string noted;

    void release() override {}
    bool close() override { return true; }
    bool readln(KqbString *, int, bool *) override { return false; }
    bool readLine(char const **, unsigned int *, bool *) override { return false; }
    bool read(KqbString *, int) override { return false; }
    bool readAll(KqbString *) override { return false; }
    bool atEnd() override { return true; }
    int lineNumber() const override { return 0; }
    bool rewind() override { return false; }
    bool flush() override { return true; }
    __int64 size() override { return 0; }
    KqbTxtFileOpenMode mode() const override { return KqbTxtFileWrite; }
    int encoding() const override { return 1; }
    KqbString getName() const override { return {}; }
    KqbString getErrorMessage() const override { return {}; }
    bool write(char const *text, int size, int encoding) override {
        return note("w", text, static_cast<unsigned>(size), encoding);
    }
    bool write(char const *text, unsigned int size) override { return note("w", text, size, -2); }
    bool writeln(char const *text, int size, int encoding) override {
        return note("l", text, static_cast<unsigned>(size), encoding);
    }
    bool writeln(char const *text, unsigned int size) override { return note("l", text, size, -2); }

private:
    bool note(char const *what, char const *text, unsigned size, int encoding) {
        noted += what + std::string(text != nullptr ? text : "<null>") + std::to_string(size);
        if (encoding != -2) noted += "/" + std::to_string(encoding);
        noted += " ";
        return false;  // passed on as the result
    }
};

TEST_F(TxtFileOpening, OverloadsForward) {
    NotingFile file;
    KqbString const null, empty(""), text("äb");
    EXPECT_TRUE(file.write(null) && file.write(empty) && file.write(static_cast<char *>(nullptr)));
    EXPECT_EQ(file.noted, "") << "writing nothing writes nothing";
    EXPECT_FALSE(file.write(text) || file.write(text, 3) || file.write(empty, 4));
    EXPECT_FALSE(file.write("cd") || file.write(""));
    EXPECT_EQ(file.noted, "wäb3 wäb3/3 w<null>0/4 wcd2 w0 ");
    file.noted.clear();
    EXPECT_FALSE(file.writeln(text) || file.writeln(empty) || file.writeln(null, 5));
    EXPECT_FALSE(file.writeln(text, 6) || file.writeln("cd"));
    EXPECT_FALSE(file.writeln(static_cast<char *>(nullptr)));
    EXPECT_EQ(file.noted, "läb3 l<null>0 l<null>0/5 läb3/6 lcd2 l<null>0 ");
}

}  // namespace
