#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "rest/request_deadline.hpp"

namespace zentrova::monitoring_modules::rest::impl {

using header_list = std::vector<std::pair<std::string, std::string>>;

// One HTTP exchange as the engine carries it out. rest_impl has checked it before: the engines
// send it as it is.
struct http_exchange {
    std::string_view method;  // "GET", "HEAD" or "POST"
    bool tls = true;
    std::string host;
    std::uint16_t port = 0;  // never 0
    std::string target;      // path and query of the request line, blanks and controls encoded
    header_list headers;     // in sending order, names unique tokens, values without line breaks
    std::string_view body;
    std::string user;  // basic authentication login, used when not empty
    std::string password;
    std::chrono::milliseconds connect_timeout{30000};  // setting up a connection, at most
    // The whole exchange (connecting, sending, every read) ends by then, whatever each step's
    // own limit; the engine reads it before each step, as others may move it later. Null: no
    // limit. It outlives the exchange.
    const request_deadline* deadline = nullptr;
    std::size_t body_limit = SIZE_MAX;  // a longer body ends the exchange
};

struct http_exchange_result {
    std::int32_t status_code = 0;
    std::string reason;
    header_list headers;  // as received, in order
    std::string body;
};

// Appends a piece of a body unless the body would pass `limit`; then returns false and leaves the
// body as it was. Capacity grows by doubling, but never past the limit: a capped body never
// holds more memory than the cap.
inline bool append_body(std::string& body, std::string_view piece, std::size_t limit) {
    if (piece.size() > limit - body.size()) {
        return false;
    }
    if (piece.size() > body.capacity() - body.size()) {
        body.reserve(std::min(limit, std::max(body.size() + piece.size(), body.capacity() * 2)));
    }
    body.append(piece);
    return true;
}

// What an engine says when the deadline ends an exchange, in libcurl's words for its own total
// time-out, so that the text is the same on every engine.
inline std::string deadline_passed_text(std::chrono::milliseconds elapsed, std::size_t received) {
    return "Operation timed out after " + std::to_string(elapsed.count()) + " milliseconds with " +
           std::to_string(received) + " bytes received";
}

enum class exchange_status {
    completed,        // a response was read completely, whatever its status code
    header_refused,   // a header cannot be sent; nothing went out
    target_refused,   // host or target cannot be put into a request; nothing went out
    connect_failed,   // no connection: name resolution, refusal, time-out, TLS or certificate
    transfer_failed,  // connected, but sending or receiving failed, or the deadline passed
    body_too_large,   // the body would pass body_limit; reading stopped there
};

struct exchange_outcome {
    exchange_status status = exchange_status::completed;
    std::string refused_header;  // with header_refused: the header's name
};

// The HTTP/TLS engine under a REST client: one synchronous exchange at a time, and the text of
// its last failure. curl_engine (libcurl) and winhttp_engine (WinHTTP) implement it; CMake builds
// the platform's one. Peer and host-name verification are always on. An engine object belongs to
// one client and is used by one thread at a time.
class http_engine_interface {
public:
    http_engine_interface() = default;
    virtual ~http_engine_interface() = default;
    http_engine_interface(const http_engine_interface&) = delete;
    http_engine_interface& operator=(const http_engine_interface&) = delete;
    http_engine_interface(http_engine_interface&&) = delete;
    http_engine_interface& operator=(http_engine_interface&&) = delete;

    // Sends the request and reads the whole response into `result`. Failures are reported by
    // the status, with last_error() saying what went wrong.
    virtual exchange_outcome exchange(const http_exchange& request,
                                      http_exchange_result& result) = 0;

    virtual const std::string& last_error() const = 0;
};

}  // namespace zentrova::monitoring_modules::rest::impl
