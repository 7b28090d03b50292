// Subjects and lists of this machine, and the cursors over lists of any kind.
#include "kqb/kqbsubject.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <thread>

#include "backends/librzmx/rzmx_handles.h"
#include "identity/kqbsubjectcursors_internal.h"
#include "identity/subject_fixture.h"

namespace {

// What a command prints, line by line, some fields of each.
Lines oracle(std::string const &command) {
    Lines lines;
    FILE *const output = popen(command.c_str(), "r");
    std::array<char, 4096> line;
    while (std::fgets(line.data(), static_cast<int>(line.size()), output) != nullptr) {
        std::string const text = line.data();
        lines.push_back(text.substr(0, text.find('\n')));
    }
    EXPECT_EQ(0, pclose(output)) << command;
    return lines;
}

Lines firstColumns(Lines lines, int columns) {
    for (std::string &line : lines) {
        std::size_t end = 0;
        for (int i = 0; i < columns; ++i) end = line.find('|', end) + 1;
        if (end > 0) line.resize(end - 1);
    }
    return lines;
}

using CursorTest = SubjectTest;
using LocalSubjectTest = SubjectTest;
using LocationTest = SubjectTest;

// --- Cursors --------------------------------------------------------------------------------------

TEST_F(CursorTest, columnsOfEachKind) {
    struct {
        KqbStringCursor *cursor;
        Lines names;
        int count;
        bool isReady;
        char const *outside;
    } const kinds[] = {
        {new KqbDomainCursor(new asDomains),
         {"Name", "Description", "PartOfLogin", "CaseSensitive", "UPN"},
         5,
         false,
         "-"},
        {new KqbSubjectCursor(new asSubjects), {"Name", "ID", "Description"}, 3, false, "-"},
        {new KqbGroupCursor(new asGroups), {"Name", "ID", "Description", "Depth"}, 4, false, "-"},
        {new KqbPmapCursor(new asPmaps), {"Name", "ID", "Description"}, 3, false, "-"},
        {new KqbMemberCursor(new asMembers), {"Name", "ID", "IsGroup"}, 3, false, "-"},
        {new KqbServerList(new asServers),
         {"Server Name", "Server Description", "Server Protocol", "Server Host", "Server Port",
          "Authentication Domain", "Authentication Type", "Server ProxyURL"},
         7,
         true,
         "Invalid index"},
    };
    auto const shown = [](KqbString const &text) {
        return std::string(text.isNull() ? "-" : text.asCstr());
    };
    for (auto const &kind : kinds) {
        Cursor const cursor(kind.cursor);
        EXPECT_EQ(kind.count, cursor->getColumnCount());
        EXPECT_EQ(kind.isReady, cursor->isReady());
        int named = 0;
        for (std::string const &name : kind.names)
            EXPECT_EQ(name, shown(cursor->getColumnName(named++)));
        for (int const outside : {-1, named, 1 << 30}) {
            EXPECT_EQ(kind.outside, shown(cursor->getColumnName(outside)));
            EXPECT_EQ(kind.outside, shown(cursor->getValue(outside)));
        }
        EXPECT_EQ(KqbCursorEnd, cursor->next());
    }
}

TEST_F(CursorTest, rowsAreReadAgainAfterRewind) {
    auto *const list = new asDomains;
    list->rows.add({"a", {}}, rzmx::kPartOfLogin | rzmx::kUpn);
    list->rows.add({std::string_view("b\0c", 3), ""}, rzmx::kCaseSensitive);
    Cursor const cursor(new KqbDomainCursor(list));
    EXPECT_EQ("-|-|-|-|-", rowOf(*cursor));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(KqbCursorRow, cursor->next());
        EXPECT_EQ("a|-|true|false|true", rowOf(*cursor));
        EXPECT_EQ(KqbCursorRow, cursor->next());
        EXPECT_EQ("b\uFFFDc||false|true|false", rowOf(*cursor));
        for (int i = 0; i < 3; ++i) EXPECT_EQ(KqbCursorEnd, cursor->next());
        EXPECT_TRUE(cursor->rewind());
    }
    __int64 rows = 0;
    EXPECT_TRUE(cursor->getRowCount(&rows) && rows == 2 && cursor->getRowCount(nullptr));
}

