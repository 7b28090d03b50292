// A configuration file: what was read and written reads and writes the same again.
#include <fstream>
#include <sstream>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbconfigfile.h"
#include "support/temporary_folder.h"

namespace {

std::string const &path() {
    static TemporaryFolder const folder;
    static std::string const name = folder.path("file.cfg");
    return name;
}

void put(std::string const &text) {
    std::ofstream(path(), std::ios::binary).write(text.data(), static_cast<long>(text.size()));
}

std::string content() {
    std::ostringstream text;
    text << std::ifstream(path(), std::ios::binary).rdbuf();
    return text.str();
}

void checkSameEntries(KqbConfigFile &a, KqbConfigFile &b) {
    fuzzCheck(a.getEntryCount() == b.getEntryCount(), "entry count");
    for (int i = 0; i < a.getEntryCount(); ++i) {
        KqbString key[2];
        KqbString value[2];
        fuzzCheck(a.getEntry(i, &key[0], &value[0]), "entry");
        fuzzCheck(b.getEntry(i, &key[1], &value[1]), "entry");
        fuzzCheck(key[0].compare(key[1], false) == 0, "key");
        fuzzCheck(value[0].compare(value[1]) == 0, "value");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    put(fuzzText(data, size));
    KqbString const name(path().c_str());
    KqbConfigFile first;
    if (!first.read(name)) {
        fuzzCheck(!first.getErrorMessage().isNull(), "a failure without a reason");
        return 0;
    }
    fuzzCheck(first.write(name), "write");
    std::string const written = content();
    KqbConfigFile second;
    fuzzCheck(second.read(name), "what was written reads");
    checkSameEntries(first, second);
    fuzzCheck(second.write(name), "write again");
    fuzzCheck(content() == written, "a second round changes nothing");
    // Every entry can be commented, deleted and set anew.
    KqbString key;
    while (second.getEntry(0, &key, nullptr)) {
        second.setEntryComment(key, "one\ntwo");
        second.deleteEntry(key);
    }
    second.setEntry(key, "value");
    fuzzCheck(second.write(name), "write after changes");
    return 0;
}
