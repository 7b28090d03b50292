#include "kqb/kqbemail.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <string>

#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"
#include "support/temporary_folder.h"

namespace {

using std::string;

// The writers, reached as a derived class does.
struct Composer : KqbEmail {
    using KqbEmail::encodeBody;
    using KqbEmail::encodeHeaderValue;
    using KqbEmail::scanStr;
    using KqbEmail::writeEmailTextFile;
};

string const kHead = "To: a@b\r\nSubject: s\r\n";
string const kMultipart =
    kHead +
    "Content-Type: multipart/mixed; boundary=\"KQ_EMAIL_00\"\r\nMIME-version: 1.0\r\n"
    "This is a multi-part message in MIME format.\r\n\r\n";
string const kEnd = "--KQ_EMAIL_00--\r\n";

string textPart(string const &charset, string const &encoding, string const &body) {
    return "--KQ_EMAIL_00\r\nContent-Type: text/plain; charset=" + charset +
           "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + body + "\r\n";
}

string filePart(string const &name, string const &body) {
    return "--KQ_EMAIL_00\r\nContent-Type: application/octet-stream\r\n"
           "Content-Transfer-Encoding: base64\r\n"
           "Content-Disposition: attachment; filename=\"" +
           name + "\"\r\n\r\n" + body;
}

struct EmailTest : PoolTest {
    // A mail with recipient and subject, to be sent by a command that runs in the folder.
    void begin(KqbEmail &mail, string const &command = "true") {
        ASSERT_TRUE(mail.initialize(folder_.path().c_str(),
                                    ("cd " + folder_.path() + "; " + command).c_str()));
        mail.setTo("a@b");
        mail.setSubject("s");
    }

    static string contentOf(KqbEmail const &mail) {
        std::ostringstream content;
        content << std::ifstream(mail.getEmailFile().asCstr(), std::ios::binary).rdbuf();
        return content.str();
    }

    static void expectMessage(KqbEmail const &mail, int number,
                              std::initializer_list<KqbString> arguments = {}) {
        KqbString const expected =
            kqb_get_message(KQB_BASE_SERVICES, number, "kqbemail", arguments);
        EXPECT_STREQ(mail.getErrorMessage().asCstr(), expected.asCstr());
    }

    static bool hasMessage(KqbEmail const &mail, int number) {
        string const text = mail.getErrorMessage().asCstr();
        string const start = "Base Services " + std::to_string(number);
        return text == start || text.rfind(start + ": ", 0) == 0;
    }

