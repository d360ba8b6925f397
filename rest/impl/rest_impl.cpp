#include "rest/impl/rest_impl.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "rest/exceptions.hpp"
#include "rest/impl/header_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

constexpr const char* user_agent = "TARV/" MICROSOFTAZURE_VERSION;

bool is_header_token_character(unsigned char character) {
    constexpr std::string_view punctuation = "!#$%&'*+-.^_`|~";
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
        if (!is_header_token_character(static_cast<unsigned char>(character))) {
            return "the name holds '" + std::string(1, character) +
                   "', which a header name cannot hold (letters, digits and !#$%&'*+-.^_`|~ only)";
        }
    }
    // Three vectorised scans for single characters: a scan against a set of three tests every
    // character one by one, and the bearer token, over a kilobyte, goes out with every request.
    if (value.find('\r') != std::string::npos || value.find('\n') != std::string::npos ||
        value.find('\0') != std::string::npos) {
        return "the value holds a line break or a NUL character";
    }
    return {};
}

// Whether any of the eight bytes of `word` is a blank, a control character or beyond ASCII: the
// usual tests of all bytes of a word at once.
bool needs_encoding(std::uint64_t word) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highs = 0x8080808080808080U;
    const std::uint64_t to_del = word ^ (ones * 0x7FU);
    return ((((word - ones * 0x21U) & ~word) | ((to_del - ones) & ~to_del) | word) & highs) != 0U;
}

// Blanks and control characters cannot stand in a request line; they go out percent-encoded, as
// any client would send them. Everything else is left exactly as the caller wrote it.
void append_encoded_target(std::string& encoded, const std::string& target) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    encoded.reserve(encoded.size() + target.size());
    // Runs of characters that go out as they are are copied whole, found eight bytes at a time:
    // targets are long (a resource id and a list of metric names) and rarely hold anything to
    // encode.
    std::size_t run = 0;
    std::size_t at = 0;
    while (at < target.size()) {
        std::uint64_t word = 0;
        if (target.size() - at >= sizeof word) {
            std::memcpy(&word, target.data() + at, sizeof word);
            if (!needs_encoding(word)) {
                at += sizeof word;
                continue;
            }
        }
        const auto byte = static_cast<unsigned char>(target[at]);
        if (byte <= 0x20U || byte >= 0x7FU) {
            encoded.append(target, run, at - run);
            encoded += '%';
            encoded += hex[byte >> 4U];
            encoded += hex[byte & 0x0FU];
            run = at + 1;
        }
        ++at;
    }
    encoded.append(target, run, std::string::npos);
}

// Header names are case-insensitive on the wire, so a later header replaces an earlier one of
// the same name where it stands instead of going out twice.
void set_header(header_list& headers, const std::string& name, const std::string& value) {
    const auto existing = std::find_if(headers.begin(), headers.end(), [&](const auto& header) {
        return same_header_name(header.first, name);
    });
    if (existing != headers.end()) {
        existing->second = value;
    } else {
        headers.emplace_back(name, value);
    }
}

void append_cookies(std::string& joined, const cookie_map& cookies) {
    for (const auto& [name, value] : cookies) {
        if (!joined.empty()) {
            joined += "; ";
        }
        joined += name;
        joined += '=';
        joined += value;
    }
}

std::string_view method_name(request_method method) {
    switch (method) {
        case request_method::GET:
            return "GET";
        case request_method::HEAD:
            return "HEAD";
        case request_method::POST:
            return "POST";
    }
    throw exceptions::invalid_method("unknown request method " +
                                     std::to_string(static_cast<int>(method)));
}

bool uses_tls(const std::string& scheme) {
    return scheme == "tls" || scheme == "ssh" || scheme == "https";
}

response to_response(http_exchange_result&& result) {
    response answer;
    answer.status_code = result.status_code;
    answer.status_text = std::move(result.reason);
    answer.body = std::move(result.body);
    answer.headers.reserve(result.headers.size());
    for (auto& [name, value] : result.headers) {
        if (same_header_name(name, "set-cookie")) {
            auto cookie = parse_set_cookie(value);
            if (!cookie.first.empty()) {
                answer.cookies[std::move(cookie.first)] = std::move(cookie.second);
            }
            answer.headers[name] = std::move(value);
            continue;
        }
        // A header that comes twice means its values joined by commas. try_emplace leaves its
        // arguments alone when the name is taken.
        auto [entry, added] = answer.headers.try_emplace(std::move(name), std::move(value));
        if (!added) {
            entry->second += ", ";
            entry->second += value;
        }
    }
    return answer;
}

}  // namespace

rest_client_factory clients_over(std::shared_ptr<connection_pool_interface> pool,
                                 std::chrono::milliseconds connect_timeout) {
    return [pool = std::move(pool),
            connect_timeout](rest_helper_settings settings) -> std::unique_ptr<rest_interface> {
        return std::make_unique<rest_impl>(std::move(settings), pool->make_engine(),
                                           connect_timeout);
    };
}

