#include "rest/impl/curl/curl_engine.hpp"

#include <utility>

#include "rest/impl/curl/curl_connection_pool.hpp"

namespace zentrova::monitoring_modules::rest::impl {

curl_engine::curl_engine(std::shared_ptr<curl_connection_pool> pool) : pool_(std::move(pool)) {}

exchange_outcome curl_engine::exchange(const http_exchange& request, http_exchange_result& result) {
    last_error_.clear();
    origin_ = request.tls ? "https://" : "http://";
    origin_ += request.host;
    origin_ += ':';
    origin_ += std::to_string(request.port);
    url_ = origin_;
    url_ += request.target;

    auto connection = pool_->acquire(origin_);
    exchange_outcome outcome = connection->perform(url_, request, result, last_error_);
    if (outcome.status == exchange_status::completed) {
        pool_->release(std::move(connection));
    }
    return outcome;
}

}  // namespace zentrova::monitoring_modules::rest::impl
