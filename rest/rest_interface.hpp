#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "rest/authentication_provider_interface.hpp"
#include "rest/request_deadline.hpp"

namespace zentrova::monitoring_modules::rest {

using header_map = std::unordered_map<std::string, std::string>;
using cookie_map = std::unordered_map<std::string, std::string>;

enum class request_method : int { GET = 0, HEAD = 1, POST = 2 };

// One request of a client. A body is only allowed with POST.
struct request {
    request_method method = request_method::GET;
    header_map headers;  // sent after the client's default headers
    cookie_map cookies;  // sent after the client's default cookies
    std::string body;
    // When set, the request ends by this deadline instead of within the client's time-out, and
    // whoever shares it may move it later while the request runs.
    std::shared_ptr<const request_deadline> deadline;
};

// The complete answer to one request.
struct response {
    std::int32_t status_code = 0;
    std::string status_text;  // the reason phrase of the status line
    header_map headers;       // names as received
    cookie_map cookies;       // one entry per Set-Cookie header, attributes dropped
    std::string body;

    // The value of a header, names compared exactly; throws header_not_found when missing.
    std::string get_header(const std::string& name) const;
};

// The value of a header, names compared exactly; throws header_not_found when missing.
std::string get_header(const header_map& headers, const std::string& name);
std::string get_header(const response& answer, const std::string& name);

// What a client is built from; copied into the client.
struct rest_helper_settings {
    // A time-out of 0 means this many seconds: no request may wait without limit.
    static constexpr std::uint32_t zero_timeout_seconds = 30;

    std::string base_url;  // scheme, host, optional port and base path of every request
    std::shared_ptr<authentication_provider_interface> authentication_provider;  // may be empty
    header_map default_headers;
    cookie_map default_cookies;
    // Seconds a request may take from connecting to the last byte of its answer, every step
    // included (unless the request brings a deadline of its own); 0: zero_timeout_seconds.
    std::uint32_t timeout = 60;
};

// The largest answer body a client reads. A longer one fails the request before more than this
// is held in memory; a real Azure answer, a cost query grouped by resource id included, is a
// small fraction of it.
constexpr std::size_t largest_answer_bytes = std::size_t{32} * 1024U * 1024U;

// A synchronous HTTP client bound to one base URL. The sensors reach the Azure REST API only
// through it; impl::rest_impl is the implementation, made by rest_factory. A client is used by
// one thread at a time and holds no locks; it keeps nothing of a failed request. Every failure is
// one of rest::exceptions.
class rest_interface {
public:
    rest_interface() = default;
    virtual ~rest_interface() = default;
    rest_interface(const rest_interface&) = delete;
    rest_interface& operator=(const rest_interface&) = delete;
    rest_interface(rest_interface&&) = delete;
    rest_interface& operator=(rest_interface&&) = delete;

    // Sends the request to the base URL itself.
    virtual response send_request(const request& request) = 0;

    // Sends the request to the base URL followed by `path`; a "/" goes between the two when
    // `path` is not empty and does not begin with one.
    virtual response send_request_path(const std::string& path, const request& request) = 0;
};

// Makes a client from its settings.
using rest_client_factory = std::function<std::unique_ptr<rest_interface>(rest_helper_settings)>;

}  // namespace zentrova::monitoring_modules::rest
