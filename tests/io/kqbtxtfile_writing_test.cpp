// Writing and appending text files, and what was written read back.
#include <gtest/gtest.h>
#include <sys/stat.h>

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
        EXPECT_TRUE(file->writeln("€"));
        EXPECT_TRUE(file->close());
        return folder_.read("f");
    }

    std::string told(KqbTxtFile const &file) { return file.getErrorMessage().asCstr(); }
    std::string cannotWrite(std::string const &reason) {
        return "Cannot write '" + folder_.path("f") + "': " + reason;
    }
    std::size_t filesThere() {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder_.path()), {}));
    }

    TemporaryFolder folder_;
};

TEST_F(TxtFileWriting, WritesLines) {
    {
        TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite);
        EXPECT_TRUE(file->write("a"));
        EXPECT_TRUE(file->write(KqbString("b")));
        EXPECT_TRUE(file->writeln(KqbString()));
        EXPECT_TRUE(file->writeln(static_cast<char const *>(nullptr)));
        EXPECT_TRUE(file->writeln("c\xFF", 2U)) << "what is read as it stands is written so";
        EXPECT_EQ(file->size(), 0);
        EXPECT_TRUE(file->flush());
        EXPECT_EQ(file->size(), 7);
        EXPECT_FALSE(std::filesystem::exists(folder_.path("f")));
        EXPECT_TRUE(file->close());
        EXPECT_TRUE(file->close());
        EXPECT_FALSE(file->write("late"));
        EXPECT_EQ(told(*file), cannotWrite("it is closed"));
    }
    EXPECT_EQ(folder_.read("f"), "ab\n\nc\xFF\n");
}

TEST_F(TxtFileWriting, ReplacesOnlyAtClose) {
    std::filesystem::create_symlink(folder_.path("f"), folder_.path("link"));
    ASSERT_EQ(chmod(folder_.write("f", "old").c_str(), 0640), 0);
    {
        TxtFileOwner const file = openText(folder_.path("link"), KqbTxtFileWrite);
        EXPECT_TRUE(file->writeln("given up"));
        EXPECT_TRUE(file->flush());
    }
    EXPECT_EQ(folder_.read("f"), "old");
    EXPECT_EQ(filesThere(), 2U) << "the temporary file is gone";
    {
        TxtFileOwner const file = openText(folder_.path("link"), KqbTxtFileWrite);
        EXPECT_TRUE(file->writeln("new"));
        EXPECT_EQ(folder_.read("f"), "old");
        EXPECT_TRUE(file->close());
    }
    struct stat info;
    ASSERT_EQ(stat(folder_.path("f").c_str(), &info), 0);
    EXPECT_EQ(folder_.read("f"), "new\n");
    EXPECT_EQ(info.st_mode & 07777U, 0640U);
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.path("link")));
    EXPECT_EQ(filesThere(), 2U);
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
    EXPECT_EQ(after(KqbTxtFileWrite), euro);
    std::filesystem::remove(folder_.path("f"));
    EXPECT_EQ(after(KqbTxtFileAppend), euro);
}

TEST_F(TxtFileWriting, AppendingEndsWithRelease) {
    folder_.write("f", "a\n");
    openText(folder_.path("f"), KqbTxtFileAppend)->write("b");
    openText(folder_.path("f"), KqbTxtFileAppend, 0)->write("c");
    EXPECT_EQ(folder_.read("f"), "a\nbc");
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
    for (char const *name : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE", "KOI8-R",
                             "Shift_JIS", "GB18030", "ISO-2022-JP", "UTF-16"}) {
        int const encoding = kqbTxtFileEncoding(name);
        TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite, encoding);
        EXPECT_EQ(file->encoding(), encoding);
        std::size_t step = 1;
        for (std::size_t at = 0; at < text.size(); at += step, step = step * 3 % 10'007) {
            std::string_view const piece = std::string_view(text).substr(at, step);
            ASSERT_TRUE(file->write(piece.data(), static_cast<unsigned>(piece.size())));
        }
        ASSERT_TRUE(file->close()) << told(*file);
        EXPECT_EQ(linesOf(*openText(folder_.path("f"), KqbTxtFileRead, encoding)), lines) << name;
    }
}

