#include "rest/impl/curl/curl_connection.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include "rest/impl/curl/curl_library.hpp"
#include "rest/impl/header_text.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

static_assert(CURL_ERROR_SIZE <= 256, "the error buffer must hold CURL_ERROR_SIZE bytes");

// What the callbacks of one exchange write into.
struct transfer {
    http_exchange_result* result = nullptr;
    std::size_t body_limit = SIZE_MAX;
    bool request_started = false;  // the connection stood and the request began to go out
    bool body_too_large = false;
};

struct slist_deleter {
    void operator()(curl_slist* list) const noexcept {
        curl_library::get().slist_free_all(list);  // a list exists only once libcurl is loaded
    }
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
    auto& state = *static_cast<transfer*>(context);
    if (!append_body(state.result->body, {data, length}, state.body_limit)) {
        state.body_too_large = true;
        return 0;  // anything but `length` makes libcurl stop the transfer
    }
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

// What a callback option's function must be; void for options that take no function.
template <CURLoption option>
struct callback_of {
    using type = void;
};
template <>
struct callback_of<CURLOPT_HEADERFUNCTION> {
    using type = curl_write_callback;
};
template <>
struct callback_of<CURLOPT_WRITEFUNCTION> {
    using type = curl_write_callback;
};
template <>
struct callback_of<CURLOPT_PREREQFUNCTION> {
    using type = curl_prereq_callback;
};
template <>
struct callback_of<CURLOPT_SSL_CTX_FUNCTION> {
    using type = curl_ssl_ctx_callback;
};

// libcurl reads an option's argument with va_arg as the type the option's number says (long,
// object pointer, function pointer, curl_off_t), so an argument of any other type (an int, a
// bool, a size_t) would be read wrongly. Checked here at compile time, since the call goes
// through a pointer that has no type for it.
template <CURLoption option, typename value_type>
void set_option(CURL* handle, value_type value) {
    if constexpr (option < CURLOPTTYPE_OBJECTPOINT) {
        static_assert(std::is_same_v<value_type, long>, "the option takes a long");
    } else if constexpr (option < CURLOPTTYPE_FUNCTIONPOINT) {
        static_assert(
            std::is_pointer_v<value_type> && !std::is_function_v<std::remove_pointer_t<value_type>>,
            "the option takes an object pointer");
    } else if constexpr (option < CURLOPTTYPE_OFF_T) {
        using callback = typename callback_of<option>::type;
        static_assert(!std::is_void_v<callback>, "name the option's callback type above");
        static_assert(std::is_same_v<value_type, callback>, "the option takes this callback");
    } else if constexpr (option < CURLOPTTYPE_BLOB) {
        static_assert(std::is_same_v<value_type, curl_off_t>, "the option takes a curl_off_t");
    } else {
        static_assert(std::is_same_v<value_type, curl_blob*>, "the option takes a curl_blob*");
    }
    const auto& curl = curl_library::get();
    const CURLcode code = curl.easy_setopt(handle, option, value);
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) refused an option: ") +
                                 curl.easy_strerror(code));
    }
}

void check(const curl_library& curl, CURLMcode code, const char* what) {
    if (code != CURLM_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) cannot ") + what + ": " +
                                 curl.multi_strerror(code));
    }
}

void append_header(header_slist& list, const std::string& line) {
    curl_slist* longer = curl_library::get().slist_append(list.get(), line.c_str());
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
    curl_library::get().easy_cleanup(handle);  // a handle exists only once libcurl is loaded
}

void curl_connection::multi_deleter::operator()(void* multi) const noexcept {
    curl_library::get().multi_cleanup(multi);
}

curl_connection::curl_connection(void* share, const openssl_trust_store* trust, std::string origin)
    : origin_(std::move(origin)),
      handle_(curl_library::get().easy_init()),
      multi_(curl_library::get().multi_init()) {
    if (!handle_ || !multi_) {
        throw std::runtime_error("the HTTP engine (libcurl) cannot make a new handle");
    }
    // The multi handle keeps the connection between exchanges, and only this one.
    check(curl_library::get(),
          curl_library::get().multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, 1L),
          "keep a connection");
    CURL* handle = handle_.get();
    set_option<CURLOPT_NOSIGNAL>(handle, 1L);
    set_option<CURLOPT_ERRORBUFFER>(handle, error_buffer_.data());
    set_option<CURLOPT_SHARE>(handle, share);
    set_option<CURLOPT_PROTOCOLS_STR>(handle, "http,https");
    set_option<CURLOPT_HTTP_VERSION>(handle, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set_option<CURLOPT_PATH_AS_IS>(handle, 1L);
    set_option<CURLOPT_SUPPRESS_CONNECT_HEADERS>(handle, 1L);
    set_option<CURLOPT_TCP_KEEPALIVE>(handle, 1L);
    set_option<CURLOPT_SSL_VERIFYPEER>(handle, 1L);
    set_option<CURLOPT_SSL_VERIFYHOST>(handle, 2L);
    if (trust != nullptr) {
        // The pool's store replaces the CA bundle libcurl would read for every new handle.
        tls_.trust = trust;
        set_option<CURLOPT_CAINFO>(handle, static_cast<const char*>(nullptr));
        set_option<CURLOPT_CAPATH>(handle, static_cast<const char*>(nullptr));
        set_option<CURLOPT_SSL_CTX_FUNCTION>(handle, &on_tls_context);
        set_option<CURLOPT_SSL_CTX_DATA>(handle, &tls_);
    }
    set_option<CURLOPT_HEADERFUNCTION>(handle, &on_header);
    set_option<CURLOPT_WRITEFUNCTION>(handle, &on_body);
    set_option<CURLOPT_PREREQFUNCTION>(handle, &on_request_start);
}

