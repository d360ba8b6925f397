#include "rest/impl/winhttp/winhttp_engine.hpp"

// clang-format off
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "rest/impl/base64.hpp"
#include "rest/impl/header_text.hpp"
#include "rest/impl/winhttp/winhttp_certificate_check.hpp"
#include "rest/impl/winhttp/winhttp_connection_pool.hpp"
#include "rest/impl/winhttp/winhttp_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

struct handle_closer {
    void operator()(void* handle) const noexcept { ::WinHttpCloseHandle(handle); }
};
using request_handle = std::unique_ptr<void, handle_closer>;

// A time-out for WinHttpSetTimeouts: its "no limit" is -1.
int timeout_value(std::chrono::milliseconds timeout) {
    if (timeout.count() <= 0) {
        return -1;
    }
    return static_cast<int>(std::min<std::chrono::milliseconds::rep>(timeout.count(), INT_MAX));
}

// WinHTTP's time-outs bound each step (each receive, say), not an exchange: a server that sends
// a byte now and then would hold it for ever. So before each blocking call the request's
// time-outs are set to what is left of the exchange's deadline (connecting: its own limit when
// that is less), and a deadline that has passed ends the exchange before the call.
class step_limits {
public:
    step_limits(HINTERNET request, const http_exchange& exchange,
                std::chrono::steady_clock::time_point started)
        : request_(request),
          deadline_(exchange.deadline),
          connect_timeout_(timeout_value(exchange.connect_timeout)),
          started_(started) {}

    // Sets the time-outs for the next step; false when the deadline has passed.
    bool arm() {
        int left = -1;
        if (deadline_ != nullptr) {
            const auto remaining = deadline_->remaining();
            if (remaining.count() == 0) {
                deadline_bound_ = true;
                return false;
            }
            left = timeout_value(remaining);
        }
        int connect = connect_timeout_;
        if (left != -1 && (connect == -1 || left < connect)) {
            connect = left;
        }
        // A time-out of the step is the deadline's unless connecting has the smaller limit.
        deadline_bound_ = left != -1 && connect == left;
        ::WinHttpSetTimeouts(request_, connect, connect, left, left);
        // The wait for the status line has a limit of its own, which WinHttpSetTimeouts leaves
        // alone (90 s by default on Windows, none under Wine).
        auto response_wait = static_cast<DWORD>(left);  // -1: INFINITE
        ::WinHttpSetOption(request_, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &response_wait,
                           sizeof(response_wait));
        return true;
    }

    // Whether the last step's time-out, or its refusal to start, was the deadline's.
    bool deadline_bound() const { return deadline_bound_; }

    std::chrono::milliseconds elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - started_);
    }

private:
    HINTERNET request_;
    const request_deadline* deadline_;
    int connect_timeout_;
    std::chrono::steady_clock::time_point started_;
    bool deadline_bound_ = false;
};

// One header as WinHttpAddRequestHeaders takes it.
std::wstring header_line(const std::string& name, const std::string& value) {
    std::wstring line = widen(name);
    line += L": ";
    line += widen(value);
    return line;
}

// "HTTP/1.1 418 I'm a teapot": the reason phrase after the status code.
std::string reason_of(std::string_view status_line) {
    const auto code_start = status_line.find(' ');
    if (code_start == std::string_view::npos) {
        return {};
    }
    const auto reason_start = status_line.find(' ', code_start + 1);
    if (reason_start == std::string_view::npos) {
        return {};
    }
    return std::string(trim_blanks(status_line.substr(reason_start + 1)));
}

// The status line and header fields of the answer, as received (WinHTTP has already joined
// folded lines).
void read_headers(HINTERNET request, http_exchange_result& result) {
    DWORD size = 0;
    ::WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX,
                          WINHTTP_NO_OUTPUT_BUFFER, &size, WINHTTP_NO_HEADER_INDEX);
    std::wstring raw(size / sizeof(wchar_t) + 1, L'\0');
    if (!::WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF,
                               WINHTTP_HEADER_NAME_BY_INDEX, raw.data(), &size,
                               WINHTTP_NO_HEADER_INDEX)) {
        return;
    }
    raw.resize(size / sizeof(wchar_t));
    const std::string text = narrow(raw);
    std::string_view rest = text;
    bool status_line = true;
    while (!rest.empty()) {
        const auto end = rest.find("\r\n");
        const std::string_view line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 2);
        if (line.empty()) {
            continue;
        }
        if (status_line) {
            result.reason = reason_of(line);
            status_line = false;
        } else if ((line.front() == ' ' || line.front() == '\t') && !result.headers.empty()) {
            auto& value = result.headers.back().second;
            value += ' ';
            value += trim_blanks(line);
        } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
            result.headers.emplace_back(std::string(line.substr(0, colon)),
                                        std::string(trim_blanks(line.substr(colon + 1))));
        }
    }
}

