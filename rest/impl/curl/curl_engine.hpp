#pragma once

#include <memory>
#include <string>

#include "rest/impl/http_engine_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

class curl_connection_pool;

// The HTTP engine over libcurl. Each exchange borrows a kept-alive connection to its origin from
// the pool and gives it back once the response is read; a connection that failed is closed.
class curl_engine final : public http_engine_interface {
public:
    explicit curl_engine(std::shared_ptr<curl_connection_pool> pool);

    exchange_outcome exchange(const http_exchange& request, http_exchange_result& result) override;
    const std::string& last_error() const override { return last_error_; }

private:
    std::shared_ptr<curl_connection_pool> pool_;
    std::string last_error_;
    std::string origin_;  // kept between exchanges so that their buffers are reused
    std::string url_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
