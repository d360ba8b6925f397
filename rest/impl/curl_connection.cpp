#include "rest/impl/curl_connection.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>

#include "rest/impl/header_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

static_assert(CURL_ERROR_SIZE <= 256, "the error buffer must hold CURL_ERROR_SIZE bytes");

// What the callbacks of one exchange write into.
struct transfer {
    http_exchange_result* result = nullptr;
    bool request_started = false;  // the connection stood and the request began to go out
};

struct slist_deleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using header_slist = std::unique_ptr<curl_slist, slist_deleter>;

// "HTTP/1.1 200 OK": the status code and the reason phrase.
void read_status_line(std::string_view line, http_exchange_result& result) {
    result.headers.clear();
    result.headers.reserve(16);
    result.reason.clear();
    result.status_code = 0;
    const auto code_start = line.find(' ');
    if (code_start == std::string_view::npos) {
        return;
    }
    const std::string_view rest = line.substr(code_start + 1);
    const auto code_end = rest.find(' ');
    const std::string code(trim_blanks(rest.substr(0, code_end)));
    result.status_code = static_cast<std::int32_t>(std::strtol(code.c_str(), nullptr, 10));
    if (code_end != std::string_view::npos) {
        result.reason = std::string(trim_blanks(rest.substr(code_end + 1)));
    }
}

size_t on_header(char* data, size_t size, size_t count, void* context) {
    const size_t length = size * count;
    auto& result = *static_cast<transfer*>(context)->result;
    const std::string_view line(data, length);
    if (line.empty()) {
        return length;
    }
    if (line.compare(0, 5, "HTTP/") == 0) {
        // Every status line starts a new header block (after "100 Continue", say).
        read_status_line(line, result);
    } else if ((line.front() == ' ' || line.front() == '\t') && !result.headers.empty()) {
        auto& value = result.headers.back().second;
        value += ' ';
        value += trim_blanks(line);
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        result.headers.emplace_back(std::string(line.substr(0, colon)),
                                    std::string(trim_blanks(line.substr(colon + 1))));
    }
    return length;
}

size_t on_body(char* data, size_t size, size_t count, void* context) {
    const size_t length = size * count;
    static_cast<transfer*>(context)->result->body.append(data, length);
    return length;
}

int on_request_start(void* context, char* /*remote_ip*/, char* /*local_ip*/, int /*remote_port*/,
                     int /*local_port*/) {
    static_cast<transfer*>(context)->request_started = true;
    return CURL_PREREQFUNC_OK;
}

CURLcode on_tls_context(CURL* /*handle*/, void* ssl_context, void* setup) {
    auto& tls = *static_cast<curl_connection::tls_setup*>(setup);
    if (!tls.trust->install_in(ssl_context, tls.error)) {
        return CURLE_SSL_CACERT_BADFILE;
    }
    return CURLE_OK;
}

// Failures that can only happen while a connection is being made, even when libcurl retries a
// request whose reused connection turned out dead.
bool is_connect_failure(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_PROXY:
            return true;
        default:
            return false;
    }
}

template <typename value_type>
void set_option(CURL* handle, CURLoption option, value_type value) {
    const CURLcode code = curl_easy_setopt(handle, option, value);
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) refused an option: ") +
                                 curl_easy_strerror(code));
    }
}

void append_header(header_slist& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release());
    list.reset(longer);
}

bool has_header(const header_list& headers, std::string_view name) {
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto& header) { return same_header_name(header.first, name); });
}

// The request's headers as libcurl takes them, and the headers libcurl would add on its own
// switched off: only what the caller set goes out (beside Host and Content-Length).
header_slist make_header_list(const http_exchange& request) {
    header_slist list;
    for (const auto& [name, value] : request.headers) {
        // "Name;" is how libcurl sends a header with an empty value.
        std::string line = name;
        if (value.empty()) {
            line += ';';
        } else {
            line += ": ";
            line += value;
        }
        append_header(list, line);
    }
    if (!has_header(request.headers, "Accept")) {
        append_header(list, "Accept:");
    }
    if (request.method == "POST") {
        // A large body would otherwise wait for "100 Continue" first.
        append_header(list, "Expect:");
        if (!has_header(request.headers, "Content-Type")) {
            append_header(list, "Content-Type:");
        }
    }
    return list;
}

}  // namespace

void curl_connection::handle_deleter::operator()(void* handle) const noexcept {
    curl_easy_cleanup(handle);
}