enum class body_read { complete, failed, deadline_passed, too_large };

// Waits for what has arrived (one receive at most, under the time-outs `limits` sets), then takes
// just that: a read for a full buffer would wait, receive after receive, until the buffer fills.
body_read read_body(HINTERNET request, step_limits& limits, std::string& body, std::size_t limit) {
    std::array<char, 16384> buffer{};
    for (;;) {
        if (!limits.arm()) {
            return body_read::deadline_passed;
        }
        DWORD available = 0;
        if (!::WinHttpQueryDataAvailable(request, &available)) {
            return body_read::failed;
        }
        if (available == 0) {
            return body_read::complete;
        }
        while (available > 0) {
            DWORD read = 0;
            const auto wanted = std::min<DWORD>(available, static_cast<DWORD>(buffer.size()));
            if (!::WinHttpReadData(request, buffer.data(), wanted, &read)) {
                return body_read::failed;
            }
            if (read == 0) {
                return body_read::complete;
            }
            if (!append_body(body, {buffer.data(), read}, limit)) {
                return body_read::too_large;
            }
            available -= std::min(available, read);
        }
    }
}

// The Content-Length the server announced, when it announced one that can be read.
std::optional<std::size_t> declared_length(const header_list& headers) {
    for (const auto& [name, value] : headers) {
        if (same_header_name(name, "Content-Length")) {
            try {
                std::size_t used = 0;
                const auto length = std::stoull(value, &used);
                if (used == value.size()) {
                    return static_cast<std::size_t>(length);
                }
            } catch (const std::exception&) {
                return std::nullopt;
            }
            return std::nullopt;
        }
    }
    return std::nullopt;
}

bool has_header(const header_list& headers, std::string_view name) {
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto& header) { return same_header_name(header.first, name); });
}

}  // namespace

winhttp_engine::winhttp_engine(std::shared_ptr<winhttp_connection_pool> pool)
    : pool_(std::move(pool)) {}

exchange_outcome winhttp_engine::exchange(const http_exchange& request,
                                          http_exchange_result& result) {
    last_error_.clear();
    const auto started = std::chrono::steady_clock::now();
    const std::string origin = request.host + ":" + std::to_string(request.port);
    if (request.tls && !pool_->origin_checked(origin)) {
        // The engine checks the certificate itself when a request is about to go out (with a CA
        // bundle WinHTTP lets unknown CAs through; and a WinHTTP may hand a request a connection
        // that another session accepted under other rules). Cancelling there can come too late
        // to hold the request back, so before the caller's first request to a server, a request
        // that carries nothing of the caller's (HEAD /) goes first: a server that fails the
        // check never sees a byte of what the caller sends.
        http_exchange probe;
        probe.method = "HEAD";
        probe.tls = true;
        probe.host = request.host;
        probe.port = request.port;
        probe.target = "/";
        probe.connect_timeout = request.connect_timeout;
        probe.deadline = request.deadline;  // the probe is part of the exchange
        http_exchange_result ignored;
        const exchange_outcome probed = send(probe, ignored, started);
        if (probed.status == exchange_status::connect_failed) {
            return probed;
        }
        pool_->remember_origin_checked(origin, true);
        last_error_.clear();
    }
    const exchange_outcome outcome = send(request, result, started);
    if (outcome.status == exchange_status::connect_failed && request.tls) {
        pool_->remember_origin_checked(origin, false);
    }
    return outcome;
}

