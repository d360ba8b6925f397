#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/winhttp/windows_trust_store.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// WinHTTP's connection pool: one WinHTTP session, which keeps the connections of all clients of
// the pool alive and reuses them per server, a server handle per host and port, and the trust
// settings. WinHTTP needs no process-wide start: everything it keeps belongs to the session.
// WinHTTP handles are opaque pointers (HINTERNET); they are kept untyped here so that only the
// engine's .cpp files see <windows.h>. Thread-safe; made by make_connection_pool.
class winhttp_connection_pool final : public connection_pool_interface,
                                      public std::enable_shared_from_this<winhttp_connection_pool> {
public:
    // Throws std::invalid_argument when the CA bundle cannot be read or holds no certificate,
    // and std::runtime_error when WinHTTP cannot open a session.
    explicit winhttp_connection_pool(const connection_pool_options& options);
    ~winhttp_connection_pool() override;
    winhttp_connection_pool(const winhttp_connection_pool&) = delete;
    winhttp_connection_pool& operator=(const winhttp_connection_pool&) = delete;
    winhttp_connection_pool(winhttp_connection_pool&&) = delete;
    winhttp_connection_pool& operator=(winhttp_connection_pool&&) = delete;

    std::unique_ptr<http_engine_interface> make_engine() override;

    // The server handle (WinHttpConnect) for host and port, made on first use and kept; null
    // with the reason in `error` when WinHTTP refuses the host.
    void* server(const std::string& host, std::uint16_t port, std::string& error);

    // What server certificates are checked against: the system's roots, and the CA bundle's CAs
    // when one is configured.
    const windows_trust_store& trust() const { return *trust_; }
    bool has_ca_bundle() const { return trust_->size() > 0; }

    // Server certificates that passed the check for a host, by host and thumbprint, so each one
    // is checked once per pool.
    bool is_verified(const std::string& host_and_thumbprint) const;
    void remember_verified(const std::string& host_and_thumbprint);

    // Origins (host and port) whose certificate was checked on a request that carried nothing of
    // the caller's, before the caller's first request went there.
    bool origin_checked(const std::string& origin) const;
    void remember_origin_checked(const std::string& origin, bool checked);

private:
    struct handle_closer {
        void operator()(void* handle) const noexcept;
    };
    using internet_handle = std::unique_ptr<void, handle_closer>;

    // Declared in the order of their lives: server handles close before the session.
    std::unique_ptr<windows_trust_store> trust_;
    internet_handle session_;
    mutable std::mutex mutex_;
    std::map<std::string, internet_handle> servers_;
    std::set<std::string> verified_;
    std::set<std::string> checked_origins_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
