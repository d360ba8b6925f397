#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/logging/log_interface.hpp"
#include "json/parser_interface.hpp"
#include "microsoftazure/azure_client.hpp"
#include "microsoftazure/region_table.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The objects of a listing's array; an empty or absent array is an empty listing, not a
// failure (a subscription without machines or servers).
std::vector<std::unique_ptr<json::parser_interface>> object_rows(
    const json::parser_interface& listing, const std::string& path);

// What a discovery starts from: the subscription's resources of one type and its regions.
struct subscription_listing {
    std::vector<std::unique_ptr<json::parser_interface>> resources;  // the listing's "value"
    region_table regions;
};

// Lists the subscription's resources ("subscriptions/<id>/" + `provider_tail`), logging the
// body as "API response: " and checking the status, then reads the region table, then parses
// the listing. Only the first page is read; a "nextLink" is logged, not followed.
subscription_listing list_subscription(azure_client& client, const std::string& subscription_id,
                                       const std::string& provider_tail,
                                       framework::logging::log_interface& log);

// Progress after row `index` of `count`: the second half of the scan, 50 to 100.
int row_progress(std::size_t index, std::size_t count);

}  // namespace zentrova::monitoring_modules::microsoftazure