TEST_F(TxtFileWriting, TakesTextOfOtherEncodings) {
    std::string const wide = encoded(NP_ENC_UTF16BE, "ä€");
    for (int const target : {NP_ENC_UTF8, NP_ENC_UTF32LE}) {
        TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite, target);
        EXPECT_TRUE(file->write(wide.data(), static_cast<int>(wide.size()), NP_ENC_UTF16BE));
        EXPECT_TRUE(file->write("\xE4", 1, kqbTxtFileEncoding("latin1")));
        EXPECT_TRUE(file->writeln(nullptr, 0, NP_ENC_UTF16LE));
        EXPECT_TRUE(file->writeln("xä", 3, -1));
        EXPECT_TRUE(file->close());
        EXPECT_EQ(folder_.read("f"), encoded(target, "ä€ä\nxä\n"));
    }
}

// --- What cannot be written -------------------------------------------------------------------

TEST_F(TxtFileWriting, RejectsWhatTheEncodingLacks) {
    int const latin1 = kqbTxtFileEncoding("latin1");
    struct {
        int encoding, flags;
        std::string text;
        int textEncoding;
        std::string reason;
    } const cases[] = {
        {latin1, 0, "x€", -1, "the text has a character that the file's encoding lacks"},
        {latin1, kKqbTxtFileKeepIllFormed, "x€", -1,
         "the text has a character that the file's encoding lacks"},
        {NP_ENC_UTF16LE, 0, "x\xFFy", -1, "the text is ill-formed UTF-8"},
        {NP_ENC_UTF8, 0, "x A", NP_ENC_UTF16BE, "the text is ill-formed in its encoding"},
        {NP_ENC_UTF8, 0, "x", 9999, "the encoding of the text is not known"},
    };
    for (auto const &c : cases) {
        folder_.write("f", "old");
        for (auto const mode : {KqbTxtFileWrite, KqbTxtFileAppend}) {
            TxtFileOwner const file = openText(folder_.path("f"), mode, c.encoding, c.flags);
            EXPECT_TRUE(file->write("ok"));
            EXPECT_FALSE(
                file->writeln(c.text.data(), static_cast<int>(c.text.size()), c.textEncoding));
            EXPECT_EQ(told(*file), cannotWrite(c.reason));
            EXPECT_FALSE(file->write("more"));
            EXPECT_FALSE(file->close());
            EXPECT_FALSE(file->close());
            EXPECT_EQ(told(*file), cannotWrite(c.reason));
            bool const appended = mode == KqbTxtFileAppend;
            EXPECT_EQ(
                folder_.read("f"),
                appended
                    ? "old" + encoded(c.encoding == latin1 ? int{NP_ENC_UTF8} : c.encoding, "ok")
                    : "old")
                << "what was taken before is there, the refused text is not";
        }
    }
}

TEST_F(TxtFileWriting, ReplacesIllFormedTextOnRequest) {
    TxtFileOwner const file =
        openText(folder_.path("f"), KqbTxtFileWrite, NP_ENC_UTF16LE, kKqbTxtFileKeepIllFormed);
    EXPECT_TRUE(
        file->write("a\xFF"
                    "b\xE2\x82"));
    EXPECT_TRUE(file->write("c", 1, NP_ENC_UTF16BE));
    EXPECT_TRUE(file->write("\xE2"));
    EXPECT_TRUE(file->close());
    EXPECT_EQ(folder_.read("f"), encoded(NP_ENC_UTF16LE,
                                         "a\xEF\xBF\xBD"
                                         "b\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"));
}

TEST_F(TxtFileWriting, RefusesToRead) {
    TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite);
    KqbString text("old");
    bool end = true;
    EXPECT_FALSE(file->readln(&text, 0, &end));
    EXPECT_TRUE(text.isNull());
    EXPECT_FALSE(end);
    EXPECT_FALSE(file->rewind());
    EXPECT_EQ(told(*file), "Cannot read '" + folder_.path("f") + "': it is open for writing");
    EXPECT_TRUE(file->close()) << "misuse must not disturb";
}

