#include "rest/impl/winhttp/winhttp_connection_pool.hpp"

// clang-format off
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include <stdexcept>

#include "rest/impl/winhttp/winhttp_engine.hpp"
#include "rest/impl/winhttp/winhttp_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// More certificates than any module meets in a process; beyond that the record starts afresh.
constexpr std::size_t max_verified_certificates = 256;

HINTERNET open_session() {
    // The system's proxy settings (Windows 8.1 and later), else WinHTTP's own configuration.
    // No agent name: every request carries the client's own User-Agent header.
    HINTERNET session = ::WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                                      WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    if (session == nullptr) {
        session = ::WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                WINHTTP_NO_PROXY_BYPASS, 0);
    }
    if (session == nullptr) {
        throw std::runtime_error("the HTTP engine (WinHTTP) cannot open a session: " +
                                 windows_error_text(::GetLastError()));
    }
    // TLS 1.2 and 1.3 where the system has 1.3; nothing older.
    DWORD protocols = WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_3;
    if (!::WinHttpSetOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, &protocols,
                            sizeof(protocols))) {
        protocols = WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2;
        ::WinHttpSetOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, &protocols, sizeof(protocols));
    }
    return session;
}

}  // namespace

std::shared_ptr<connection_pool_interface> make_connection_pool(
    const connection_pool_options& options) {
    return std::make_shared<winhttp_connection_pool>(options);
}

void winhttp_connection_pool::handle_closer::operator()(void* handle) const noexcept {
    ::WinHttpCloseHandle(handle);
}

winhttp_connection_pool::winhttp_connection_pool(const connection_pool_options& options)
    : trust_(options.ca_bundle.empty() ? std::make_unique<windows_trust_store>()
                                       : std::make_unique<windows_trust_store>(options.ca_bundle)),
      session_(open_session()) {}

winhttp_connection_pool::~winhttp_connection_pool() {
    const std::lock_guard<std::mutex> guard(mutex_);
    servers_.clear();
}

std::unique_ptr<http_engine_interface> winhttp_connection_pool::make_engine() {
    return std::make_unique<winhttp_engine>(shared_from_this());
}

void* winhttp_connection_pool::server(const std::string& host, std::uint16_t port,
                                      std::string& error) {
    const std::string key = host + ":" + std::to_string(port);
    const std::lock_guard<std::mutex> guard(mutex_);
    if (const auto found = servers_.find(key); found != servers_.end()) {
        return found->second.get();
    }
    HINTERNET server = ::WinHttpConnect(session_.get(), widen(host).c_str(), port, 0);
    if (server == nullptr) {
        error = "WinHTTP refuses the server '" + key + "': " + windows_error_text(::GetLastError());
        return nullptr;
    }
    servers_.emplace(key, internet_handle(server));
    return server;
}

bool winhttp_connection_pool::is_verified(const std::string& host_and_thumbprint) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return verified_.count(host_and_thumbprint) != 0;
}

void winhttp_connection_pool::remember_verified(const std::string& host_and_thumbprint) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (verified_.size() >= max_verified_certificates) {
        verified_.clear();
    }
    verified_.insert(host_and_thumbprint);
}

bool winhttp_connection_pool::origin_checked(const std::string& origin) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return checked_origins_.count(origin) != 0;
}

void winhttp_connection_pool::remember_origin_checked(const std::string& origin, bool checked) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (checked) {
        checked_origins_.insert(origin);
    } else {
        checked_origins_.erase(origin);
    }
}

}  // namespace zentrova::monitoring_modules::rest::impl
