// A directory server of the test's own, on loopback ports and with its data in a temporary folder.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/temporary_folder.h"

// A program that runs until the end of the scope. What it writes to its standard output can be read.
class Program {
public:
    explicit Program(std::vector<std::string> const &words) {
        int ends[2];
        if (pipe(ends) != 0) return;
        std::vector<char *> arguments;
        for (std::string const &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        if (posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~Program() {
        if (pid_ > 0) kill(pid_, SIGTERM);
        wait();
        if (output_ != nullptr) std::fclose(output_);
    }
    Program(Program const &) = delete;
    Program &operator=(Program const &) = delete;

    std::string readLine() {
        char line[256];
        if (std::fgets(line, sizeof line, output_) == nullptr) return {};
        std::string text = line;
        return text.substr(0, text.find('\n'));
    }
    // Its exit code; -1 when it did not end of itself.
    int wait() {
        int status = -1;
        if (pid_ > 0) waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool isRunning() const { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }

private:
    pid_t pid_ = -1;
    FILE *output_ = nullptr;
};

// A loopback port that nobody listens on.
inline int freePort() {
    int const socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *const any = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof address;
    EXPECT_EQ(0, bind(socket, any, size));
    EXPECT_EQ(0, getsockname(socket, any, &size));
    close(socket);
    return ntohs(address.sin_port);
}

class DirectoryServer {
public:
    static constexpr int kMany = 10000, kLarge = 5000;

    DirectoryServer() : port_(freePort()), securePort_(freePort()) {
        makeCertificate();
        folder_.write("slapd.conf", configuration());
        folder_.write("many.ldif", manyUsers());
        std::filesystem::create_directory(folder_.path("data"));
        load(KQB_TEST_DATA "/directory.ldif");
        load(folder_.path("many.ldif"));
        program_.emplace(std::vector<std::string>{KQB_TEST_SLAPD, "-d", "0", "-f",
                                                  folder_.path("slapd.conf"), "-h",
                                                  plain() + " " + secure() + " " + socket()});
        for (int i = 0; i < 200 && !answers(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }

    std::string plain() const { return "ldap://127.0.0.1:" + std::to_string(port_); }
    std::string secure() const { return "ldaps://127.0.0.1:" + std::to_string(securePort_); }
    std::string socket() const {
        std::string path = folder_.path("socket");
        for (std::size_t at; (at = path.find('/')) != path.npos;) path.replace(at, 1, "%2F");
        return "ldapi://" + path;
    }
    // The whole location, over the socket of the file system.
    std::string location(std::string const &options = {}) const {
        return socket() + "/dc=example,dc=com" + options;
    }
    std::string authorities() const { return ";cacert=" + folder_.path("certificate.pem"); }
    int port() const { return port_; }

private:
    void makeCertificate() {
        Program openssl({"/bin/sh", "-c",
                         "exec openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
                         "-nodes -days 2 -subj /CN=test -addext subjectAltName=IP:127.0.0.1 "
                         "-keyout \"$0/key.pem\" -out \"$0/certificate.pem\" -batch 2>/dev/null",
                         folder_.path()});
        EXPECT_EQ(0, openssl.wait());
    }

    // Without pages nobody gets more than 500 entries.
    std::string configuration() const {
        std::string text;
        for (char const *schema : {"core", "cosine", "inetorgperson", "nis", "duaconf"})
            text += "include /etc/ldap/schema/" + std::string(schema) + ".schema\n";
        return text + "modulepath /usr/lib/ldap\nmoduleload back_mdb\nTLSCACertificateFile " +
               folder_.path("certificate.pem") + "\nTLSCertificateFile " +
               folder_.path("certificate.pem") + "\nTLSCertificateKeyFile " +
               folder_.path("key.pem") +
               "\ndatabase mdb\nsuffix \"dc=example,dc=com\"\n"
               "rootdn \"cn=admin,dc=example,dc=com\"\nrootpw admin%secret\n"
               "limits * size.soft=500 size.hard=500 size.prtotal=unlimited\n"
               "access to attrs=userPassword by anonymous auth by * none\n"
               "access to * by * read\n"
               "maxsize 268435456\ndbnosync\n"
               "index objectClass,uid,cn,member,uniqueMember,memberUid,uidNumber,gidNumber,"
               "entryUUID eq\n"
               "directory " +
               folder_.path("data") + "\n";
    }

    static std::string manyUsers() {
        std::string const base = "ou=many,dc=example,dc=com";
        std::string text = "dn: " + base + "\nobjectClass: organizationalUnit\nou: many\n\n";
        std::string group = "dn: cn=large," + base + "\nobjectClass: groupOfNames\ncn: large\n";
        for (int i = 0; i < kMany; ++i) {
            std::string const number = std::to_string(i);
            std::string const dn = "uid=user" + number + "," + base;
            text += "dn: " + dn +
                    "\nobjectClass: inetOrgPerson\nobjectClass: posixAccount\nuid: user" + number +
                    "\ncn: User " + number + "\nsn: " + number +
                    "\nuidNumber: " + std::to_string(100000 + i) +
                    "\ngidNumber: 1\nhomeDirectory: /\n\n";
            if (i < kLarge) group += "member: " + dn + "\n";
        }
        return text + group;
    }

    void load(std::string const &file) const {
        Program slapadd({KQB_TEST_SLAPADD, "-q", "-f", folder_.path("slapd.conf"), "-l", file});
        EXPECT_EQ(0, slapadd.wait()) << file;
    }

    bool answers() const {
        int const descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port_));
        bool const yes =
            connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
        close(descriptor);
        return yes;
    }

    TemporaryFolder folder_;
    int port_;
    int securePort_;
    std::optional<Program> program_;
};
