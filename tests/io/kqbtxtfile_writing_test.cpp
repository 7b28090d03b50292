// Writing and appending text files, and what was written read back.
#include <gtest/gtest.h>

#include <filesystem>

#include "backends/kqsfio/kqsfio_calls.h"
#include "platform/kqschr.h"
#include "support/alloc_faults.h"
#include "support/memory_stream.h"
#include "support/temporary_folder.h"
#include "support/text_encodings.h"
#include "support/text_io_test.h"

namespace {

using Lines = std::vector<std::string>;

class TxtFileWriting : public TextIoTest {
protected:
    // Opens, writes one line and closes.
    std::string after(KqbTxtFileOpenMode mode, int encoding = -1) {
        TxtFileOwner const file = openText(folder_.path("f"), mode, encoding);
        EXPECT_TRUE(file->writeln("€") && file->close());
        return folder_.read("f");
    }

    std::string told(KqbTxtFile const &file) { return file.getErrorMessage().asCstr(); }
    std::string cannotWrite(std::string const &reason) {
        return "Cannot write '" + folder_.path("f") + "': " + reason;
    }
    auto filesThere() {
        return std::distance(std::filesystem::directory_iterator(folder_.path()), {});
    }

    TemporaryFolder folder_;
};

TEST_F(TxtFileWriting, ReplacesOnlyAtClose) {
    folder_.write("f", "old");
    for (bool const closes : {false, true}) {
        TxtFileOwner file = openText(folder_.path("f"), KqbTxtFileWrite);
        EXPECT_TRUE(file->writeln("new") && file->flush());
        EXPECT_EQ(folder_.read("f"), "old");
        EXPECT_EQ(closes && file->close(), closes);
        file.reset();
        EXPECT_EQ(folder_.read("f"), closes ? "new\n" : "old");
        EXPECT_EQ(filesThere(), 1) << "the temporary file is gone";
    }
}

TEST_F(TxtFileWriting, TheMarkThatIsThereDecides) {
    std::string const euro = "€\n";
    for (int const encoding :
         {NP_ENC_UTF8, NP_ENC_UTF16LE, NP_ENC_UTF16BE, NP_ENC_UTF32LE, NP_ENC_UTF32BE}) {
        std::string const old = encoded(encoding, std::string(kMark) + "old");
        folder_.write("f", old);
        EXPECT_EQ(after(KqbTxtFileAppend), old + encoded(encoding, euro)) << encoding;
        EXPECT_EQ(after(KqbTxtFileWrite), encoded(encoding, kMark + euro)) << encoding;
        EXPECT_EQ(after(KqbTxtFileWrite, encoding), encoded(encoding, euro)) << encoding;
    }
    folder_.write("f", "unmarked");
    EXPECT_EQ(after(KqbTxtFileAppend), "unmarked" + euro);
}

// Lines of all lengths around the sizes of buffers, in pieces that cut characters.
TEST_F(TxtFileWriting, ReadsBackInEveryEncoding) {
    std::string text;
    Lines lines;
    for (std::size_t size : {0U, 1U, 4'095U, 32'767U, 65'535U, 65'536U, 65'537U, 200'000U}) {
        std::string line;
        while (line.size() < size) line += size % 2 == 0 ? "я" : "abc,";
        lines.push_back(line);
        text += line + "\n";
    }
    for (char const *name : {"UTF-8", "UTF-16LE", "UTF-32BE", "KOI8-R", "Shift_JIS", "GB18030",
                             "ISO-2022-JP", "UTF-7", "SCSU", "UTF-16"}) {
        int const encoding = kqbTxtFileEncoding(name);
        TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite, encoding);
        std::size_t step = 1;
        for (std::size_t at = 0; at < text.size(); at += step, step = step * 3 % 10'007) {
            std::string_view const piece = std::string_view(text).substr(at, step);
            ASSERT_TRUE(file->write(piece.data(), static_cast<unsigned>(piece.size())));
        }
        ASSERT_TRUE(file->close()) << told(*file);
        EXPECT_EQ(linesOf(*openText(folder_.path("f"), KqbTxtFileRead, encoding)), lines) << name;
    }
}

TEST_F(TxtFileWriting, TakesTextOfOtherEncodingsAndReplacesOnRequest) {
    std::string const wide = encoded(NP_ENC_UTF16BE, "ä€");
    TxtFileOwner const file =
        openText(folder_.path("f"), KqbTxtFileWrite, NP_ENC_UTF32LE, kKqbTxtFileKeepIllFormed);
    EXPECT_TRUE(file->write(wide.data(), static_cast<int>(wide.size()), NP_ENC_UTF16BE));
    EXPECT_TRUE(file->writeln("\xE4", 1, kqbTxtFileEncoding("latin1")));
    EXPECT_TRUE(file->write("a\xFFz\xE2\x82") && file->write("c", 1, NP_ENC_UTF16BE));
    EXPECT_TRUE(file->write("\xE2") && file->close());
    EXPECT_EQ(folder_.read("f"), encoded(NP_ENC_UTF32LE, "ä€ä\na\ufffdz\ufffd\ufffd\ufffd"));
}

