#include "backends/librzmx/ldap/ldap_connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <mutex>

namespace rzmx {

namespace {

constexpr std::size_t kLookUps = 64;  // on their way at a time

timeval secondsOf(std::chrono::microseconds span) {
    auto const count = std::max<long long>(span.count(), 1000);
    return {static_cast<time_t>(count / 1000000), static_cast<suseconds_t>(count % 1000000)};
}

struct FreeMemory {
    void operator()(void *memory) const { ldap_memfree(memory); }
};
struct FreeControl {
    void operator()(LDAPControl *control) const { ldap_control_free(control); }
};
struct FreeControls {
    void operator()(LDAPControl **controls) const { ldap_controls_free(controls); }
};

// The client waits for the first byte of an answer and then reads without limit; the socket's own
// limit makes it look at the clock again.
int limitSocket(LDAP *handle, Sockbuf *buffer, LDAPURLDesc *, sockaddr *, ldap_conncb *self) {
    *static_cast<bool *>(self->lc_arg) = true;
    ber_socket_t socket = -1;
    timeval *limit = nullptr;
    ber_sockbuf_ctrl(buffer, LBER_SB_OPT_GET_FD, &socket);
    ldap_get_option(handle, LDAP_OPT_NETWORK_TIMEOUT, &limit);
    if (limit == nullptr) return 0;
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, limit, sizeof *limit);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, limit, sizeof *limit);
    ldap_memfree(limit);
    return 0;
}
void forgetSocket(LDAP *, Sockbuf *, ldap_conncb *) {}

// Nobody is asked; the mechanism finds what it needs.
int answerNothing(LDAP *, unsigned, void *, void *) { return LDAP_SUCCESS; }

bool isLoss(int result) {
    return result == LDAP_SERVER_DOWN || result == LDAP_UNAVAILABLE || result == LDAP_CONNECT_ERROR;
}