curl_connection::curl_connection(void* share, const openssl_trust_store* trust, std::string origin)
    : origin_(std::move(origin)), handle_(curl_easy_init()) {
    if (!handle_) {
        throw std::runtime_error("the HTTP engine (libcurl) cannot make a new handle");
    }
    CURL* handle = handle_.get();
    set_option(handle, CURLOPT_NOSIGNAL, 1L);
    set_option(handle, CURLOPT_ERRORBUFFER, error_buffer_.data());
    set_option(handle, CURLOPT_SHARE, share);
    set_option(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    set_option(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set_option(handle, CURLOPT_PATH_AS_IS, 1L);
    set_option(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set_option(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    set_option(handle, CURLOPT_MAXCONNECTS, 1L);
    set_option(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    set_option(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    if (trust != nullptr) {
        // The pool's store replaces the CA bundle libcurl would read for every new handle.
        tls_.trust = trust;
        set_option(handle, CURLOPT_CAINFO, static_cast<const char*>(nullptr));
        set_option(handle, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
        set_option(handle, CURLOPT_SSL_CTX_FUNCTION, &on_tls_context);
        set_option(handle, CURLOPT_SSL_CTX_DATA, &tls_);
    }
    set_option(handle, CURLOPT_HEADERFUNCTION, &on_header);
    set_option(handle, CURLOPT_WRITEFUNCTION, &on_body);
    set_option(handle, CURLOPT_PREREQFUNCTION, &on_request_start);
}

curl_connection::~curl_connection() = default;

exchange_outcome curl_connection::perform(const std::string& url, const http_exchange& request,
                                          http_exchange_result& result, std::string& error) {
    CURL* handle = handle_.get();
    header_slist headers = make_header_list(request);
    transfer state;
    state.result = &result;

    set_option(handle, CURLOPT_URL, url.c_str());
    set_option(handle, CURLOPT_HTTPHEADER, headers.get());
    if (request.method == "POST") {
        // An empty view may have no data at all, and a null body makes libcurl read stdin.
        set_option(handle, CURLOPT_POSTFIELDS, request.body.empty() ? "" : request.body.data());
        set_option(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                   static_cast<curl_off_t>(request.body.size()));
        set_option(handle, CURLOPT_POST, 1L);
        set_option(handle, CURLOPT_NOBODY, 0L);
    } else {
        set_option(handle, CURLOPT_HTTPGET, 1L);
        set_option(handle, CURLOPT_NOBODY, request.method == "HEAD" ? 1L : 0L);
    }
    if (request.user.empty()) {
        set_option(handle, CURLOPT_USERNAME, static_cast<const char*>(nullptr));
        set_option(handle, CURLOPT_PASSWORD, static_cast<const char*>(nullptr));
        set_option(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
    } else {
        set_option(handle, CURLOPT_USERNAME, request.user.c_str());
        set_option(handle, CURLOPT_PASSWORD, request.password.c_str());
        set_option(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    }
    set_option(handle, CURLOPT_CONNECTTIMEOUT_MS,
               static_cast<long>(request.connect_timeout.count()));
    set_option(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(request.response_timeout.count()));
    set_option(handle, CURLOPT_HEADERDATA, &state);
    set_option(handle, CURLOPT_WRITEDATA, &state);
    set_option(handle, CURLOPT_PREREQDATA, &state);

    error_buffer_[0] = '\0';
    tls_.error.clear();
    const CURLcode code = curl_easy_perform(handle);
    // The header list dies with this call; libcurl must not keep a pointer to it.
    set_option(handle, CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));

    if (code == CURLE_OK) {
        if (result.status_code == 0) {
            long status = 0;
            curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
            result.status_code = static_cast<std::int32_t>(status);
        }
        return {};
    }
    if (!tls_.error.empty()) {
        error = tls_.error;  // libcurl only knows that the TLS set-up hook refused
    } else {
        error =
            error_buffer_[0] != '\0' ? std::string(error_buffer_.data()) : curl_easy_strerror(code);
    }
    if (code == CURLE_URL_MALFORMAT) {
        return {exchange_status::target_refused, {}};
    }
    if (!state.request_started || is_connect_failure(code)) {
        return {exchange_status::connect_failed, {}};
    }
    return {exchange_status::transfer_failed, {}};
}

}  // namespace zentrova::monitoring_modules::rest::impl
