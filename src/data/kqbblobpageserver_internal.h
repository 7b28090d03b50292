// KqbBlobPageServer: a blob's hold on the process's pages.
#pragma once

#include "data/kqbblobpages_internal.h"
#include "kqb/kqbautosingleton.h"

// The pages exist while any hold does. Each operation takes the server's lock for as long as it
// lasts; for what the operations do see KqbBlobPages.
class KqbBlobPageServer final : public KqbAutoSingleton {
public:
    char const *getName() override { return "BLOBPAGESERVER"; }

    // To be called after initialize(), before any other operation. The server may have been created
    // by another thread that has not come to start it; whoever comes first does. False when the
    // server could not be started, which the next one then tries anew.
    bool startUp();

    unsigned pageSize() { return pages()->pageSize(); }
    bool acquirePage(bool memoryAllowed, KqbBlobPageId previous, KqbBlobPageId *page);
    bool nextPage(KqbBlobPageId id, KqbBlobPageId *next);
    bool readPage(KqbBlobPageId id, char *data, unsigned offset, unsigned size);
    bool writePage(KqbBlobPageId id, char const *data, unsigned offset, unsigned size);
    void freePages(KqbBlobPageId first, KqbBlobPageId last);
    long long appendStretch(KqbBlobChain *chain, char const *data, long long size);
    long long readStretch(KqbBlobChain const &chain, KqbBlobPosition *position, char *data,
                          long long size);

protected:
    void *create() override;
    void destroy(void *instance) override;

private:
    KqbBlobPages *pages() const { return static_cast<KqbBlobPages *>(instance()); }

    template <class Operation>
    auto locked(Operation const &operation);
};