// --- What cannot be written -------------------------------------------------------------------

TEST_F(TxtFileWriting, RejectsWhatTheEncodingLacks) {
    int const latin1 = kqbTxtFileEncoding("latin1");
    std::tuple<int, int, std::string, int, std::string> const cases[] = {
        {latin1, 0, "x€", -1, "the text has a character that the file's encoding lacks"},
        {NP_ENC_UTF16LE, 0, "x\xFFy", -1, "the text is ill-formed UTF-8"},
        {NP_ENC_UTF8, 0, "x A", NP_ENC_UTF16BE, "the text is ill-formed in its encoding"},
        {NP_ENC_UTF8, 0, "x", 9999, "the encoding of the text is not known"}};
    for (auto const &[target, flags, text, encoding, reason] : cases) {
        std::string const ok = encoded(target == latin1 ? int{NP_ENC_UTF8} : target, "ok");
        folder_.write("f", "old");
        for (auto const mode : {KqbTxtFileWrite, KqbTxtFileAppend}) {
            TxtFileOwner const file = openText(folder_.path("f"), mode, target, flags);
            EXPECT_TRUE(file->write("ok"));
            EXPECT_FALSE(file->writeln(text.data(), static_cast<int>(text.size()), encoding));
            EXPECT_FALSE(file->write("more") || file->close());
            EXPECT_EQ(told(*file), cannotWrite(reason));
            EXPECT_EQ(folder_.read("f"), mode == KqbTxtFileAppend ? "old" + ok : "old");
        }
    }
}

// --- Disks and streams that fail --------------------------------------------------------------

kqsfio::Calls const realCalls = kqsfio::calls;
std::size_t room;

TEST_F(TxtFileWriting, FullDiskLeavesTheOldFile) {
    std::string const line(10'000, 'x');
    for (std::size_t const limit : {0U, 1U, 65'536U, 100'000U, 1'000'000U}) {
        folder_.write("f", "old");
        TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite);
        room = limit;
        kqsfio::calls.write = [](int out, void const *data, std::size_t size) -> ssize_t {
            if (room == 0) return errno = ENOSPC, -1;
            size = std::min(size, room);
            room -= size;
            return realCalls.write(out, data, size);
        };
        kqsfio::calls.rename = [](char const *, char const *) { return errno = ENOSPC, -1; };
        bool ok = true;
        for (int i = 0; i < 15; ++i) ok = file->writeln(line.c_str()) && ok;
        EXPECT_FALSE(file->close());
        kqsfio::calls = realCalls;
        EXPECT_EQ(ok, limit == 1'000'000);
        EXPECT_EQ(told(*file), cannotWrite("No space left on device"));
        EXPECT_EQ(folder_.read("f"), "old");
        EXPECT_EQ(filesThere(), 1);
    }
}

TEST_F(TxtFileWriting, StreamsTakeTextInPieces) {
    std::string const line(99'999, 'x');
    for (std::size_t const limit : {1'000'000U, 50'000U, 0U}) {
        auto *const stream = new MemoryStream("", 4'096);
        stream->room = limit;
        TxtFileOwner const file = openText(stream, KqbTxtFileWrite);
        bool const ok = file->writeln(line.c_str()) && file->writeln("end") && file->flush();
        EXPECT_EQ(ok, limit == 1'000'000);
        EXPECT_EQ(stream->written, (line + "\nend\n").substr(0, limit));
        EXPECT_EQ(told(*file), ok ? "" : "Cannot write the stream 'memory': no room left");
    }
}

// Every allocation of writing fails once: the old file or the new one is there, never half of one.
TEST_F(TxtFileWriting, WithoutMemory) {
    int const latin1 = kqbTxtFileEncoding("latin1");
    std::string const old = encoded(NP_ENC_UTF16LE, std::string(kMark) + "old");
    std::string const anew = encoded(NP_ENC_UTF16LE, std::string(kMark) + "ä");
    bool hit = true;
    for (long n = 1; hit; ++n) {
        std::string const path = folder_.write("f", old);
        KqbString error;
        AllocFaults::failAt(n);
        TxtFileOwner file(kqbTxtFileOpen(path.c_str(), KqbTxtFileWrite, -1, 0, &error));
        bool const ok = file != nullptr && file->write("\xE4", 1, latin1) && file->close();
        AllocFaults::off();
        hit = AllocFaults::hit();
        ASSERT_EQ(file == nullptr, !error.isNull());
        EXPECT_TRUE(ok || hit) << n;
        EXPECT_EQ(folder_.read("f"), ok ? anew : old) << n;
        file.reset();
        EXPECT_EQ(filesThere(), 1);
    }
}

}  // namespace
