#include "framework/settings/kind_integer.hpp"

#include <charconv>

namespace zentrova::monitoring_modules::framework::settings {

std::optional<std::int64_t> kind_integer::parse_and_validate(const std::string& text,
                                                             validation_rules rules) {
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, 10);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    if ((rules.lower_bound && value < *rules.lower_bound) ||
        (rules.upper_bound && value > *rules.upper_bound)) {
        return std::nullopt;
    }
    return value;
}

}  // namespace zentrova::monitoring_modules::framework::settings
