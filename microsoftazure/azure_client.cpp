#include "microsoftazure/azure_client.hpp"

#include "rest/rest_factory.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

std::string arm_endpoint(framework::module::service_container& container) {
    return container.get<rest::rest_factory>()->arm_endpoint();
}

azure_client::azure_client(framework::module::service_container& container,
                           const settings::azure_credentials& credentials, std::uint32_t timeout,
                           std::string root)
    : root_(root.empty() ? arm_endpoint(container) : std::move(root)) {
    // The secret leaves its secure string only here, into the provider that requests tokens.
    const auto factory = container.get<rest::rest_factory>();
    rest::rest_helper_settings settings;
    // The client's base is the root without its final "/", and each path begins with "/", so
    // that base + path is exactly root + tail (see path()).
    settings.base_url =
        !root_.empty() && root_.back() == '/' ? root_.substr(0, root_.size() - 1) : root_;
    settings.authentication_provider = factory->azuread_provider(
        credentials.client_id, credentials.client_secret.get_as_plaintext(), credentials.tenant_id,
        timeout);
    settings.timeout = timeout;
    client_ = factory->make_client(std::move(settings));
}

std::string azure_client::path(const std::string& tail) const {
    return !root_.empty() && root_.back() == '/' ? "/" + tail : tail;
}

rest::response azure_client::get(const std::string& tail) {
    rest::request request;
    request.method = rest::request_method::GET;
    return client_->send_request_path(path(tail), request);
}

rest::response azure_client::post_json(const std::string& tail, const std::string& body) {
    rest::request request;
    request.method = rest::request_method::POST;
    request.headers.emplace("Content-Type", "application/json");
    request.body = body;
    return client_->send_request_path(path(tail), request);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
