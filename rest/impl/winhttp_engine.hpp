#pragma once

#include <memory>
#include <string>

#include "rest/connection_pool.hpp"
#include "rest/http_engine_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// The HTTP engine over WinHTTP (synchronous calls), the engine of the Windows build. Requests go
// through the pool's WinHTTP session, which reuses kept-alive connections per server and takes
// the system's proxy settings. Certificates are checked against the system's store by WinHTTP;
// with a CA bundle, the engine checks them itself before anything of a request goes out.
class winhttp_engine final : public http_engine_interface {
public:
    explicit winhttp_engine(std::shared_ptr<connection_pool> pool);

    exchange_outcome exchange(const http_exchange& request, http_exchange_result& result) override;
    const std::string& last_error() const override { return last_error_; }

private:
    exchange_outcome send(const http_exchange& request, const std::string& target,
                          http_exchange_result& result);

    std::shared_ptr<connection_pool> pool_;
    std::string last_error_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
