#pragma once

#include "kqb/kqhadoopuri.h"
#include "uri/kquri_internal.h"

class KqHadoopURIImpl : public KqURIBase<KqHadoopURIImpl, KqHadoopURI> {
public:
    static constexpr bool kAllowDuplicates = false;

    KqHadoopURIImpl() { fields_.scheme = KqbString("hadoop", true); }

    // False when the query is no list of pairs. Throws std::bad_alloc.
    bool parse(KqbString const &text);
    void setPath(KqbString const &path) { fields_.path = path; }

    bool addQueryValue(KqbString const &key, KqbString const &value, KqbString *error) override;
    bool setQuery(KqbString const &query, KqbString *error) override;
    KqbString getQueryValue(KqbString const &key) override;
    KqHadoopURI *getParent() override;
    KqbString getLeafName() override { return leafOf(fields_.path); }

    void writeText(KqURIText &text);
    void writeEscaped(KqURIText &text);

    virtual ~KqHadoopURIImpl() = default;

private:
    void applyQuery(KqbString const &query);
};

// A new object of a text, null when its query is no list of pairs or memory ran out.
KqURI *kqbParseHadoopURI(KqbString const &text);
