#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace zentrova::monitoring_modules::rest {

struct connection_pool_options {
    // A PEM file of CAs trusted in addition to the system trust store; empty: the system store.
    std::string ca_bundle;
    // Idle kept-alive connections held for reuse; beyond that the least recently used is closed.
    std::size_t max_idle_connections = 32;
};

// The connections, TLS sessions and DNS answers that all clients of the process share, and the
// trust settings they all use. The module creates one at initialisation and hands it to the
// client factory; a client borrows a kept-alive connection to its host for each request and
// gives it back afterwards, so many sensors need few connections and few TLS handshakes.
// The HTTP engine starts no later than the pool's first connection (the libcurl engine waits
// for it, and only then loads libcurl and OpenSSL, so that a module whose sensors have not
// checked yet has not paid for them); destroying the last pool stops it. Thread-safe.
// Throws std::invalid_argument when the CA bundle cannot be read or holds no certificate.
class connection_pool {
public:
    explicit connection_pool(const connection_pool_options& options = {});
    ~connection_pool();
    connection_pool(const connection_pool&) = delete;
    connection_pool& operator=(const connection_pool&) = delete;
    connection_pool(connection_pool&&) = delete;
    connection_pool& operator=(connection_pool&&) = delete;

    // Connections waiting for reuse right now.
    std::size_t idle_connections() const;

    // What the HTTP engine keeps here; only the engine's own code knows its definition.
    class engine_state;
    engine_state& state() const { return *state_; }

private:
    std::unique_ptr<engine_state> state_;
};

}  // namespace zentrova::monitoring_modules::rest
