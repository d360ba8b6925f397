#pragma once

#include <memory>
#include <string>
#include <vector>

#include "json/parser_interface.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The objects of a listing's array; an empty or absent array is an empty listing, not a
// failure (a subscription without machines or servers).
std::vector<std::unique_ptr<json::parser_interface>> object_rows(
    const json::parser_interface& listing, const std::string& path);

// Progress after row `index` of `count`: the second half of the scan, 50 to 100.
int row_progress(std::size_t index, std::size_t count);

}  // namespace zentrova::monitoring_modules::microsoftazure