TEST_F(CursorTest, depthIsTheRemainderByTheEntries) {
    for (auto const &[entries, expected] : {std::pair{1, "4"}, {2, "0"}, {3, "1"}, {5, "4"}}) {
        auto *const list = new asGroups;
        for (int i = 0; i < entries; ++i) list->rows.add({"g", "1", {}}, 4);
        Cursor const cursor(new KqbGroupCursor(list));
        EXPECT_EQ(KqbCursorRow, cursor->next());
        EXPECT_STREQ(expected, cursor->getValue(3).asCstr()) << entries;
    }
}

TEST_F(CursorTest, copyOfServersLacksTheProxy) {
    auto *const list = new asServers;
    list->rows.add({"n", {}, "p", "h", "1", {}, "t", "http://x"});
    Cursor const servers(new KqbServerList(list));
    KqbStringCursorCreater *const copy = createStringResidentCursor();
    Cursor const owner(copy);
    ASSERT_TRUE(copyCursor(servers.get(), copy, nullptr));
    ASSERT_TRUE(servers->rewind());
    ASSERT_EQ(KqbCursorRow, servers->next());
    EXPECT_STREQ("http://x", servers->getValue(7).asCstr());
    ASSERT_EQ(KqbCursorRow, copy->next());
    EXPECT_EQ("n||p|h|1||t", rowOf(*copy));
}

// --- This machine ---------------------------------------------------------------------------------

TEST_F(LocalSubjectTest, listsWhatTheSystemLists) {
    EXPECT_EQ(oracle("getent passwd | awk -F: '{print $1 \"|\" $3}'"),
              firstColumns(rowsOf(kqbSubjectListSubjects("")), 2));
    EXPECT_EQ(oracle("getent group | awk -F: '{print $1 \"|\" $3}'"),
              firstColumns(rowsOf(kqbSubjectListGroups("")), 2));
    std::string const host = oracle("uname -n").front();
    EXPECT_EQ(Lines{host + "|Accounts of this machine|false|true|false"},
              rowsOf(kqbSubjectListDomains()));
    EXPECT_EQ((Lines{host + "|This machine|local|" + host + "||" + host + "|Operating system"}),
              rowsOf(kqbSubjectListServers()));
    EXPECT_EQ(rowsOf(kqbSubjectListSubjects("")), rowsOf(kqbSubjectListSubjects(host.c_str())));
    EXPECT_EQ(Lines{}, rowsOf(kqbSubjectListSharedLogins()));
}

TEST_F(LocalSubjectTest, membership) {
    Lines const ids = oracle("id -G www-data | tr ' ' '\\n'");
    Lines const groups = rowsOf(kqbSubjectListGroupsBySubject("www-data"));
    ASSERT_EQ(ids.size(), groups.size());
    for (std::size_t i = 0; i < ids.size(); ++i)
        EXPECT_NE(std::string::npos, groups[i].find("|" + ids[i] + "|-|"));
    std::string const id = oracle("id -u www-data").front();
    EXPECT_EQ(groups, rowsOf(kqbSubjectListGroupsBySubjectID(id.c_str())));
    // Its own group names nobody, but is its own.
    std::string const group = oracle("id -g www-data").front();
    EXPECT_EQ((Lines{"www-data|" + id + "|false"}),
              rowsOf(kqbSubjectListMembersByGroupID(group.c_str())));
}

TEST_F(LocalSubjectTest, whatIsUnknownIsNamed) {
    KqbString error;
    KqbStringCursor *(*const functions[])(KqbString const &, KqbString *) = {
        kqbSubjectListSubjects,
        kqbSubjectListGroups,
        kqbSubjectListGroupsByGroupID,
        kqbSubjectListGroupsBySubject,
        kqbSubjectListGroupsBySubjectID,
        kqbSubjectListMembersByGroupID,
        kqbSubjectListMapsByGroupConsumer,
        kqbSubjectListMapsByUserConsumer,
        kqbSubjectListConsumers,
    };
    for (auto const function : functions) {
        for (char const *key : {"no such thing", "4123456789", "99999999999999", "-1", "0x0"}) {
            EXPECT_EQ(nullptr, function(key, &error));
            EXPECT_NE(-1, error.find(key)) << error.asCstr();
        }
    }
    EXPECT_EQ(nullptr, kqbSubjectListSubjects("nowhere", nullptr));
}