exchange_outcome winhttp_engine::send(const http_exchange& request, http_exchange_result& result,
                                      std::chrono::steady_clock::time_point started) {
    const std::string where = request.host + " port " + std::to_string(request.port);
    HINTERNET server = pool_->server(request.host, request.port, last_error_);
    if (server == nullptr) {
        return {exchange_status::target_refused, {}};
    }
    // The target goes out exactly as given: it is already encoded.
    const DWORD open_flags = (request.tls ? WINHTTP_FLAG_SECURE : 0U) |
                             WINHTTP_FLAG_ESCAPE_DISABLE | WINHTTP_FLAG_ESCAPE_DISABLE_QUERY;
    request_handle handle(::WinHttpOpenRequest(
        server, widen(request.method).c_str(), widen(request.target).c_str(), nullptr,
        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, open_flags));
    if (!handle) {
        last_error_ = "WinHTTP refuses the request for '" + request.target +
                      "': " + windows_error_text(::GetLastError());
        return {exchange_status::target_refused, {}};
    }
    HINTERNET raw = handle.get();

    // Only what the caller asks for: no cookie store, no redirects followed, no authentication
    // answered on the caller's behalf.
    DWORD features =
        WINHTTP_DISABLE_COOKIES | WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION;
    ::WinHttpSetOption(raw, WINHTTP_OPTION_DISABLE_FEATURE, &features, sizeof(features));
    step_limits limits(raw, request, started);
    winhttp_certificate_check check(*pool_, request.host, request.tls);
    if (!check.attach(raw, last_error_)) {
        return {exchange_status::connect_failed, {}};
    }

    for (const auto& [name, value] : request.headers) {
        const std::wstring line = header_line(name, value);
        if (!::WinHttpAddRequestHeaders(raw, line.c_str(), static_cast<DWORD>(line.size()),
                                        WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE)) {
            last_error_ = "WinHTTP refuses the header: " + windows_error_text(::GetLastError());
            return {exchange_status::header_refused, name};
        }
    }
    if (!request.user.empty() && !has_header(request.headers, "Authorization")) {
        // Basic authentication goes out with the first request, as the URL asks, instead of
        // waiting for the server's challenge.
        const std::wstring line = header_line(
            "Authorization", "Basic " + base64_encode(request.user + ":" + request.password));
        ::WinHttpAddRequestHeaders(raw, line.c_str(), static_cast<DWORD>(line.size()),
                                   WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE);
    }

    // Past its deadline (a slow probe took it all), nothing goes out.
    if (!limits.arm()) {
        last_error_ = deadline_passed_text(limits.elapsed(), 0) + " at " + where;
        return {exchange_status::connect_failed, {}};
    }
    void* body =
        request.body.empty() ? WINHTTP_NO_REQUEST_DATA : const_cast<char*>(request.body.data());
    const auto body_size = static_cast<DWORD>(request.body.size());
    const BOOL sent =
        ::WinHttpSendRequest(raw, WINHTTP_NO_ADDITIONAL_HEADERS, 0, body, body_size, body_size,
                             static_cast<DWORD_PTR>(check.context_value()));
    const DWORD send_error = sent ? 0U : ::GetLastError();
    if (check.closed_request()) {
        static_cast<void>(handle.release());  // the callback closed it already
    }
    if (check.refused()) {
        last_error_ =
            "the server's certificate for " + request.host + " is refused: " + check.refusal();
        return {exchange_status::connect_failed, {}};
    }
    const auto failure = [&](DWORD code) -> exchange_outcome {
        if (winhttp_certificate_check::is_secure_failure(code)) {
            last_error_ =
                check.handshake_failure() + " (" + windows_error_text(code) + ") at " + where;
            return {exchange_status::connect_failed, {}};
        }
        const bool timed_out = code == ERROR_WINHTTP_TIMEOUT || code == WSAETIMEDOUT;
        if (timed_out && limits.deadline_bound()) {
            last_error_ =
                deadline_passed_text(limits.elapsed(), result.body.size()) + " at " + where;
        } else if (timed_out) {
            last_error_ = "the server did not answer in time: timed out (" +
                          windows_error_text(code) + ") at " + where;
        } else {
            last_error_ = windows_error_text(code) + " at " + where;
        }
        if (!check.request_started()) {
            return {exchange_status::connect_failed, {}};
        }
        return {exchange_status::transfer_failed, {}};
    };
    if (!sent) {
        return failure(send_error);
    }
    if (!limits.arm()) {
        return failure(ERROR_WINHTTP_TIMEOUT);
    }
    if (!::WinHttpReceiveResponse(raw, nullptr)) {
        return failure(::GetLastError());
    }

    result.headers.clear();
    result.reason.clear();
    result.body.clear();
    DWORD status = 0;
    DWORD status_size = sizeof(status);
    if (!::WinHttpQueryHeaders(raw, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                               WINHTTP_HEADER_NAME_BY_INDEX, &status, &status_size,
                               WINHTTP_NO_HEADER_INDEX)) {
        return failure(::GetLastError());
    }
    result.status_code = static_cast<std::int32_t>(status);
    read_headers(raw, result);
    switch (read_body(raw, limits, result.body, request.body_limit)) {
        case body_read::complete:
            break;
        case body_read::failed:
            return failure(::GetLastError());
        case body_read::deadline_passed:
            return failure(ERROR_WINHTTP_TIMEOUT);
        case body_read::too_large:
            return {exchange_status::body_too_large, {}};
    }
    // Some WinHTTP versions report a connection closed in the middle of the body as its end.
    if (const auto expected = declared_length(result.headers);
        request.method != "HEAD" && expected && result.body.size() < *expected) {
        last_error_ = "the connection closed after " + std::to_string(result.body.size()) +
                      " of the " + std::to_string(*expected) + " bytes of the body at " + where;
        return {exchange_status::transfer_failed, {}};
    }
    return {};
}

}  // namespace zentrova::monitoring_modules::rest::impl
