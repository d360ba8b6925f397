#include "microsoftazure/subscription_cost/cost_endpoint.hpp"

#include "microsoftazure/response_check.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

cost_endpoint::cost_endpoint(azure_client& client, const std::string& subscription_id,
                             framework::logging::log_interface& log)
    : client_(client), resource_path_("subscriptions/" + subscription_id), log_(log) {}

std::unique_ptr<json::parser_interface> cost_endpoint::get(const std::string& label,
                                                           const std::string& path) {
    return read(label, client_.get(resource_path_ + path));
}

std::unique_ptr<json::parser_interface> cost_endpoint::post(const std::string& label,
                                                            const std::string& path,
                                                            const std::string& body) {
    return read(label, client_.post_json(resource_path_ + path, body));
}

void cost_endpoint::log(const std::string& line) const {
    log_.write(framework::logging::debug, line);
}

std::unique_ptr<json::parser_interface> cost_endpoint::read(const std::string& label,
                                                            const rest::response& answer) const {
    return read_json_response(answer, label, log_);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
