#pragma once

#include <map>
#include <string>

#include "framework/logging/log_interface.hpp"
#include "microsoftazure/azure_client.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The subscription's regions: the short name resources carry in "location" ("westeurope") to
// the readable one ("West Europe"). Built once per discovery run.
class region_table {
public:
    // Lists the subscription's locations; failures are those of the REST client and the checks.
    static region_table read(azure_client& client, const std::string& subscription_id,
                             framework::logging::log_interface& log);

    // The display name of a location; an unknown one throws std::out_of_range
    // "invalid map<K, T> key", which ends the discovery.
    const std::string& display_name(const std::string& location) const;

    std::size_t size() const { return regions_.size(); }

private:
    std::map<std::string, std::string> regions_;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
