#include "microsoftazure/discovery_rows.hpp"

#include "json/exceptions.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

std::vector<std::unique_ptr<json::parser_interface>> object_rows(
    const json::parser_interface& listing, const std::string& path) {
    try {
        return listing.get_object_array(path);
    } catch (const json::exceptions::empty_result&) {
        return {};
    }
}

int row_progress(std::size_t index, std::size_t count) {
    return count == 0 ? 100 : 50 + static_cast<int>((index + 1) * 50 / count);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
