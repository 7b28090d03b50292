// KqbBlobPageServer: a blob's hold on the process's pages.
#pragma once

#include <utility>

#include "data/kqbblobpages_internal.h"
#include "kqb/kqbautosingleton.h"

// The pages exist while any hold does, and are used under the server's lock.
class KqbBlobPageServer final : public KqbAutoSingleton {
public:
    char const *getName() override { return "BLOBPAGESERVER"; }

    // To be called after initialize(), before any other operation. The server may have been created
    // by another thread that has not come to start it; whoever comes first does. False when the
    // server could not be started, which the next one then tries anew.
    bool startUp();

    unsigned pageSize() const { return pages()->pageSize(); }

    // One operation on the pages: locked(&KqbBlobPages::nextPage, id, &next).
    template <class Result, class... Parameters, class... Arguments>
    Result locked(Result (KqbBlobPages::*operation)(Parameters...), Arguments &&...arguments) {
        struct Lock {
            explicit Lock(KqbBlobPageServer *theServer) : server(theServer) { server->lock(); }
            ~Lock() { server->unlock(); }
            KqbBlobPageServer *const server;
        } const lock(this);
        return (pages()->*operation)(std::forward<Arguments>(arguments)...);
    }

protected:
    void *create() override;
    void destroy(void *instance) override;

private:
    KqbBlobPages *pages() const { return static_cast<KqbBlobPages *>(instance()); }
};
