// Templates: what expands is, with its special characters doubled, a template of the same text.
#include <cstring>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbtemplate.h"

namespace {

class Names : public KqbTemplateValueCB {
public:
    bool getValue(KqbString const &name, KqbString *value, KqbString *) override {
        ++asked;
        *value = name;
        return true;
    }
    int asked = 0;
};

std::string doubled(char const *text) {
    std::string out;
    for (; *text != '\0'; ++text) {
        out += *text;
        if (std::strchr("{}[]", *text) != nullptr) out += *text;
    }
    return out;
}

void checkNames(KqbTemplate *made) {
    std::string last;
    for (int i = 0; i < made->getVariableCount(); ++i) {
        std::string const name = made->getVariable(i, nullptr, nullptr).asCstr();
        fuzzCheck(last < name, "names in order");
        last = name;
    }
}

void checkExpansion(KqbTemplate *made, Names const &names) {
    KqbString error;
    KqbString const text = made->expand(&error);
    int const asked = names.asked;
    fuzzCheck(!text.isNull() && error.isNull(), "expands");
    fuzzCheck(asked == made->getVariableCount(), "asks for each once");
    fuzzCheck(made->expand(nullptr).compare(text) == 0 && names.asked == asked, "once more");
    fuzzCheck(made->parse(doubled(text.asCstr()).c_str(), &error), "doubled text is a template");
    fuzzCheck(made->expand(nullptr).compare(text) == 0, "and expands to the text");
    fuzzCheck(made->getVariableCount() == 0, "without variables");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::string const text = fuzzText(data, size);
    Names names;
    KqbTemplate *const made = kqbCreateBasicTemplate(&names, nullptr);
    KqbString error;
    bool const isParsed = made->parse(text.c_str(), &error);
    fuzzCheck(isParsed == error.isNull(), "error tells");
    fuzzCheck(isParsed || made->getVariableCount() == 0, "nothing kept of a bad one");
    checkNames(made);
    if (isParsed) checkExpansion(made, names);
    made->release();
    return 0;
}
