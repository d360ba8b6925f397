#pragma once

#include <array>
#include <memory>
#include <string>

#include "rest/impl/curl/openssl_trust_store.hpp"
#include "rest/impl/http_engine_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// One libcurl easy handle, the multi handle that drives its transfers, and the connection they
// keep alive between exchanges. It lives in a connection pool while idle and serves one exchange
// at a time. libcurl's handles are opaque pointers; they are kept untyped here so that only the
// engine's .cpp files see libcurl.
class curl_connection {
public:
    // `share` and `trust` belong to the pool, which outlives its connections. With a trust
    // store, TLS peers are verified against it alone; without one (null), against the engine's
    // built-in CA bundle.
    // `origin` (scheme, host and port) is where the connection goes.
    curl_connection(void* share, const openssl_trust_store* trust, std::string origin);
    ~curl_connection();
    curl_connection(const curl_connection&) = delete;
    curl_connection& operator=(const curl_connection&) = delete;
    curl_connection(curl_connection&&) = delete;
    curl_connection& operator=(curl_connection&&) = delete;

    const std::string& origin() const { return origin_; }

    // Carries out one exchange; on failure `error` says what went wrong.
    exchange_outcome perform(const std::string& url, const http_exchange& request,
                             http_exchange_result& result, std::string& error);

    // What the engine's TLS set-up hook needs: the pool's trust store, and room for its reason
    // when the store cannot be used.
    struct tls_setup {
        const openssl_trust_store* trust = nullptr;
        std::string error;
    };

private:
    struct handle_deleter {
        void operator()(void* handle) const noexcept;
    };
    struct multi_deleter {
        void operator()(void* multi) const noexcept;
    };

    // Runs the transfer the easy handle is set up for until it ends or the deadline passes.
    // Returns libcurl's result, or CURLE_OPERATION_TIMEDOUT with `timed_out` set when the
    // deadline ended it.
    int run_transfer(const request_deadline* deadline, bool& timed_out);

    std::string origin_;
    std::unique_ptr<void, handle_deleter> handle_;
    // Declared after the easy handle, so it closes the connection it keeps first.
    std::unique_ptr<void, multi_deleter> multi_;
    std::array<char, 256> error_buffer_{};
    tls_setup tls_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
