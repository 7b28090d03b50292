// Date texts: what is a date reads back from each of its texts.
#include "fuzz/fuzz_support.h"
#include "kqb/kqbdate.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    KqbDate date;
    date.assign(fuzzText(data, size).c_str());
    if (date.isNull()) return 0;
    for (KqbString const &text : {date.asString(true), date.asString(false)}) {
        KqbDate const back(text.asCstr());
        fuzzCheck(back.compare(date) == 0 && !back.isNull(), text.asCstr());
    }
    int second = 0;
    date.getElements(nullptr, nullptr, nullptr, nullptr, nullptr, &second, nullptr);
    KqbDate const zoned(date.asString(-5, 30).asCstr());
    int back = -1;
    zoned.getElements(nullptr, nullptr, nullptr, nullptr, nullptr, &back, nullptr);
    fuzzCheck(back == second, "a zone does not move the value");
    return 0;
}
