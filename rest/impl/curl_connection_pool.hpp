#pragma once

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "rest/connection_pool.hpp"
#include "rest/http_runtime.hpp"
#include "rest/impl/curl_connection.hpp"
#include "rest/impl/openssl_trust_store.hpp"

namespace zentrova::monitoring_modules::rest {

// libcurl's part of a connection pool. Idle easy handles wait here, each holding the kept-alive
// connection to one origin (scheme, host and port). libcurl does not support one connection
// cache shared by concurrent threads, so connections are shared by lending out whole handles;
// TLS sessions and DNS answers live in a share object that all handles use under locks, and the
// trusted CAs in one certificate store that every connection's TLS context shares.
class connection_pool::engine_state {
public:
    explicit engine_state(const connection_pool_options& options);
    ~engine_state();
    engine_state(const engine_state&) = delete;
    engine_state& operator=(const engine_state&) = delete;
    engine_state(engine_state&&) = delete;
    engine_state& operator=(engine_state&&) = delete;

    // A connection last used for `origin` when one is idle, otherwise a new one.
    std::unique_ptr<impl::curl_connection> acquire(const std::string& origin);

    // Takes a connection back after a completed exchange.
    void release(std::unique_ptr<impl::curl_connection> connection);

    std::size_t idle_count() const;

    // The lock that guards one kind of shared data (libcurl's lock callbacks use it).
    std::mutex& share_lock(std::size_t kind) { return share_locks_.at(kind); }

private:
    struct share_deleter {
        void operator()(void* share) const noexcept;
    };

    // Loads and starts libcurl, takes its OpenSSL, makes the share and names libcurl's built-in
    // CAs to the trust store. Runs with the first connection, so that a module whose sensors
    // have not checked yet has not paid for the engine (libcurl and OpenSSL take megabytes to
    // load and start). A failed start throws std::runtime_error saying what to install or
    // check, and is tried again by the next connection.
    void start();

    // Declared in the order of their lives: libcurl starts first and stops last, and every
    // connection is gone before the share and its locks.
    std::optional<http_runtime> runtime_;
    std::once_flag started_;
    std::unique_ptr<impl::openssl_trust_store> trust_;
    std::array<std::mutex, 16> share_locks_;
    std::unique_ptr<void, share_deleter> share_;
    std::size_t max_idle_;
    mutable std::mutex idle_mutex_;
    std::list<std::unique_ptr<impl::curl_connection>> idle_;  // most recently returned first
};

}  // namespace zentrova::monitoring_modules::rest
