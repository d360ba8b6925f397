#include "microsoftazure/discovery_rows.hpp"

#include "json/exceptions.hpp"
#include "microsoftazure/response_check.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

std::vector<std::unique_ptr<json::parser_interface>> object_rows(
    const json::parser_interface& listing, const std::string& path) {
    try {
        return listing.get_object_array(path);
    } catch (const json::exceptions::empty_result&) {
        return {};
    }
}

subscription_listing list_subscription(azure_client& client, const std::string& subscription_id,
                                       const std::string& provider_tail,
                                       framework::logging::log_interface& log) {
    const auto answer = client.get("subscriptions/" + subscription_id + "/" + provider_tail);
    log_answer(answer, "API response: ", log);
    check_status(answer);
    auto regions = region_table::read(client, subscription_id, log);
    const auto listing = parse_json_response(answer);
    log_unread_pages(answer, *listing, "API response: ", log);
    return {object_rows(*listing, "/value"), std::move(regions)};
}

int row_progress(std::size_t index, std::size_t count) {
    return count == 0 ? 100 : 50 + static_cast<int>((index + 1) * 50 / count);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
