#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zentrova::monitoring_modules::framework::settings {

// What a setting's value must satisfy; every rule is optional.
struct validation_rules {
    std::optional<std::int64_t> lower_bound;
    std::optional<std::int64_t> upper_bound;
    std::optional<std::size_t> max_length;
    std::optional<std::string> pattern;  // ECMAScript regular expression the whole value must match
};

}  // namespace zentrova::monitoring_modules::framework::settings
