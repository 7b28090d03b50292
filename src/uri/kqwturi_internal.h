#pragma once

#include "kqb/kqworktableuri.h"
#include "uri/kquri_internal.h"
#include "uri/kqwtcolumns_internal.h"

// The name is the path of the fields. No destructor is among its operations, so it is final.
class KqWorkTableURIImpl final : public KqURIBase<KqWorkTableURIImpl, KqWorkTableURI> {
public:
    static constexpr bool kAllowDuplicates = true;

    KqWorkTableURIImpl();

    // Throw std::bad_alloc.
    void parse(KqbString const &text);
    void assign(KqbString const &name, __int64 start, __int64 count);

    // The text is of what there is now, so none is kept.
    KqbString getURIString() override;

    bool addColumn(KqbString const &name, KqbString const &value, int type,
                   KqbString *error) override;
    bool getColumn(int index, KqbString *name, KqbString *value, int *type) override;
    unsigned int getColumnCount() override { return static_cast<unsigned int>(columns_.size()); }
    KqbString getName() override { return fields_.path; }
    bool getRange(__int64 *start, __int64 *count) override;
    void setName(KqbString const &name) override { fields_.path = name; }
    bool setRange(__int64 start, __int64 count, KqbString *error) override;

    void writeText(KqURIText &text);
    void writeEscaped(KqURIText &text);

private:
    void writeRest(KqURIText &text);

    __int64 start_ = -1;
    __int64 count_ = -1;
    KqWTColumns columns_;
};
