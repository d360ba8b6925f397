#pragma once

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/curl/curl_connection.hpp"
#include "rest/impl/curl/openssl_trust_store.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// libcurl's connection pool. Idle easy handles wait here, each holding the kept-alive connection
// to one origin (scheme, host and port). libcurl does not support one connection cache shared by
// concurrent threads, so connections are shared by lending out whole handles; TLS sessions and
// DNS answers live in a share object that all handles use under locks, and the trusted CAs in one
// certificate store that every connection's TLS context shares. libcurl and OpenSSL are loaded
// and started by the first connection, so that a module whose sensors have not checked yet has
// not paid for them. Thread-safe; made by make_connection_pool.
class curl_connection_pool final : public connection_pool_interface,
                                   public std::enable_shared_from_this<curl_connection_pool> {
public:
    // Throws std::invalid_argument when the CA bundle cannot be read or holds no certificate.
    explicit curl_connection_pool(const connection_pool_options& options);
    ~curl_connection_pool() override;
    curl_connection_pool(const curl_connection_pool&) = delete;
    curl_connection_pool& operator=(const curl_connection_pool&) = delete;
    curl_connection_pool(curl_connection_pool&&) = delete;
    curl_connection_pool& operator=(curl_connection_pool&&) = delete;

    std::unique_ptr<http_engine_interface> make_engine() override;

    // A connection last used for `origin` when one is idle, otherwise a new one.
    std::unique_ptr<curl_connection> acquire(const std::string& origin);

    // Takes a connection back after a completed exchange.
    void release(std::unique_ptr<curl_connection> connection);

    // The lock that guards one kind of shared data (libcurl's lock callbacks use it).
    std::mutex& share_lock(std::size_t kind) { return share_locks_.at(kind); }

private:
    // libcurl's process-wide state, started while it lives. libcurl counts its starts, so pools
    // nest and the last one cleans up; libcurl itself stays loaded.
    struct global_start {
        global_start();
        ~global_start();
        global_start(const global_start&) = delete;
        global_start& operator=(const global_start&) = delete;
        global_start(global_start&&) = delete;
        global_start& operator=(global_start&&) = delete;
    };
    struct share_deleter {
        void operator()(void* share) const noexcept;
    };

    // Loads and starts libcurl, takes its OpenSSL, makes the share and names libcurl's built-in
    // CAs to the trust store. A failed start throws std::runtime_error saying what to install or
    // check, and is tried again by the next connection.
    void start();

    // Declared in the order of their lives: libcurl starts first and stops last, and every
    // connection is gone before the share and its locks.
    std::optional<global_start> global_;
    std::once_flag started_;
    std::unique_ptr<openssl_trust_store> trust_;
    std::array<std::mutex, 16> share_locks_;
    std::unique_ptr<void, share_deleter> share_;
    std::size_t max_idle_;
    std::mutex idle_mutex_;
    std::list<std::unique_ptr<curl_connection>> idle_;  // most recently returned first
};

}  // namespace zentrova::monitoring_modules::rest::impl
