#pragma once

#include "kqb/kqreposuri.h"
#include "uri/kquri_internal.h"

class KqReposURIImpl : public KqURIBase<KqReposURIImpl, KqReposURI> {
public:
    static constexpr bool kAllowDuplicates = false;

    KqReposURIImpl() { fields_.scheme = KqbString("kqr", true); }

    // Throw std::bad_alloc.
    void parse(KqbString const &text);
    void assign(KqbString const &host, KqbString const &name, KqbString const &type);

    KqReposURI *asReposURI() override { return this; }
    KqbString getType() override { return type_; }
    KqbString getHostName() override { return fields_.host; }
    KqReposURI *getParentFolder() override;
    KqReposURI *getRootFolder() override;
    KqbString getEmptyText() override { return KqbString("", true); }
    KqbString getHostlessURIString() override;
    KqbString getLeafName() override { return leafOf(fields_.path); }
    bool isFolder() override;

    void writeText(KqURIText &text);
    void writeEscaped(KqURIText &text);

    virtual ~KqReposURIImpl() = default;

private:
    void writeScheme(KqURIText &text);

    KqbString type_;
};
