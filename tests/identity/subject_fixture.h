// What the tests of subjects and their lists share.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kqb/kqbsubject.h"
#include "platform/librzmx.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"

struct ReleaseCursor {
    void operator()(KqbStringCursor *cursor) const { cursor->release(); }
};
using Cursor = std::unique_ptr<KqbStringCursor, ReleaseCursor>;

using Lines = std::vector<std::string>;

// A row as "value|value", with "-" for null.
inline std::string rowOf(KqbStringCursor &cursor) {
    std::string line;
    for (int i = 0; i < cursor.getColumnCount(); ++i) {
        KqbString const value = cursor.getValue(i);
        line += (i > 0 ? "|" : "") + std::string(value.isNull() ? "-" : value.asCstr());
    }
    return line;
}

inline Lines rowsOf(KqbStringCursor *made, KqbString const &error = {}) {
    Cursor const cursor(made);
    if (cursor == nullptr) return {"failed: " + std::string(error.asCstr())};
    Lines lines;
    while (cursor->next() == KqbCursorRow) lines.push_back(rowOf(*cursor));
    return lines;
}

class SubjectTest : public PoolTest {
protected:
    void TearDown() override {
        kqbSubjectSignOff();
        dkClearAuthServerLoc();
        PoolTest::TearDown();
    }

    // "" or why the location is refused.
    static std::string locate(std::string const &location, char const *user = nullptr,
                              char const *password = nullptr) {
        char error[2048] = "";
        int const result = dkSetAuthServerLoc(location.c_str(), nullptr, user, password, 0, error,
                                              sizeof error, nullptr);
        EXPECT_EQ(result == 0, *error == '\0');
        return error;
    }

    // Refuses each allocation of a list in turn, until it needs no more of them.
    static void sweepMemory(KqbStringCursor *(*function)(KqbString const &, KqbString *),
                            char const *key) {
        Lines const whole = rowsOf(function(key, nullptr));
        for (long n = 1;; ++n) {
            KqbString error;
            AllocFaults::failAt(n);
            KqbStringCursor *const cursor = function(key, &error);
            AllocFaults::off();
            if (!AllocFaults::hit()) {
                EXPECT_EQ(whole, rowsOf(cursor));
                return;
            }
            ASSERT_EQ(nullptr, cursor) << n;
            EXPECT_STREQ("Memory ran out.", error.asCstr());
        }
    }
};
