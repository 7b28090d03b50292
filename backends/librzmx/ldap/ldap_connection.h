// A connection to a directory, within its time limits.
#pragma once

#include <ldap.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "backends/librzmx/ldap/ldap_entry.h"
#include "backends/librzmx/rzmx_server.h"

namespace rzmx {

using Clock = std::chrono::steady_clock;

// The server went away while it was in use.
struct Lost : Failure {
    using Failure::Failure;
};

struct Query {
    std::string base;
    int scope;
    std::string filter;
    Names attributes;
};

using OnEntry = std::function<void(Entry const &)>;

class Connection {
public:
    // Nothing is sent yet. Everything ends with a Failure at the deadline.
    Connection(Location const &location, Clock::time_point deadline);
    ~Connection();
    Connection(Connection const &) = delete;
    Connection &operator=(Connection const &) = delete;

    // Begins TLS unless the location does without. To be called first.
    void secure();
    // Authenticates with the name of an entry and its password. False when the server refuses just
    // them.
    bool bind(std::string const &dn, Secret const &password);
    // Authenticates with what the process has.
    void bindOwn();

    // Calls action for every entry, page by page.
    void search(Query const &query, OnEntry const &action);
    // Looks at entries by name, many at a time: calls action with the place of each of names in
    // their order, and its entry, null where it cannot be seen.
    void lookUp(std::vector<std::string> const &names, Names const &attributes,
                std::function<void(std::size_t, Entry const *)> const &action);

    // Parts of the directory that lie on other servers, and were met and passed over.
    int referrals() const { return referrals_; }

private:
    struct FreeMessage {
        void operator()(LDAPMessage *message) const { ldap_msgfree(message); }
    };
    using Answer = std::unique_ptr<LDAPMessage, FreeMessage>;

    template <class Value>
    void set(int option, Value const &value);
    void setTls();
    timeval limit() const;
    int start(Query const &query, LDAPControl *control);
    Answer wait(int message, char const *doing);
    int resultOf(LDAPMessage *answer, LDAPControl ***controls = nullptr);
    int startPage(Query const &query, berval *cookie);
    int startNextPage(Query const &query, LDAPControl **controls);
    [[noreturn]] void fail(char const *doing, int result);
    // Makes nothing of its own, so that what a call delivered finds its owner.
    void check(char const *doing, int result) {
        if (result != LDAP_SUCCESS) fail(doing, result);
    }

    Location const &location_;
    Clock::time_point deadline_;
    LDAP *handle_ = nullptr;
    bool isConnected_ = false;
    bool inHandshake_ = false;
    int referrals_ = 0;
    ldap_conncb onConnect_{};
};

}  // namespace rzmx