// --- Disks and streams that fail --------------------------------------------------------------

kqsfio::Calls const realCalls = kqsfio::calls;
std::size_t room;

// Takes room bytes, then says that the disk is full.
ssize_t writeToFullDisk(int file, void const *data, std::size_t size) {
    std::size_t const count = std::min(size, room);
    if (count == 0) return errno = ENOSPC, -1;
    room -= count;
    return realCalls.write(file, data, count);
}

TEST_F(TxtFileWriting, FullDiskLeavesTheOldFile) {
    std::string const line(10'000, 'x');
    for (std::size_t const limit : {0U, 1U, 65'536U, 100'000U}) {
        folder_.write("f", "old");
        TxtFileOwner const file = openText(folder_.path("f"), KqbTxtFileWrite);
        room = limit;
        kqsfio::calls.write = writeToFullDisk;
        bool ok = true;
        for (int i = 0; i < 15; ++i) ok = file->writeln(line.c_str()) && ok;
        bool const again = file->write("x");
        bool const closed = file->close();
        kqsfio::calls = realCalls;
        EXPECT_FALSE(ok);
        EXPECT_FALSE(again);
        EXPECT_FALSE(closed);
        EXPECT_EQ(told(*file), cannotWrite("No space left on device"));
        EXPECT_EQ(folder_.read("f"), "old");
        EXPECT_EQ(filesThere(), 1U);
    }
}

TEST_F(TxtFileWriting, FailuresOfTheLastStepAreTold) {
    folder_.write("f", "old");
    kqsfio::calls.rename = [](char const *, char const *) { return errno = EACCES, -1; };
    TxtFileOwner const replaced = openText(folder_.path("f"), KqbTxtFileWrite);
    bool const ok = replaced->write("x") && replaced->close();
    kqsfio::calls = realCalls;
    EXPECT_FALSE(ok);
    EXPECT_EQ(told(*replaced), cannotWrite("Permission denied"));
    EXPECT_EQ(folder_.read("f"), "old");
    EXPECT_EQ(filesThere(), 1U);

    TxtFileOwner const full = openText("/dev/full", KqbTxtFileWrite);
    EXPECT_TRUE(full->write("x"));
    EXPECT_FALSE(full->close());
    EXPECT_EQ(told(*full), "Cannot write '/dev/full': No space left on device");
}

TEST_F(TxtFileWriting, StreamsTakeTextInPieces) {
    for (std::size_t const limit : {1'000'000U, 50'000U, 0U}) {
        int alive = 0;
        std::string written;
        std::string const line(99'999, 'x');
        MemoryStream *const stream = new MemoryStream("", 4'096, &alive);
        stream->writeTo(&written, limit);
        TxtFileOwner file = openText(stream, KqbTxtFileWrite);
        bool const ok = file->writeln(line.c_str()) && file->writeln("end") && file->close();
        EXPECT_EQ(ok, limit == 1'000'000);
        if (ok) {
            EXPECT_EQ(written, line + "\nend\n");
        } else {
            EXPECT_EQ(told(*file), "Cannot write the stream 'memory': no room left");
        }
        EXPECT_TRUE(file->getName().isNull());
        file.reset();
        EXPECT_EQ(alive, 0);
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
        KqbTxtFile *const file = kqbTxtFileOpen(path.c_str(), KqbTxtFileWrite, -1, 0, &error);
        bool const ok = file != nullptr && file->write("\xE4", 1, latin1) && file->close();
        AllocFaults::off();
        hit = AllocFaults::hit();
        ASSERT_EQ(file == nullptr, !error.isNull());
        EXPECT_TRUE(ok || hit) << n;
        EXPECT_EQ(folder_.read("f"), ok ? anew : old) << n;
        if (file != nullptr) file->release();
        EXPECT_EQ(filesThere(), 1U);
    }
}

}  // namespace
