// Lists from a real directory server, whole and with somebody in the way.
#include <chrono>
#include <optional>
#include <unordered_set>

#include "identity/directory_server.h"
#include "identity/subject_fixture.h"
#include "kqb/kqbsubject.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kBase[] = "/dc=example,dc=com";
constexpr char kZoe[] = "Zo\u00EB \"The * (One)\", Jr.";

std::optional<DirectoryServer> gServer;  // one for all tests: making it takes seconds

class DirectoryTest : public SubjectTest {
protected:
    static void SetUpTestSuite() {
        if (!gServer) gServer.emplace();
    }
    void SetUp() override {
        SubjectTest::SetUp();
        ASSERT_EQ("", locate(gServer->location()));
    }

    // Lists from another location: the rows, or "failed: ...".
    static Lines from(std::string const &location,
                      KqbStringCursor *(*function)(KqbString *) = kqbSubjectListServers) {
        EXPECT_EQ("", locate(location));
        KqbString error;
        KqbStringCursor *const cursor = function(&error);
        return rowsOf(cursor, error);
    }
    static KqbStringCursor *everybody(KqbString *error) {
        return kqbSubjectListSubjects("", error);
    }

    // The ID of the entry of that name.
    static std::string idIn(KqbStringCursor *made, char const *name) {
        Cursor const cursor(made);
        while (cursor != nullptr && cursor->next() == KqbCursorRow) {
            if (cursor->getValue(0).compare(name) == 0) return cursor->getValue(1).asCstr();
        }
        ADD_FAILURE() << "no " << name;
        return {};
    }
    static std::string groupId(char const *name) { return idIn(kqbSubjectListGroups(""), name); }
    static std::string userId(char const *name) { return idIn(kqbSubjectListSubjects(""), name); }
};

// Without the IDs that the server made up: those longer than a number.
Lines shorter(Lines lines) {
    for (std::string &line : lines) {
        std::size_t const begin = line.find('|') + 1;
        std::size_t const end = std::min(line.find('|', begin), line.size());
        if (end - begin == 36) line.replace(begin, 36, "uuid");
    }
    return lines;
}

std::unordered_set<std::string> setOf(Lines const &lines) { return {lines.begin(), lines.end()}; }

// --- What is there --------------------------------------------------------------------------------

TEST_F(DirectoryTest, domainsServersAndMaps) {
    EXPECT_EQ((Lines{"example.com|The whole of it|false|false|false",
                     "sales.example.com|-|false|false|false"}),
              rowsOf(kqbSubjectListDomains()));
    EXPECT_EQ((Lines{"runner|Batch runner|tcp|runner.example.com|8591|example.com|simple",
                     "bare||udp||1||"}),
              rowsOf(kqbSubjectListServers()));
    EXPECT_EQ(Lines{"loader|uuid|Loads at night"}, shorter(rowsOf(kqbSubjectListSharedLogins())));
    std::string const map = idIn(kqbSubjectListSharedLogins(), "loader");
    EXPECT_EQ((Lines{"anna|20001|false", "makers|uuid|true"}),
              shorter(rowsOf(kqbSubjectListConsumers(map.c_str()))));
    Lines const loader = rowsOf(kqbSubjectListSharedLogins());
    EXPECT_EQ(loader, rowsOf(kqbSubjectListMapsByUserConsumer("20001")));
    EXPECT_EQ(loader, rowsOf(kqbSubjectListMapsByGroupConsumer(groupId("makers").c_str())));
    EXPECT_EQ(Lines{}, rowsOf(kqbSubjectListMapsByUserConsumer("20003")));
}

