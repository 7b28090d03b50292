#pragma once

#include "kqb/kqdatauri.h"
#include "uri/kquri_internal.h"

struct KqDataComponents {
    KqbString source;
    KqbString sourceType;
    KqbString segment1;
    KqbString segment2;
    KqbString segment3;
    KqbString leaf;
    KqbString location;
};

class KqDataURIImpl : public KqURIBase<KqDataURIImpl, KqDataURI> {
public:
    static constexpr bool kAllowDuplicates = false;

    // Throws std::bad_alloc.
    void parse(KqbString const &text);
    void assign(KqbString const &scheme, KqDataComponents const &components);

    KqDataURI *asDataURI() override { return this; }
    KqbString getHost() override;
    KqbString getPath() override;

    KqbString getSource() override { return parts_.source; }
    KqbString getSourceType() override { return parts_.sourceType; }
    KqbString getSegment1() override { return parts_.segment1; }
    KqbString getSegment2() override { return parts_.segment2; }
    KqbString getSegment3() override { return parts_.segment3; }
    KqbString getLeaf() override { return parts_.leaf; }
    KqbString getLocation() override { return parts_.location; }

    void writeText(KqURIText &text);
    void writeEscaped(KqURIText &text);

    virtual ~KqDataURIImpl() = default;

private:
    void deriveHost();
    void derivePath();

    KqDataComponents parts_;
};
