#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "rest/connection_pool.hpp"
#include "rest/http_runtime.hpp"
#include "rest/impl/windows_trust_store.hpp"

namespace zentrova::monitoring_modules::rest {

// WinHTTP's part of a connection pool: one WinHTTP session, which keeps the connections of all
// clients of the pool alive and reuses them per server, a server handle per host and port, and
// the trust settings. WinHTTP handles are opaque pointers (HINTERNET); they are kept untyped here
// so that only the engine's .cpp files see <windows.h>. Thread-safe.
class connection_pool::engine_state {
public:
    explicit engine_state(const connection_pool_options& options);
    ~engine_state();
    engine_state(const engine_state&) = delete;
    engine_state& operator=(const engine_state&) = delete;
    engine_state(engine_state&&) = delete;
    engine_state& operator=(engine_state&&) = delete;

    // The server handle (WinHttpConnect) for host and port, made on first use and kept; null
    // with the reason in `error` when WinHTTP refuses the host.
    void* server(const std::string& host, std::uint16_t port, std::string& error);

    // What server certificates are checked against: the system's roots, and the CA bundle's CAs
    // when one is configured.
    const impl::windows_trust_store& trust() const { return *trust_; }
    bool has_ca_bundle() const { return trust_->size() > 0; }

    // Server certificates that passed the check for a host, by host and thumbprint, so each one
    // is checked once per pool.
    bool is_verified(const std::string& host_and_thumbprint) const;
    void remember_verified(const std::string& host_and_thumbprint);

    // Origins (host and port) whose certificate was checked on a request that carried nothing of
    // the caller's, before the caller's first request went there.
    bool origin_checked(const std::string& origin) const;
    void remember_origin_checked(const std::string& origin, bool checked);

    // WinHTTP does not tell how many of its connections are idle; what the pool knows is the
    // number of servers it keeps a handle for.
    std::size_t idle_count() const;

private:
    struct handle_closer {
        void operator()(void* handle) const noexcept;
    };
    using internet_handle = std::unique_ptr<void, handle_closer>;

    // Declared in the order of their lives: server handles close before the session.
    http_runtime runtime_;
    std::unique_ptr<impl::windows_trust_store> trust_;
    internet_handle session_;
    mutable std::mutex mutex_;
    std::map<std::string, internet_handle> servers_;
    std::set<std::string> verified_;
    std::set<std::string> checked_origins_;
};

}  // namespace zentrova::monitoring_modules::rest