TEST_F(DirectoryTest, usersOfOneDomainAndOfAll) {
    EXPECT_EQ(Lines{"Carl|uuid|Carl"},
              shorter(rowsOf(kqbSubjectListSubjects("SALES.example.com"))));
    Cursor const all(kqbSubjectListSubjects(""));
    ASSERT_NE(nullptr, all);
    __int64 count = 0;
    EXPECT_TRUE(all->getRowCount(&count));
    EXPECT_EQ(DirectoryServer::kMany + 4, count);
    Lines first;
    for (int i = 0; i < 4 && all->next() == KqbCursorRow; ++i) first.push_back(rowOf(*all));
    EXPECT_EQ((Lines{"anna|20001|Anna Adler", "bert|uuid|Bert",
                     "zo*(e)\\,x|20003|" + std::string(kZoe), "Carl|uuid|Carl"}),
              shorter(first));
    // What lies on another server is missing, and that is told.
    EXPECT_NE(-1, all->getErrorMessage().find("1 referrals"));
}

TEST_F(DirectoryTest, tableCanBeChanged) {
    Lines const rows = shorter(from(
        gServer->location(";users.filter=sn=Z;users.name=dn;users.id=sn,cn;users.description="),
        everybody));
    EXPECT_EQ(1U, rows.size());
    EXPECT_EQ("|Z|-", rows[0].substr(rows[0].find('|')));
    EXPECT_EQ((Lines{"workers|uuid|Everybody who works|0"}),
              shorter(from(gServer->location(";groups.class=groupOfUniqueNames"),
                           [](KqbString *error) { return kqbSubjectListGroups("", error); })));
    EXPECT_EQ((Lines{"dc=example,dc=com|-|true|false|true"}),
              from(gServer->location(";domains.class=none;domains.upn=YES;domains.partoflogin=yes"),
                   kqbSubjectListDomains));
    // A location without a base takes the server's.
    EXPECT_EQ(2U, from(gServer->socket(), kqbSubjectListDomains).size());
}

TEST_F(DirectoryTest, nestedGroupsHaveDepthAndCirclesEnd) {
    std::unordered_set<std::string> const annas = {"staff|30001|Those whose own group it is|1",
                                                   "engineers|uuid|-|1", "makers|uuid|-|2",
                                                   "workers|uuid|Everybody who works|3"};
    EXPECT_EQ(annas, setOf(shorter(rowsOf(kqbSubjectListGroupsBySubject("anna")))));
    EXPECT_EQ(annas, setOf(shorter(rowsOf(kqbSubjectListGroupsBySubjectID("20001")))));
    EXPECT_EQ((Lines{"makers|uuid|-|1", "workers|uuid|Everybody who works|0"}),
              shorter(rowsOf(kqbSubjectListGroupsByGroupID(groupId("engineers").c_str()))));
}

TEST_F(DirectoryTest, membersOfEveryKind) {
    EXPECT_EQ((std::unordered_set<std::string>{"bert|uuid|false", "zo*(e)\\,x|20003|false",
                                               "nobody-here|-|false", "anna|20001|false"}),
              setOf(shorter(rowsOf(kqbSubjectListMembersByGroupID("30001")))));
    EXPECT_EQ((Lines{"engineers|uuid|true", "zo*(e)\\,x|20003|false",
                     "uid=gone,ou=people,dc=example,dc=com|-|false"}),
              shorter(rowsOf(kqbSubjectListMembersByGroupID(groupId("makers").c_str()))));
    Lines const large = rowsOf(kqbSubjectListMembersByGroupID(groupId("large").c_str()));
    ASSERT_EQ(static_cast<std::size_t>(DirectoryServer::kLarge), large.size());
    EXPECT_EQ("user4999|104999|false", large.back());
}

TEST_F(DirectoryTest, namesAreNoFilters) {
    EXPECT_EQ((std::unordered_set<std::string>{"staff|30001|Those whose own group it is|1",
                                               "makers|uuid|-|1", "engineers|uuid|-|3",
                                               "workers|uuid|Everybody who works|2"}),
              setOf(shorter(rowsOf(kqbSubjectListGroupsBySubject("zo*(e)\\,x")))));
    for (char const *name : {"*", "anna)(uid=*", "(", "\\2a", "\xff\xfe", "an\u00EBa"}) {
        KqbString error;
        EXPECT_EQ(nullptr, kqbSubjectListGroupsBySubject(name, &error)) << name;
        EXPECT_NE(-1, error.find(name)) << error.asCstr();
        EXPECT_EQ(nullptr, kqbSubjectListMembersByGroupID(name, &error)) << name;
    }
    EXPECT_EQ(nullptr, kqbSubjectListSubjects("no.such.domain"));
}

