#include "rest/impl/azuread_provider_impl.hpp"

#include <string_view>

#include "rest/exceptions.hpp"
#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/parsed_url.hpp"
#include "rest/impl/rest_impl.hpp"
#include "rest/impl/token_response.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// Form values and path segments: everything but the unreserved characters is percent-encoded.
std::string url_encode(std::string_view text) {
    static constexpr std::string_view hex = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size() * 3);
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool unreserved = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                                (byte >= 'A' && byte <= 'Z') || byte == '-' || byte == '.' ||
                                byte == '_' || byte == '~';
        if (unreserved) {
            encoded += character;
        } else {
            encoded += '%';
            encoded += hex[byte >> 4U];
            encoded += hex[byte & 0x0FU];
        }
    }
    return encoded;
}

// Overwrites text that held the secret before its memory goes back to the allocator.
void wipe(std::string& text) {
    volatile char* bytes = text.data();
    for (std::size_t index = 0; index < text.size(); ++index) {
        bytes[index] = '\0';
    }
    text.clear();
}

struct wipe_on_exit {
    std::string& text;
    wipe_on_exit(const wipe_on_exit&) = delete;
    wipe_on_exit& operator=(const wipe_on_exit&) = delete;
    wipe_on_exit(wipe_on_exit&&) = delete;
    wipe_on_exit& operator=(wipe_on_exit&&) = delete;
    ~wipe_on_exit() { wipe(text); }
};

void replace_all(std::string& text, const std::string& pattern, std::string_view replacement) {
    if (pattern.empty()) {
        return;
    }
    for (auto found = text.find(pattern); found != std::string::npos;
         found = text.find(pattern, found + replacement.size())) {
        text.replace(found, pattern.size(), replacement);
    }
}

std::string without_trailing_slashes(std::string url) {
    while (!url.empty() && url.back() == '/') {
        url.pop_back();
    }
    return url;
}

}  // namespace

azuread_provider_impl::azuread_provider_impl(std::string client_id, std::string client_secret,
                                             std::string tenant_id,
                                             azuread_provider_options options)
    : azuread_authentication_provider(std::move(client_id), std::move(client_secret),
                                      std::move(tenant_id)),
      login_endpoint_(without_trailing_slashes(std::move(options.login_endpoint))),
      token_path_("/" + url_encode(this->tenant_id()) + "/oauth2/token"),
      token_endpoint_(login_endpoint_ + token_path_),
      client_factory_(options.client_factory
                          ? std::move(options.client_factory)
                          : clients_over(make_connection_pool(), token_connect_timeout)),
      tokens_(options.tokens ? std::move(options.tokens) : std::make_shared<token_cache>()),
      timeout_seconds_(options.timeout_seconds == 0 ? rest_helper_settings::zero_timeout_seconds
                                                    : options.timeout_seconds),
      secret_digest_(token_cache::secret_digest(this->client_secret())) {}

std::pair<std::string, std::string> azuread_provider_impl::get_authorization_header(
    const std::string& url) {
    std::string resource;
    {
        const std::lock_guard<std::mutex> guard(urls_mutex_);
        // Scheme, host and a port that is not the scheme's default.
        resource = urls_.parse(url).rebuild(url_parts::scheme_only());
    }
    const std::string token =
        tokens_->get({token_endpoint_, client_id(), secret_digest_, resource},
                     std::chrono::seconds(timeout_seconds_),
                     [&](const std::shared_ptr<const request_deadline>& deadline) {
                         return fetch_token(resource, deadline);
                     });
    return {"Authorization", "Bearer " + token};
}

token_cache::fetched_token azuread_provider_impl::fetch_token(
    const std::string& resource, const std::shared_ptr<const request_deadline>& deadline) const {
    rest_helper_settings settings;
    settings.base_url = login_endpoint_;
    const auto client = client_factory_(std::move(settings));

    request token_request;
    // Not the client's time-out: the deadline that every check waiting for this token moves.
    token_request.deadline = deadline;
    token_request.method = request_method::POST;
    token_request.headers.emplace("Content-Type", "application/x-www-form-urlencoded");
    const wipe_on_exit wipe_body{token_request.body};
    token_request.body = "client_id=" + url_encode(client_id()) +
                         "&client_secret=" + url_encode(client_secret()) +
                         "&grant_type=client_credentials&resource=" + url_encode(resource);

    response answer;
    try {
        answer = client->send_request_path(token_path_, token_request);
    } catch (const exceptions::request_failed& failure) {
        throw exceptions::authentication_failed("the token request to " + login_endpoint_ +
                                                token_path_ + " failed: " + failure.what());
    }
    try {
        auto token = read_token_response(answer);
        return {std::move(token.access_token), std::chrono::seconds(token.expires_in)};
    } catch (const exceptions::authentication_failed& failure) {
        // An endpoint that echoes the request back must not carry the secret into a log line.
        std::string details = failure.details();
        replace_all(details, client_secret(), "********");
        replace_all(details, url_encode(client_secret()), "********");
        throw exceptions::authentication_failed(details);
    }
}

}  // namespace zentrova::monitoring_modules::rest::impl
