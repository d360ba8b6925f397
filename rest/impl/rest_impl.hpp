#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/http_engine_interface.hpp"
#include "rest/impl/recent_urls.hpp"
#include "rest/rest_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// How long an engine may take to set up a connection (TCP and TLS) unless told otherwise.
constexpr std::chrono::milliseconds default_connect_timeout{30000};

// The REST client: turns each request record into one exchange over its HTTP engine and the
// engine's answer into the response record. Everything the engines could refuse alike (header
// names and values, a missing port, characters a request line cannot hold) is checked or encoded
// here, before the engine is called. Used by one thread at a time.
class rest_impl final : public rest_interface {
public:
    rest_impl(rest_helper_settings settings, std::unique_ptr<http_engine_interface> engine,
              std::chrono::milliseconds connect_timeout = default_connect_timeout);

    response send_request(const request& request) override;
    response send_request_path(const std::string& path, const request& request) override;

private:
    response send(const std::string& url, const request& request);

    std::string base_url_;
    std::uint32_t timeout_;
    std::shared_ptr<authentication_provider_interface> authentication_provider_;
    header_map default_headers_;
    cookie_map default_cookies_;
    std::chrono::milliseconds connect_timeout_;
    std::unique_ptr<http_engine_interface> engine_;
    recent_urls urls_;
};

// Makes clients whose engines carry their exchanges over `pool`.
rest_client_factory clients_over(
    std::shared_ptr<connection_pool_interface> pool,
    std::chrono::milliseconds connect_timeout = default_connect_timeout);

// Reads a Set-Cookie value: the cookie's name and value, attributes dropped. A value without
// "=" before its first ";" names no cookie and yields an empty name.
std::pair<std::string, std::string> parse_set_cookie(const std::string& value);

}  // namespace zentrova::monitoring_modules::rest::impl