// --- Signing on -----------------------------------------------------------------------------------

TEST_F(DirectoryTest, signOn) {
    char const kPassword[] = "annas password, with/all";
    KqbString refused, error;
    EXPECT_FALSE(kqbSubjectSignOn("anna", "wrong", "", &refused));
    for (char const *name : {"nobody", "anna*", "uid=nobody,dc=example,dc=com"}) {
        EXPECT_FALSE(kqbSubjectSignOn(name, kPassword, "", &error));
        EXPECT_STREQ(refused.asCstr(), error.asCstr());  // names cannot be guessed
    }
    EXPECT_FALSE(kqbSubjectSignOn("anna", "", "", &error));
    EXPECT_FALSE(kqbSubjectSignOn("anna", kPassword, "sales.example.com", &error));
    EXPECT_EQ(-1, error.find("annas"));
    EXPECT_FALSE(kqbSubjectIsSignedOn());
    for (char const *name : {"anna", "uid=anna,ou=people,dc=example,dc=com"}) {
        ASSERT_TRUE(kqbSubjectSignOn(name, kPassword, "example.com", &error)) << error.asCstr();
        EXPECT_STREQ("anna", kqbSubjectGetName().asCstr());
        EXPECT_STREQ("20001", kqbSubjectGetID().asCstr());
        EXPECT_STREQ("Anna Adler", kqbSubjectGetDescription().asCstr());
        EXPECT_STREQ("example.com", kqbSubjectGetDomain().asCstr());
        EXPECT_EQ(4U, rowsOf(kqbSubjectListGroupsBySubject("")).size());
    }
    kqbSubjectSignOff();
    EXPECT_EQ(nullptr, kqbSubjectListGroupsBySubject("", &error));  // whose?
}

TEST_F(DirectoryTest, userOfTheLocationOrOfTheSettings) {
    EXPECT_EQ(
        2U, from(gServer->location(";user=cn=admin,dc=example,dc=com;pass=admin%25secret")).size());
    EXPECT_EQ(2U, from(gServer->location(";user=anna;pass=annas password%2C with%2Fall")).size());
    ASSERT_EQ("", locate(gServer->location(), "anna", "annas password, with/all"));
    EXPECT_EQ(2U, rowsOf(kqbSubjectListServers()).size());
    // Over the socket the process is known by its account.
    ASSERT_EQ(0, dkSetAuthServerLoc(gServer->location().c_str(), "", "nobody", "", 1, nullptr, 0,
                                    nullptr));
    EXPECT_EQ(2U, rowsOf(kqbSubjectListServers()).size());
    // The password of the settings is not for another user.
    ASSERT_EQ("", locate(gServer->location(";user=bert"), "anna", "annas password, with/all"));
    KqbString error;
    EXPECT_EQ(nullptr, kqbSubjectListServers(&error));
    EXPECT_NE(-1, error.find("no password for the user 'bert'"));
}

// --- TLS ------------------------------------------------------------------------------------------

TEST_F(DirectoryTest, tlsIsUsedAndCertificatesAreChecked) {
    std::string const trusted = gServer->authorities();
    std::string const byName = "ldap://localhost:" + std::to_string(gServer->port()) + kBase;
    struct {
        std::string location;
        bool works;
    } const cases[] = {
        {gServer->plain() + kBase + trusted, true},
        {gServer->secure() + kBase + trusted, true},
        {gServer->plain() + kBase, false},  // of an authority nobody knows
        {gServer->secure() + kBase, false},
        {byName + trusted, false},  // of another host
        {byName + trusted + ";verify=no", true},
        {byName + ";starttls=no", true},
        {gServer->secure() + kBase + ";cacert=/nowhere", false},
    };
    for (auto const &[location, works] : cases) {
        Lines const rows = from(location);
        EXPECT_EQ(works, rows.size() == 2) << location << ": " << rows.front();
        EXPECT_EQ(works, rows.front().find("cacert") == std::string::npos) << rows.front();
    }
    // Whatever the client's own settings say.
    setenv("LDAPTLS_REQCERT", "never", 1);
    EXPECT_EQ(1U, from(gServer->plain() + kBase).size());
    unsetenv("LDAPTLS_REQCERT");
}