curl_connection::~curl_connection() = default;

int curl_connection::run_transfer(const request_deadline* deadline, bool& timed_out) {
    const auto& curl = curl_library::get();
    CURLM* multi = multi_.get();
    CURL* handle = handle_.get();
    timed_out = false;
    check(curl, curl.multi_add_handle(multi, handle), "start a transfer");
    // Taken off again however the transfer ends; the connection stays with the multi handle.
    const auto remove = [&curl, multi](void* added) { curl.multi_remove_handle(multi, added); };
    const std::unique_ptr<void, decltype(remove)> detach(handle, remove);
    for (;;) {
        int running = 0;
        check(curl, curl.multi_perform(multi, &running), "run a transfer");
        if (running == 0) {
            break;
        }
        // libcurl wakes earlier for its own timers (the connect time-out) and for the socket; the
        // deadline is read afresh after each wait, as it may have moved.
        int wait = 1000;
        if (deadline != nullptr) {
            const std::chrono::milliseconds left = deadline->remaining();
            if (left.count() == 0) {
                timed_out = true;
                return CURLE_OPERATION_TIMEDOUT;
            }
            wait =
                static_cast<int>(std::min<std::chrono::milliseconds::rep>(left.count(), INT_MAX));
        }
        check(curl, curl.multi_poll(multi, nullptr, 0, wait, nullptr), "wait for a transfer");
    }
    CURLcode result = CURLE_OK;
    int queued = 0;
    while (const CURLMsg* message = curl.multi_info_read(multi, &queued)) {
        if (message->msg == CURLMSG_DONE && message->easy_handle == handle) {
            result = message->data.result;
        }
    }
    return result;
}

exchange_outcome curl_connection::perform(const std::string& url, const http_exchange& request,
                                          http_exchange_result& result, std::string& error) {
    CURL* handle = handle_.get();
    header_slist headers = make_header_list(request);
    transfer state;
    state.result = &result;
    state.body_limit = request.body_limit;

    set_option<CURLOPT_URL>(handle, url.c_str());
    set_option<CURLOPT_HTTPHEADER>(handle, headers.get());
    if (request.method == "POST") {
        // An empty view may have no data at all, and a null body makes libcurl read stdin.
        set_option<CURLOPT_POSTFIELDS>(handle, request.body.empty() ? "" : request.body.data());
        set_option<CURLOPT_POSTFIELDSIZE_LARGE>(handle,
                                                static_cast<curl_off_t>(request.body.size()));
        set_option<CURLOPT_POST>(handle, 1L);
        set_option<CURLOPT_NOBODY>(handle, 0L);
    } else {
        set_option<CURLOPT_HTTPGET>(handle, 1L);
        set_option<CURLOPT_NOBODY>(handle, request.method == "HEAD" ? 1L : 0L);
    }
    if (request.user.empty()) {
        set_option<CURLOPT_USERNAME>(handle, static_cast<const char*>(nullptr));
        set_option<CURLOPT_PASSWORD>(handle, static_cast<const char*>(nullptr));
        set_option<CURLOPT_HTTPAUTH>(handle, static_cast<long>(CURLAUTH_NONE));
    } else {
        set_option<CURLOPT_USERNAME>(handle, request.user.c_str());
        set_option<CURLOPT_PASSWORD>(handle, request.password.c_str());
        set_option<CURLOPT_HTTPAUTH>(handle, static_cast<long>(CURLAUTH_BASIC));
    }
    set_option<CURLOPT_CONNECTTIMEOUT_MS>(handle,
                                          static_cast<long>(request.connect_timeout.count()));
    set_option<CURLOPT_HEADERDATA>(handle, &state);
    set_option<CURLOPT_WRITEDATA>(handle, &state);
    set_option<CURLOPT_PREREQDATA>(handle, &state);

    error_buffer_[0] = '\0';
    tls_.error.clear();
    const auto& curl = curl_library::get();
    const auto started = std::chrono::steady_clock::now();
    bool timed_out = false;
    const auto code = static_cast<CURLcode>(run_transfer(request.deadline, timed_out));
    // The header list dies with this call; libcurl must not keep a pointer to it.
    set_option<CURLOPT_HTTPHEADER>(handle, static_cast<curl_slist*>(nullptr));

    if (code == CURLE_OK) {
        if (result.status_code == 0) {
            long status = 0;
            curl.easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
            result.status_code = static_cast<std::int32_t>(status);
        }
        return {};
    }
    if (timed_out) {
        error = deadline_passed_text(std::chrono::duration_cast<std::chrono::milliseconds>(
                                         std::chrono::steady_clock::now() - started),
                                     result.body.size());
    } else if (!tls_.error.empty()) {
        error = tls_.error;  // libcurl only knows that the TLS set-up hook refused
    } else {
        error =
            error_buffer_[0] != '\0' ? std::string(error_buffer_.data()) : curl.easy_strerror(code);
    }
    if (state.body_too_large) {
        return {exchange_status::body_too_large, {}};
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