std::vector<char *> pointersTo(Names const &names) {
    std::vector<char *> pointers;
    pointers.reserve(names.size() + 2);
    for (std::string const &name : names) pointers.push_back(const_cast<char *>(name.c_str()));
    static char none[] = LDAP_NO_ATTRS;
    if (names.empty()) pointers.push_back(none);
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

Connection::Connection(Location const &location, Clock::time_point deadline)
    : location_(location), deadline_(deadline) {
    // Its first call sets the client up for the process.
    static std::mutex setUp;
    std::unique_lock guard(setUp);
    int const result = ldap_initialize(&handle_, location.uris.c_str());
    guard.unlock();
    if (result != LDAP_SUCCESS) {
        throw Failure(location.uris + ": " + ldap_err2string(result));
    }
    try {
        // Whatever the user's or the machine's own settings of the client say.
        set(LDAP_OPT_PROTOCOL_VERSION, int{LDAP_VERSION3});
        set(LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
        set(LDAP_OPT_DEREF, int{LDAP_DEREF_NEVER});
        set(LDAP_OPT_SIZELIMIT, int{LDAP_NO_LIMIT});
        set(LDAP_OPT_TIMELIMIT, int{LDAP_NO_LIMIT});
        set(LDAP_OPT_RESTART, LDAP_OPT_ON);
        set(LDAP_OPT_NETWORK_TIMEOUT, limit());
        set(LDAP_OPT_TIMEOUT, limit());
        onConnect_ = {limitSocket, forgetSocket, &isConnected_};
        set(LDAP_OPT_CONNECT_CB, onConnect_);
        setTls();
        inHandshake_ = location.uris.find("ldaps://") != std::string::npos;
    } catch (...) {
        ldap_unbind_ext(handle_, nullptr, nullptr);
        throw;
    }
}

Connection::~Connection() { ldap_unbind_ext(handle_, nullptr, nullptr); }

template <class Value>
void Connection::set(int option, Value const &value) {
    void const *address = nullptr;
    if constexpr (std::is_pointer_v<Value>) {
        address = value;
    } else {
        address = &value;
    }
    if (ldap_set_option(handle_, option, address) != LDAP_OPT_SUCCESS) {
        throw Failure(location_.uris +
                      ": the client refuses a setting; is the file of the option "
                      "\"cacert\" readable?");
    }
}

void Connection::setTls() {
    if (location_.uris.find("ldapi://") == 0) return;
    bool const verify = location_.isOn(Setting::kVerify);
    set(LDAP_OPT_X_TLS_REQUIRE_CERT, int{verify ? LDAP_OPT_X_TLS_DEMAND : LDAP_OPT_X_TLS_NEVER});
    std::string const &authorities = location_.text(Setting::kCaCert);
    if (!authorities.empty()) set(LDAP_OPT_X_TLS_CACERTFILE, authorities.c_str());
    // A handle shares the process's context until it has one of its own, made of these.
    set(LDAP_OPT_X_TLS_NEWCTX, int{0});
}

void Connection::secure() {
    bool const isPlain = location_.uris.find("ldap://") != std::string::npos;
    if (!isPlain || !location_.isOn(Setting::kStartTls)) return;
    int message = 0;
    check("beginning TLS", ldap_start_tls(handle_, nullptr, nullptr, &message));
    Answer const answer = wait(message, "beginning TLS");
    check("beginning TLS", resultOf(answer.get()));
    inHandshake_ = true;
    check("beginning TLS", ldap_install_tls(handle_));
    inHandshake_ = false;
}

bool Connection::bind(std::string const &dn, Secret const &password) {
    std::string const doing = "signing on as '" + dn + "'";
    berval credentials{password.view().size(), const_cast<char *>(password.view().data())};
    int message = 0;
    check(doing.c_str(), ldap_sasl_bind(handle_, dn.c_str(), LDAP_SASL_SIMPLE, &credentials,
                                        nullptr, nullptr, &message));
    int const result = resultOf(wait(message, doing.c_str()).get());
    if (result == LDAP_INVALID_CREDENTIALS) return false;
    check(doing.c_str(), result);
    return true;
}

void Connection::bindOwn() {
    char const kDoing[] = "signing on with the process's own credentials";
    if (location_.uris.find("ldapi://") == std::string::npos) {
        return check(kDoing,
                     ldap_sasl_interactive_bind_s(handle_, nullptr, "GSSAPI", nullptr, nullptr,
                                                  LDAP_SASL_QUIET, answerNothing, nullptr));
    }
    berval none{0, const_cast<char *>("")};
    int message = 0;
    check(kDoing, ldap_sasl_bind(handle_, nullptr, "EXTERNAL", &none, nullptr, nullptr, &message));
    check(kDoing, resultOf(wait(message, kDoing).get()));
}

timeval Connection::limit() const {
    auto const left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - Clock::now());
    std::chrono::seconds const answer(location_.number(Setting::kTimeout));
    return secondsOf(std::min<std::chrono::microseconds>(left, answer));
}

Connection::Answer Connection::wait(int message, char const *doing) {
    timeval time = limit();
    LDAPMessage *raw = nullptr;
    int const kind = ldap_result(handle_, message, LDAP_MSG_ALL, &time, &raw);
    Answer answer(raw);
    if (kind > 0) {
        inHandshake_ = false;
        return answer;
    }
    int result = LDAP_TIMEOUT;
    if (kind < 0) ldap_get_option(handle_, LDAP_OPT_RESULT_CODE, &result);
    fail(doing, result);
}

int Connection::resultOf(LDAPMessage *answer, LDAPControl ***controls) {
    int result = LDAP_OTHER;
    LDAPMessage *const last = [&] {
        LDAPMessage *message = ldap_first_message(handle_, answer);
        LDAPMessage *found = nullptr;
        for (; message != nullptr; message = ldap_next_message(handle_, message)) {
            int const kind = ldap_msgtype(message);
            if (kind != LDAP_RES_SEARCH_ENTRY && kind != LDAP_RES_SEARCH_REFERENCE) found = message;
        }
        return found;
    }();
    if (last == nullptr) return result;
    int const parsed =
        ldap_parse_result(handle_, last, &result, nullptr, nullptr, nullptr, controls, 0);
    return parsed == LDAP_SUCCESS ? result : parsed;
}

int Connection::start(Query const &query, LDAPControl *control) {
    std::vector<char *> const attributes = pointersTo(query.attributes);
    LDAPControl *controls[] = {control, nullptr};
    timeval time = limit();
    int message = 0;
    int const result = ldap_search_ext(handle_, query.base.c_str(), query.scope,
                                       query.filter.c_str(), const_cast<char **>(attributes.data()),
                                       0, control != nullptr ? controls : nullptr, nullptr, &time,
                                       LDAP_NO_LIMIT, &message);
    if (result != LDAP_SUCCESS) fail(("searching below '" + query.base + "'").c_str(), result);
    return message;
}

int Connection::startPage(Query const &query, berval *cookie) {
    LDAPControl *raw = nullptr;
    // Not critical: a server that knows no pages sends everything at once.
    check("asking for a page",
          ldap_create_page_control(handle_, location_.number(Setting::kPageSize), cookie, 0, &raw));
    std::unique_ptr<LDAPControl, FreeControl> const page(raw);
    return start(query, page.get());
}

// Asks for the page behind this one, if there is one; 0 when there is none.
int Connection::startNextPage(Query const &query, LDAPControl **controls) {
    LDAPControl *const page = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls, nullptr);
    if (page == nullptr) return 0;
    ber_int_t estimate = 0;
    berval cookie{};
    check("reading a page", ldap_parse_pageresponse_control(handle_, page, &estimate, &cookie));
    std::unique_ptr<char, FreeMemory> const owner(cookie.bv_val);
    return cookie.bv_len > 0 ? startPage(query, &cookie) : 0;
}

