#include "rest/impl/curl_engine.hpp"

#include <string_view>
#include <utility>

#include "rest/impl/curl_connection_pool.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

bool is_token_character(unsigned char character) {
    static constexpr std::string_view punctuation = "!#$%&'*+-.^_`|~";
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
           (character >= 'A' && character <= 'Z') ||
           punctuation.find(static_cast<char>(character)) != std::string_view::npos;
}

// A header that would break the request apart (or smuggle in another) is refused. Returns the
// reason, or nothing when the header can go out.
std::string header_problem(const std::string& name, const std::string& value) {
    if (name.empty()) {
        return "a header name must not be empty";
    }
    for (const char character : name) {
        if (!is_token_character(static_cast<unsigned char>(character))) {
            return "the name holds '" + std::string(1, character) +
                   "', which a header name cannot hold (letters, digits and !#$%&'*+-.^_`|~ only)";
        }
    }
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
        return "the value holds a line break or a NUL character";
    }
    return {};
}

// libcurl refuses blanks and control characters in a URL; they go out percent-encoded, as any
// client would send them. Everything else is left exactly as the caller wrote it.
void append_encoded_target(std::string& encoded, const std::string& target) {
    static constexpr std::string_view hex = "0123456789ABCDEF";
    for (const char character : target) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte <= 0x20U || byte >= 0x7FU) {
            encoded += '%';
            encoded += hex[byte >> 4U];
            encoded += hex[byte & 0x0FU];
        } else {
            encoded += character;
        }
    }
}

}  // namespace

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
