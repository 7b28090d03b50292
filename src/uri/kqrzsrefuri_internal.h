#pragma once

#include "kqb/kqrzsrefuri.h"
#include "uri/kquri_internal.h"

class KqRZSRefURIImpl : public KqURIBase<KqRZSRefURIImpl, KqRZSRefURI> {
public:
    static constexpr bool kAllowDuplicates = false;

    KqRZSRefURIImpl();

    // The scheme stays rzsref, whatever the text's is. Throws std::bad_alloc.
    void parse(KqbString const &text);
    void assign(KqbString const &host, KqbString const &path, KqbString const &query);

    KqbString getHostName() override { return fields_.host; }
    KqRZSRefURI *getParent() override;
    KqbString getHostlessURIString() override;
    KqbString getLeafName() override { return leafOf(fields_.path); }
    KqbString getObjectType() override;
    KqbString getServiceType() override;

    void writeText(KqURIText &text);
    void writeEscaped(KqURIText &text);

    virtual ~KqRZSRefURIImpl() = default;

private:
    void writeAuthority(KqURIText &text);
    KqbString queryValue(std::string_view key);
};