// The server is at work on the next page while this one is read.
void Connection::search(Query const &query, OnEntry const &action) {
    std::string const doing = "searching below '" + query.base + "'";
    Entry entry(handle_);
    for (int page = startPage(query, nullptr); page != 0;) {
        Answer const answer = wait(page, doing.c_str());
        LDAPControl **parsed = nullptr;
        int const result = resultOf(answer.get(), &parsed);
        std::unique_ptr<LDAPControl *, FreeControls> const controls(parsed);
        check(doing.c_str(), result);
        page = startNextPage(query, parsed);
        for (LDAPMessage *message = ldap_first_message(handle_, answer.get()); message != nullptr;
             message = ldap_next_message(handle_, message)) {
            int const kind = ldap_msgtype(message);
            if (kind == LDAP_RES_SEARCH_REFERENCE) ++referrals_;
            if (kind != LDAP_RES_SEARCH_ENTRY) continue;
            entry.read(message);
            action(entry);
        }
    }
}

void Connection::lookUp(std::vector<std::string> const &names, Names const &attributes,
                        std::function<void(std::size_t, Entry const *)> const &action) {
    Entry entry(handle_);
    std::vector<int> started;
    for (std::size_t first = 0; first < names.size(); first += kLookUps) {
        std::size_t const end = std::min(first + kLookUps, names.size());
        started.clear();
        for (std::size_t i = first; i < end; ++i) {
            Query const query{names[i], LDAP_SCOPE_BASE, "(objectClass=*)", attributes};
            started.push_back(start(query, nullptr));
        }
        for (std::size_t i = first; i < end; ++i) {
            Answer const answer = wait(started[i - first], "looking up members");
            int const result = resultOf(answer.get());
            if (isLoss(result)) fail("looking up members", result);
            LDAPMessage *const message = ldap_first_entry(handle_, answer.get());
            if (result == LDAP_SUCCESS && message != nullptr) entry.read(message);
            action(i, result == LDAP_SUCCESS && message != nullptr ? &entry : nullptr);
        }
    }
}

// "ldap://host: searching below 'dc=example': No such object (more from the server)"
void Connection::fail(char const *doing, int result) {
    if (result == LDAP_NO_MEMORY) throw std::bad_alloc();
    std::string text = location_.uris + ": " + doing + ": ";
    if (result == LDAP_TIMEOUT) {
        throw Failure(text + "no answer within the time limit (" +
                      location_.text(Setting::kTimeout) + " s for an answer, " +
                      location_.text(Setting::kTimeLimit) + " s in all)");
    }
    text += ldap_err2string(result);
    if (result == LDAP_REFERRAL) text += ", to another server, which is not followed";
    if (isConnected_ && inHandshake_ && isLoss(result)) {
        throw Failure(text +
                      " (TLS fails: does the server's certificate name this host, is it in "
                      "force, and is its authority known or named by the option cacert?)");
    }
    char *detail = nullptr;
    ldap_get_option(handle_, LDAP_OPT_DIAGNOSTIC_MESSAGE, &detail);
    std::unique_ptr<char, FreeMemory> const owner(detail);
    if (detail != nullptr && *detail != '\0') text += std::string(" (") + detail + ")";
    if (isConnected_ && isLoss(result)) throw Lost(text);
    throw Failure(text);
}

}  // namespace rzmx
