// The floors below configuration, up for one test, and files for it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "config/kqbconfigoptions_internal.h"
#include "core/kqbmempool_internal.h"
#include "core/kqbstring_internal.h"
#include "io/kqbtextio_internal.h"
#include "kqb/kqbmodules.h"
#include "kqb/kqbstring.h"
#include "plugins/kqbio/kqbio.h"
#include "support/temporary_folder.h"

class ConfigFixture : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kqbMemPoolStart());
        kqbSetTextIoFactory(KqbIOInitialize("/"));
        ASSERT_TRUE(kqbConfigOptionsStart());
    }
    void TearDown() override {
        kqbConfigOptionsStop();
        kqbTextIoFactory()->release();
        kqbSetTextIoFactory(nullptr);
        kqbMemPoolStop();
    }

    static KqbString string(std::string_view text) {
        KqbString result;
        KqbStringAccess::assign(result, text);
        return result;
    }

    KqbString path(std::string_view name) const { return string(folder_.path(name)); }

    // Writes a file and gives its path.
    KqbString file(std::string_view name, std::string_view content) const {
        return string(folder_.write(name, content));
    }

    TemporaryFolder folder_;
};

// How a failure shows a string: null is told from empty.
inline std::string shown(KqbString const &text) { return text.isNull() ? "<null>" : text.asCstr(); }
