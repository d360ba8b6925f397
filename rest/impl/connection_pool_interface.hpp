#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "rest/impl/http_engine_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

struct connection_pool_options {
    // A PEM file of CAs trusted in addition to the system trust store; empty: the system store.
    std::string ca_bundle;
    // Idle kept-alive connections held for reuse; beyond that the least recently used is closed.
    std::size_t max_idle_connections = 32;
};

// The connections, TLS sessions and DNS answers that all clients of the process share, and the
// trust settings they all use. The REST factory holds one for the module; each client's engine
// borrows a kept-alive connection to its host for a request and gives it back afterwards, so many
// sensors need few connections and few TLS handshakes. The HTTP engine starts no later than the
// pool's first connection and stops with the last pool. Thread-safe.
class connection_pool_interface {
public:
    connection_pool_interface() = default;
    virtual ~connection_pool_interface() = default;
    connection_pool_interface(const connection_pool_interface&) = delete;
    connection_pool_interface& operator=(const connection_pool_interface&) = delete;
    connection_pool_interface(connection_pool_interface&&) = delete;
    connection_pool_interface& operator=(connection_pool_interface&&) = delete;

    // An engine for one client that carries its exchanges over this pool's connections; it
    // keeps the pool alive.
    virtual std::unique_ptr<http_engine_interface> make_engine() = 0;
};

// The platform's pool: libcurl's, or WinHTTP's in the Windows build; CMake picks the one file
// that defines it. Throws std::invalid_argument when the CA bundle cannot be read or holds no
// certificate.
std::shared_ptr<connection_pool_interface> make_connection_pool(
    const connection_pool_options& options = {});

}  // namespace zentrova::monitoring_modules::rest::impl