std::pair<std::string, std::string> parse_set_cookie(const std::string& value) {
    const std::string_view pair = std::string_view(value).substr(0, value.find(';'));
    const auto equals = pair.find('=');
    if (equals == std::string_view::npos) {
        return {};
    }
    return {std::string(trim_blanks(pair.substr(0, equals))),
            std::string(trim_blanks(pair.substr(equals + 1)))};
}

rest_impl::rest_impl(rest_helper_settings settings, std::unique_ptr<http_engine_interface> engine,
                     std::chrono::milliseconds connect_timeout)
    : base_url_(std::move(settings.base_url)),
      timeout_(settings.timeout),
      authentication_provider_(std::move(settings.authentication_provider)),
      default_headers_(std::move(settings.default_headers)),
      default_cookies_(std::move(settings.default_cookies)),
      connect_timeout_(connect_timeout),
      engine_(std::move(engine)) {}

response rest_impl::send_request(const request& request) {
    return send(base_url_, request);
}

response rest_impl::send_request_path(const std::string& path, const request& request) {
    if (!path.empty() && path.front() != '/') {
        return send(base_url_ + "/" + path, request);
    }
    return send(base_url_ + path, request);
}

response rest_impl::send(const std::string& url_text, const request& request) {
    const parsed_url& url = urls_.parse(url_text);

    http_exchange exchange;
    if (!url.user.empty()) {
        if (authentication_provider_) {
            throw exceptions::multiple_authentication_methods();
        }
        exchange.user = url.user;
        exchange.password = url.password;
    }
    exchange.connect_timeout = connect_timeout_;
    exchange.body_limit = largest_answer_bytes;

    std::pair<std::string, std::string> authorization;
    if (authentication_provider_) {
        authorization = authentication_provider_->get_authorization_header(url.text);
    }

    exchange.tls = uses_tls(url.scheme);
    exchange.host = url.host;
    exchange.port = url.port;

    exchange.headers.reserve(2 + default_headers_.size() + request.headers.size());
    set_header(exchange.headers, "User-Agent", user_agent);
    for (const auto& [name, value] : default_headers_) {
        set_header(exchange.headers, name, value);
    }
    for (const auto& [name, value] : request.headers) {
        set_header(exchange.headers, name, value);
    }
    if (authentication_provider_) {
        set_header(exchange.headers, authorization.first, authorization.second);
    }
    std::string cookies;
    append_cookies(cookies, default_cookies_);
    append_cookies(cookies, request.cookies);
    if (!cookies.empty()) {
        set_header(exchange.headers, "Cookie", cookies);
    }

    exchange.method = method_name(request.method);
    if (!request.body.empty() && request.method != request_method::POST) {
        throw exceptions::invalid_method(
            "Request method is not POST, but a POST body has been set for the request.");
    }
    exchange.body = request.body;
    for (const auto& [name, value] : exchange.headers) {
        if (std::string problem = header_problem(name, value); !problem.empty()) {
            throw exceptions::add_header_failed(name, std::move(problem));
        }
    }
    if (exchange.port == 0) {
        throw exceptions::connection_failed(
            "no port to connect to on '" + exchange.host +
            "': the URL names none and its scheme has no default port");
    }
    if (url.path.empty()) {
        exchange.target = "/";
    } else {
        append_encoded_target(exchange.target, url.path);
    }
    if (!url.query.empty()) {
        exchange.target += '?';
        append_encoded_target(exchange.target, url.query);
    }

    // The time-out runs from here: waiting for a token has a limit of its own.
    const std::uint32_t timeout =
        timeout_ == 0 ? rest_helper_settings::zero_timeout_seconds : timeout_;
    const request_deadline own_deadline(request_deadline::clock::now() +
                                        std::chrono::seconds(timeout));
    exchange.deadline = request.deadline ? request.deadline.get() : &own_deadline;

    http_exchange_result result;
    const exchange_outcome outcome = engine_->exchange(exchange, result);
    switch (outcome.status) {
        case exchange_status::completed:
            return to_response(std::move(result));
        case exchange_status::header_refused:
            throw exceptions::add_header_failed(outcome.refused_header, engine_->last_error());
        case exchange_status::target_refused:
            throw exceptions::invalid_url(url_text, engine_->last_error());
        case exchange_status::connect_failed:
            throw exceptions::connection_failed(engine_->last_error());
        case exchange_status::transfer_failed:
            break;
        case exchange_status::body_too_large:
            throw exceptions::request_failed(
                "the answer from " + url.host + " is larger than " +
                std::to_string(largest_answer_bytes / std::size_t{1024 * 1024}) +
                " MiB, more than any Azure answer the module reads; reading stopped there (check "
                "that the endpoint is an Azure endpoint)");
    }
    throw exceptions::request_failed(engine_->last_error());
}

}  // namespace zentrova::monitoring_modules::rest::impl