// --- Faults ---------------------------------------------------------------------------------------

class Faulty {
public:
    explicit Faulty(char const *mode, int port = 0)
        : program_({KQB_TEST_PYTHON, KQB_TEST_FAULTY, mode, std::to_string(port)}),
          port_(program_.readLine()) {}
    std::string location(std::string const &base = kBase) const {
        return "ldap://127.0.0.1:" + port_ + base + ";starttls=no;timeout=1;timelimit=3";
    }

private:
    Program program_;
    std::string port_;
};

TEST_F(DirectoryTest, faultsEndInATextAndInTime) {
    int const port = gServer->port();
    Faulty const silent("silent"), half("half", port), drip("drip", port), close("close", port);
    std::string const plain = "ldap://127.0.0.1:" + std::to_string(port);
    std::string const refused = "ldap://127.0.0.1:" + std::to_string(freePort());
    std::string const account = ";starttls=no;user=cn=admin,dc=example,dc=com;pass=s3cret";
    struct {
        std::string location;
        char const *text;
    } const cases[] = {
        {refused + kBase + ";starttls=no", "contact"},
        {refused + kBase, "contact"},
        {silent.location(), "no answer within the time limit"},
        {silent.location() + ";starttls=yes", "no answer within the time limit"},
        {half.location(), "no answer within the time limit"},
        {drip.location(), "no answer within the time limit"},
        {close.location(), "contact"},
        {plain + kBase + account, "does not accept the user"},
        {plain + "/dc=nowhere;starttls=no", "No such object"},
        {plain + kBase + ";starttls=no;users.filter=(((", "filter"},
        {"ldapi://%2Fnowhere" + std::string(kBase), "contact"},
    };
    for (auto const &[location, text] : cases) {
        auto const begin = Clock::now();
        Lines const rows = from(location, everybody);
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(4)) << location;
        ASSERT_EQ(1U, rows.size()) << location;
        EXPECT_EQ(0U, rows[0].find("failed: ")) << rows[0];
        EXPECT_NE(std::string::npos, rows[0].find(text)) << rows[0];
        EXPECT_EQ(std::string::npos, rows[0].find("s3cret")) << rows[0];
    }
}

TEST_F(DirectoryTest, lostConnectionIsMadeAnewOnce) {
    Faulty const drop("drop", gServer->port());
    Lines const rows = from(drop.location(), everybody);
    EXPECT_EQ(static_cast<std::size_t>(DirectoryServer::kMany) + 4, rows.size()) << rows.front();
    EXPECT_EQ(rows.size(), setOf(rows).size());
}

TEST_F(DirectoryTest, otherServersAreTriedInTurn) {
    Lines const rows = from("ldap://127.0.0.1:" + std::to_string(freePort()) + " " +
                            gServer->plain() + kBase + ";starttls=no");
    EXPECT_EQ(2U, rows.size()) << rows.front();
}

TEST_F(DirectoryTest, valuesThatComeInRanges) {
    Faulty const ranged("ranged");
    ASSERT_EQ("", locate(ranged.location("/dc=x") + ";users.id=dn"));
    KqbString error;
    Lines const rows = rowsOf(kqbSubjectListMembersByGroupID("all", &error), error);
    ASSERT_EQ(25U, rows.size()) << rows.front();
    EXPECT_EQ("member 24|cn=member 24,dc=x|false", rows.back());
}

TEST_F(DirectoryTest, wantOfMemoryIsToldAndLeaksNothing) {
    sweepMemory(kqbSubjectListMembersByGroupID, "30001");
    sweepMemory(kqbSubjectListGroupsBySubject, "anna");
}

class StopServer : public testing::Environment {
    void TearDown() override { gServer.reset(); }
};
auto *const gStopServer = testing::AddGlobalTestEnvironment(new StopServer);

}  // namespace
