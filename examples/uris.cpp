// URIs: taking texts apart, walking a repository, typed columns, changing a query, native paths.
#include "kqb/kquri.h"

#include "kqb/kqbdatavar.h"
#include "kqb/kqdatauri.h"
#include "kqb/kqreposuri.h"
#include "kqb/kquriqueryhandler.h"
#include "kqb/kqworktableuri.h"
#include "running_library.h"

static void takeApart() {
    KqURI *const uri = getURIFromURIString("ftp://srv/some%20dir/plan.txt?version=2#notes");
    std::printf("host '%s', path '%s', query '%s', fragment '%s'\n", uri->getHost().asCstr(),
                uri->getPath().asCstr(), uri->getQuery().asCstr(), uri->getFragment().asCstr());
    KqbString path;
    if (getNativePath(uri, &path)) std::printf("%s\n", path.asCstr());
    uri->addQueryValue("owner", "A & B", nullptr);
    std::printf("%s\n", uri->getEscapedURIString().asCstr());
    uri->release();
}

static void walkUp() {
    KqURI *const uri = getURIFromURIString("kqr://repo1/Jobs/Daily/Load(Job)");
    KqReposURI *const job = uri->asReposURI();
    std::printf("%s of type %s\n", job->getLeafName().asCstr(), job->getType().asCstr());
    KqReposURI *folder = job->getParentFolder();
    while (folder != nullptr) {
        std::printf("  in %s\n", folder->getURIString().asCstr());
        KqReposURI *const above = folder->getParentFolder();
        folder->release();
        folder = above;
    }
    uri->release();
}

static void build() {
    KqDataURI *const table =
        getDataURIFromComponents("kqd", "", "Sales", "ODBC", "dbo", "Orders", "", "");
    std::printf("%s\n", table->getURIString().asCstr());
    table->release();
}

static void describeRows() {
    KqWorkTableURI *const rows = getWorkTableURIFromComponents("Orders", 0, 100);
    KqbString error;
    rows->addColumn("id", "7", KqbTypeInteger, nullptr);
    if (!rows->addColumn("ID", "8", KqbTypeInteger, &error)) std::printf("%s\n", error.asCstr());
    std::printf("%s\n", rows->getURIString().asCstr());
    rows->release();
}

static void readPairs() {
    KqURIQueryHandler *const query = getURIQueryHandler("a=1&b=two%20words&a=3", false);
    KqbString key, value;
    for (int i = 0; query->getPair(i, &key, &value); ++i) {
        std::printf("%s is '%s'\n", key.asCstr(), value.asCstr());
    }
    query->release();
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    takeApart();
    walkUp();
    build();
    describeRows();
    readPairs();
    return 0;
}
