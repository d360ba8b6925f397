#pragma once

#ifndef CPPHTTPLIB_OPENSSL_SUPPORT
#define CPPHTTPLIB_OPENSSL_SUPPORT
#endif
#include <httplib.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "emulator/tls_identity.hpp"

namespace zentrova::monitoring_modules::rest::testing {

// A directory of its own under the system's temporary directory, removed with everything in it.
class temporary_directory {
public:
    temporary_directory();
    ~temporary_directory();
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;
    temporary_directory(temporary_directory&&) = delete;
    temporary_directory& operator=(temporary_directory&&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// An HTTPS server on 127.0.0.1 and a port of its own, with a certificate made for the test. It
// counts the connections it accepted (by the clients' ports) and the requests it served.
class test_https_server {
public:
    explicit test_https_server(
        const emulator::tls_identity& identity = emulator::tls_identity::for_loopback());
    ~test_https_server();
    test_https_server(const test_https_server&) = delete;
    test_https_server& operator=(const test_https_server&) = delete;
    test_https_server(test_https_server&&) = delete;
    test_https_server& operator=(test_https_server&&) = delete;

    // Register handlers here before start().
    httplib::Server& routes() { return *server_; }

    // Listens and returns once the server accepts connections.
    void start();
    // Stops listening and joins the server's threads; the destructor does it too.
    void stop();

    int port() const { return port_; }
    std::string url() const { return "https://127.0.0.1:" + std::to_string(port_); }
    // The CA that signed the server's certificate.
    const std::string& ca_file() const { return files_.ca_file; }

    std::size_t connections() const;
    std::size_t requests() const;

private:
    temporary_directory directory_;
    emulator::tls_identity_files files_;
    std::unique_ptr<httplib::SSLServer> server_;
    std::thread thread_;
    int port_ = -1;
    mutable std::mutex mutex_;
    std::set<int> client_ports_;
    std::size_t requests_ = 0;
};

}  // namespace zentrova::monitoring_modules::rest::testing