TEST_F(LocalSubjectTest, onlyTheProcessSignsOn) {
    std::string const name = oracle("id -un").front();
    KqbString error;
    EXPECT_FALSE(kqbSubjectIsSignedOn() || !kqbSubjectGetName().isNull());
    EXPECT_TRUE(kqbSubjectSignOn("", "", "", &error)) << error.asCstr();
    EXPECT_FALSE(kqbSubjectSignOn("daemon-or-so", "", "", &error));
    EXPECT_FALSE(kqbSubjectSignOn(name.c_str(), "s3cret", "", &error));
    EXPECT_EQ(-1, error.find("s3cret"));
    EXPECT_STREQ(name.c_str(), kqbSubjectGetName().asCstr());  // still
    EXPECT_STREQ(std::to_string(geteuid()).c_str(), kqbSubjectGetID().asCstr());
    EXPECT_EQ(rowsOf(kqbSubjectListGroupsBySubject(name.c_str())),
              rowsOf(kqbSubjectListGroupsBySubject("")));
    kqbSubjectSignOff();
    kqbSubjectSignOff();
    EXPECT_TRUE(!kqbSubjectIsSignedOn() && kqbSubjectGetID().isNull());
}

TEST_F(LocalSubjectTest, wantOfMemoryIsToldAndLeaksNothing) {
    sweepMemory(kqbSubjectListGroupsBySubject, "root");
}

// --- Locations ------------------------------------------------------------------------------------

TEST_F(LocationTest, badOnesAreRefusedWithoutTheirPassword) {
    for (char const *location : {
             "",
             " ;user=a",
             "srv;user=a;pass=s3cret,x",
             "http://host/",
             "ldap:/host",
             "ldap://host/dc=x?sub",
             "ldap://host/dc=%zz",
             "ldap://host/;pass=s3cret%",
             "ldap://host/;pass=%00s3cret",
             "ldap://host/;pass=s3,cret",
             "ldap://host/;pass=s3/cret",
             "ldap://host/;pass=x;PASS=s3cret",
             "ldap://host/ou=bypass=x;pass=s3cret",
             "ldap://host/;timeout=0",
             "ldap://host/;timeout=1x",
             "ldap://host/;verify=perhaps",
             "ldap://host/;s3cret=1",
             "ldap://host/; pass =s3cret",
             "ldap://host/ mailto:me",
         }) {
        std::string const reason = locate(location);
        EXPECT_NE("", reason) << location;
        EXPECT_EQ(std::string::npos, reason.find("s3")) << reason;
        // Nobody gets this machine's accounts instead.
        EXPECT_EQ(Lines{"failed: " + reason}, rowsOf(kqbSubjectListServers(), reason.c_str()));
        KqbString error;
        EXPECT_EQ(nullptr, kqbSubjectListSubjects("", &error));
        EXPECT_STREQ(reason.c_str(), error.asCstr());
        EXPECT_FALSE(kqbSubjectSignOn("", "", "", &error));
    }
    dkClearAuthServerLoc();
    EXPECT_EQ(1U, rowsOf(kqbSubjectListServers()).size());
}

// --- Threads --------------------------------------------------------------------------------------

using SubjectThreads = SubjectTest;

TEST_F(SubjectThreads, signingOnAndOffWhileOthersList) {
    std::size_t const groups = rowsOf(kqbSubjectListGroupsBySubject("root")).size();
    std::size_t const users = rowsOf(kqbSubjectListSubjects("")).size();
    std::vector<std::jthread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                EXPECT_TRUE(kqbSubjectSignOn("", "", ""));
                kqbSubjectSignOff();
            }
        });
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i) {
                EXPECT_EQ(groups, rowsOf(kqbSubjectListGroupsBySubject("root")).size());
                EXPECT_EQ(users, rowsOf(kqbSubjectListSubjects("")).size());
                static_cast<void>(kqbSubjectGetName());
            }
        });
    }
}

}  // namespace
