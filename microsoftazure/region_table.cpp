#include "microsoftazure/region_table.hpp"

#include <stdexcept>

#include "microsoftazure/discovery_rows.hpp"
#include "microsoftazure/response_check.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

region_table region_table::read(azure_client& client, const std::string& subscription_id,
                                framework::logging::log_interface& log) {
    const auto body = read_json_response(
        client.get("subscriptions/" + subscription_id + "/locations?api-version=2020-01-01"),
        "Locations response: ", log);
    region_table table;
    for (const auto& location : object_rows(*body, "/value")) {
        table.regions_[location->get_string("/name")] = location->get_string("/displayName");
    }
    return table;
}

const std::string& region_table::display_name(const std::string& location) const {
    const auto found = regions_.find(location);
    if (found == regions_.end()) {
        throw std::out_of_range("invalid map<K, T> key");
    }
    return found->second;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