    TemporaryFolder folder_;
};

TEST_F(EmailTest, textsByteForByte) {
    struct {
        char const *from;
        char const *subject;
        std::vector<char const *> messages;
        string expected;
    } const cases[] = {
        {nullptr, "s", {}, kHead},
        {"me", "s", {}, "To: a@b\r\nFrom: me\r\nSubject: s\r\n"},
        {"", "", {}, "To: a@b\r\nFrom: \r\nSubject: \r\n"},
        {nullptr,
         "Gr\xC3\xBC\xC3\x9F"
         "e",
         {},
         "To: a@b\r\nSubject: =?UTF-8?B?R3LDvMOfZQA=?=\r\n"},
        {nullptr, "s", {"hello"}, kMultipart + textPart("US-ASCII", "7bit", "hello") + kEnd},
        {nullptr,
         "s",
         {"\xC3\xA4", "", "a\nb"},
         kMultipart + textPart("UTF-8", "base64", "w6QA") + textPart("US-ASCII", "7bit", "") +
             textPart("US-ASCII", "7bit", "a\nb") + kEnd},
    };
    for (auto const &c : cases) {
        Composer mail;
        begin(mail);
        mail.setFrom(KqbString(c.from));
        mail.setSubject(c.subject);
        for (char const *message : c.messages) mail.addMessage(message);
        EXPECT_TRUE(mail.writeEmailTextFile());
        EXPECT_EQ(contentOf(mail), c.expected);
    }
}

TEST_F(EmailTest, attachmentsByteForByte) {
    string const x57(57, 'x'), line76 = [] {
        string s;
        while (s.size() < 76) s += "eHh4";
        return s;
    }();
    struct {
        char const *name;
        string content;
        string shownName;
        string body;
    } const cases[] = {
        {"empty", "", "empty", ""},
        {"one", "x", "one", "eA==\r\n"},
        {"a b.txt", x57, "a b.txt", line76 + "\r\n"},
        {"two", x57 + "x", "two", line76 + "\r\neA==\r\n"},
        {"\xC3\xA4.txt", "x", "\xC3\xA4.txt", "eA==\r\n"},
        {"q\"u\\o'te", "x", "q\\\"u\\\\o'te", "eA==\r\n"},
    };
    Composer all;
    begin(all);
    string everything = kMultipart;
    for (auto const &c : cases) {
        all.addAttachment(folder_.write(c.name, c.content).c_str());
        everything += filePart(c.shownName, c.body);
    }
    EXPECT_TRUE(all.writeEmailTextFile()) << all.getErrorMessage().asCstr();
    EXPECT_EQ(contentOf(all), everything + kEnd);
    all.clearAttachments();
    EXPECT_TRUE(all.sendMail());
    EXPECT_EQ(contentOf(all), kHead);
}

// More than one buffer; the mail file itself, which grows while it is read; a file without a size.
TEST_F(EmailTest, attachmentsOfAnySize) {
    string const big(1'000'003, 'x');
    Composer mail;
    begin(mail);
    mail.addMessage("m");
    mail.addAttachment(folder_.write("big", big).c_str());
    mail.addAttachment(mail.getEmailFile());
    mail.addAttachment("/proc/self/stat");
    ASSERT_TRUE(mail.writeEmailTextFile()) << mail.getErrorMessage().asCstr();
    string const content = contentOf(mail);
    EXPECT_GT(content.size(), big.size() / 57 * 78 * 2);
    EXPECT_LT(content.size(), big.size() / 57 * 78 * 4);
    EXPECT_EQ(content.substr(content.size() - kEnd.size()), kEnd);
}

TEST_F(EmailTest, attachmentsThatCannotBeRead) {
    mkfifo(folder_.path("fifo").c_str(), 0600);
    string const line = folder_.write("line\nTo: x", "");
    for (string const &path : {folder_.path("none"), folder_.path(), folder_.path("fifo"),
                               string("/dev/zero"), line, string()}) {
        KqbEmail mail;
        begin(mail, "touch ran");
        mail.addAttachment(path.c_str());
        EXPECT_FALSE(mail.sendMail());
        EXPECT_TRUE(hasMessage(mail, 471)) << mail.getErrorMessage().asCstr();
        mail.clearAttachments();
        mail.addAttachment("/proc/self/mem");
        EXPECT_FALSE(mail.sendMail());
        EXPECT_TRUE(hasMessage(mail, 97)) << mail.getErrorMessage().asCstr();
        EXPECT_FALSE(std::filesystem::exists(folder_.path("ran")));
    }
}

TEST_F(EmailTest, headersCannotBeSmuggledIn) {
    KqbString zero;
    KqbStringAccess::assign(zero, std::string_view("a\0b", 3));
    using Setter = void (KqbEmail::*)(KqbString const &);
    std::pair<char const *, Setter> const headers[] = {
        {"To", &KqbEmail::setTo}, {"From", &KqbEmail::setFrom}, {"Subject", &KqbEmail::setSubject}};
    for (auto const &[name, set] : headers) {
        for (KqbString const &value : {KqbString("a\rBcc: x"), KqbString("a\nBcc: x"),
                                       KqbString("\xC3\xA4\r\n\r\nx"), KqbString("\n"), zero}) {
            KqbEmail mail;
            begin(mail, "touch ran");
            (mail.*set)(value);
            EXPECT_FALSE(mail.sendMail());
            expectMessage(mail, 449, {name, value});
            EXPECT_EQ(contentOf(mail).find("Bcc"), string::npos);
        }
        KqbEmail mail;
        begin(mail);
        string const text(10'000, 'x');
        (mail.*set)(text.c_str());
        EXPECT_TRUE(mail.sendMail());
        EXPECT_NE(contentOf(mail).find(name + (": " + text) + "\r\n"), string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(folder_.path("ran")));
}

TEST_F(EmailTest, whatIsMissing) {
    KqbEmail mail;
    EXPECT_TRUE(!mail.sendMail() && hasMessage(mail, 332));  // not initialised
    EXPECT_TRUE(mail.getEmailFile().isNull());
    begin(mail, "touch ran");
    mail.setTo(KqbString());
    EXPECT_FALSE(mail.sendMail());
    expectMessage(mail, 450);
    mail.setTo("a");
    mail.setSubject(KqbString());
    EXPECT_FALSE(mail.sendMail());
    expectMessage(mail, 451);
    EXPECT_FALSE(std::filesystem::exists(folder_.path("ran")));
    EXPECT_FALSE(mail.initialize(folder_.path("none").c_str(), "true"));
    expectMessage(mail, 332, {"2", folder_.path("none").c_str(), "No such file or directory"});
    EXPECT_FALSE(mail.initialize(string(1020, 'd').c_str(), "true"));
    EXPECT_TRUE(hasMessage(mail, 332) && !mail.sendMail());
}

TEST_F(EmailTest, commandsThatFail) {
    struct {
        char const *command;
        bool result;
        int code;
        string complaint;
    } const cases[] = {
        {"exit 3", true, 3, ""},
        {"kill -9 $$", false, 9, "Base Services 378: 9"},
        {"echo \"warning  \"; echo; echo ' two\t'", false, 0, "warning  two"},
        {"echo to error >&2", false, 0, "to error"},
        {"printf 'a\\0b'", false, 0, "a b"},
        {"echo dying; kill -9 $$", false, 9, "dying"},
    };
    for (auto const &c : cases) {
        KqbEmail mail;
        begin(mail, c.command);
        string const line = "cd " + folder_.path() + "; " + c.command;
        EXPECT_EQ(mail.sendMail(), c.result) << c.command;
        EXPECT_EQ(mail.getExitCode(), c.code) << c.command;
        bool const isPrinted = !c.complaint.empty() && c.complaint[0] != 'B';
        string const expected =
            isPrinted ? "Base Services 333: " + line + ", " + c.complaint : c.complaint;
        EXPECT_EQ(mail.getErrorMessage().asCstr(), expected);
    }
    KqbEmail blanks;
    begin(blanks, "printf ' \\n\\n'");
    EXPECT_FALSE(blanks.sendMail());
    EXPECT_TRUE(blanks.getErrorMessage().isNull());
}

TEST_F(EmailTest, aCommandThatDoesNotEnd) {
    KqbEmail mail;
    begin(mail, "sleep 60");
    auto const start = std::chrono::steady_clock::now();
    EXPECT_FALSE(mail.sendMail());
    auto const gone = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(gone > std::chrono::seconds(9) && gone < std::chrono::seconds(14));
    expectMessage(mail, 377);
}

TEST_F(EmailTest, muchOutputIsShownInPart) {
    KqbEmail mail;
    begin(mail, "yes 2>/dev/null | head -c 5000000");
    EXPECT_FALSE(mail.sendMail());
    EXPECT_GT(mail.getErrorMessage().length(), 60'000U);
    EXPECT_LT(mail.getErrorMessage().length(), 70'000U);
}

// The command is kept as it was filled; the mail file is opened anew and emptied.
TEST_F(EmailTest, sendingAgain) {
    KqbEmail mail;
    begin(mail, "cp %B sent; echo -t %T -f %B > line");
    string const name = mail.getEmailFile().asCstr();
    mail.addMessage("long message");
    ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
    EXPECT_EQ(folder_.read("line"), "-t a@b -f " + name + "\n");
    EXPECT_EQ(folder_.read("sent"),
              kMultipart + textPart("US-ASCII", "7bit", "long message") + kEnd);
    mail.clearMessages();
    mail.setTo("other");
    ASSERT_TRUE(mail.sendMail());
    EXPECT_EQ(folder_.read("line"), "-t a@b -f " + name + "\n");
    EXPECT_EQ(folder_.read("sent"), "To: other\r\nSubject: s\r\n");
    EXPECT_TRUE(std::filesystem::exists(name));
    begin(mail);
    EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(EmailTest, placeholdersAreFilledSafely) {
    string const odd = "it's \"a\" $(touch ran) dir";
    std::filesystem::create_directory(folder_.path(odd));
    for (string const to : {"a; touch ran", "'$(touch ran)'", "x %B y", "%T"}) {
        KqbEmail mail;
        string const line = "cd " + folder_.path() + "; printf '%s\\n' \"%T\" > to; cp '%B' sent";
        ASSERT_TRUE(mail.initialize(folder_.path(odd).c_str(), line.c_str()));
        mail.setTo(to.c_str());
        mail.setSubject("s");
        ASSERT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
        EXPECT_TRUE(folder_.read("to") == to + "\n" || to == "x %B y") << to;
        EXPECT_EQ(folder_.read("sent"), "To: " + to + "\r\nSubject: s\r\n");
        EXPECT_FALSE(std::filesystem::exists(folder_.path("ran")));
    }
    KqbEmail mail;
    begin(mail, "touch ran; sh -c 'mailer %T'");
    mail.setTo("a b");
    EXPECT_TRUE(!mail.sendMail() && hasMessage(mail, 380));
    begin(mail, "touch ran; mailer %T");
    mail.setTo("-x");
    EXPECT_TRUE(!mail.sendMail() && hasMessage(mail, 380));
    EXPECT_FALSE(std::filesystem::exists(folder_.path("ran")));
}

// Files may not grow beyond a limit, which stands for a full disk.
TEST_F(EmailTest, aFullDisk) {
    struct FileLimit {
        explicit FileLimit(rlim_t bytes) {
            getrlimit(RLIMIT_FSIZE, &old);
            rlimit const limit{bytes, old.rlim_max};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        ~FileLimit() { setrlimit(RLIMIT_FSIZE, &old); }
        rlimit old;
    };
    std::signal(SIGXFSZ, SIG_IGN);
    auto const attachment = folder_.write("file", string(1000, 'x'));
    std::pair<rlim_t, int> const cases[] = {
        {4, 449}, {kHead.size() + 4, 452}, {kMultipart.size() + 4, 448}, {700, 452}};
    KqbEmail mail;
    begin(mail, "touch ran");
    mail.addMessage("lost");
    mail.addAttachment(attachment.c_str());
    for (auto const &[bytes, message] : cases) {
        bool isSent;
        {
            FileLimit const limit(bytes);
            isSent = mail.sendMail();
        }
        EXPECT_TRUE(!isSent && hasMessage(mail, message)) << mail.getErrorMessage().asCstr();
        EXPECT_FALSE(std::filesystem::exists(folder_.path("ran")));
    }
    EXPECT_TRUE(mail.sendMail()) << mail.getErrorMessage().asCstr();
    std::signal(SIGXFSZ, SIG_DFL);
}

TEST_F(EmailTest, nothingIsLeftBehind) {
    {
        KqbEmail mail, other;
        begin(mail, "echo no");
        EXPECT_TRUE(other.initialize(folder_.path().c_str(), "true"));
        EXPECT_FALSE(mail.sendMail());
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

// Every allocation fails in turn: the mail is the right one, or the failure is told.
TEST_F(EmailTest, withoutMemory) {
    refusesRequests_ = true;
    string const subject = string(2000, 's') + "\xC3\xA4", attachment = folder_.write("file", "x");
    string whole;
    bool isHit = true;
    for (long nth = 0; isHit; ++nth) {
        Composer mail;
        begin(mail, "cp %B sent");
        mail.setSubject(subject.c_str());
        KqbString const message(subject.c_str()), path(attachment.c_str());
        std::filesystem::remove(folder_.path("sent"));
        if (nth > 0) AllocFaults::failAt(nth);
        mail.addMessage(message);
        mail.addAttachment(path);
        bool const isSent = mail.sendMail();
        AllocFaults::off();
        isHit = nth == 0 || AllocFaults::hit();
        if (nth == 0) whole = folder_.read("sent");
        EXPECT_TRUE(isSent || isHit) << nth;
        // A message that cannot be encoded is left out, which is told beside the success.
        bool const isToldOf = !mail.getErrorMessage().isNull() || isHit;
        EXPECT_TRUE(!isSent || folder_.read("sent") == whole || isToldOf) << nth;
    }
    EXPECT_NE(whole.find("c3Nz"), string::npos);
}

}  // namespace
