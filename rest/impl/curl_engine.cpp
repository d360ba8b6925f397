#include "rest/impl/curl_engine.hpp"

#include <string_view>
#include <utility>

#include "rest/impl/curl_connection_pool.hpp"
#include "rest/impl/request_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

curl_engine::curl_engine(std::shared_ptr<connection_pool> pool) : pool_(std::move(pool)) {}

exchange_outcome curl_engine::exchange(const http_exchange& request, http_exchange_result& result) {
    last_error_.clear();
    for (const auto& [name, value] : request.headers) {
        std::string problem = header_problem(name, value);
        if (!problem.empty()) {
            last_error_ = std::move(problem);
            return {exchange_status::header_refused, name};
        }
    }
    if (request.port == 0) {
        last_error_ = "no port to connect to on '" + request.host +
                      "': the URL names none and its scheme has no default port";
        return {exchange_status::connect_failed, {}};
    }
    origin_ = request.tls ? "https://" : "http://";
    origin_ += request.host;
    origin_ += ':';
    origin_ += std::to_string(request.port);
    url_ = origin_;
    append_encoded_target(url_, request.target);

    auto& state = pool_->state();
    auto connection = state.acquire(origin_);
    exchange_outcome outcome = connection->perform(url_, request, result, last_error_);
    if (outcome.status == exchange_status::completed) {
        state.release(std::move(connection));
    }
    return outcome;
}

}  // namespace zentrova::monitoring_modules::rest::impl
