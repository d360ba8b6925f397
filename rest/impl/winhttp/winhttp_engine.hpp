#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "rest/impl/http_engine_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

class winhttp_connection_pool;

// The HTTP engine over WinHTTP (synchronous calls), the engine of the Windows build. Requests go
// through the pool's WinHTTP session, which reuses kept-alive connections per server and takes
// the system's proxy settings. Certificates are checked against the system's store by WinHTTP,
// and by the engine itself (winhttp_certificate_check) before anything of a request goes out.
class winhttp_engine final : public http_engine_interface {
public:
    explicit winhttp_engine(std::shared_ptr<winhttp_connection_pool> pool);

    exchange_outcome exchange(const http_exchange& request, http_exchange_result& result) override;
    const std::string& last_error() const override { return last_error_; }

private:
    // One request and its response, without the probe that exchange() may send first; the
    // exchange began at `started`.
    exchange_outcome send(const http_exchange& request, http_exchange_result& result,
                          std::chrono::steady_clock::time_point started);

    std::shared_ptr<winhttp_connection_pool> pool_;
    std::string last_error_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
