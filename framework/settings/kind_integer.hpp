#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "framework/settings/validation_rules.hpp"
#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::settings {

// Reads an integer setting.
class TIKO_API kind_integer {
public:
    // The value when the whole text is a decimal integer within the bounds; empty otherwise.
    static std::optional<std::int64_t> parse_and_validate(const std::string& text,
                                                          validation_rules rules);
};

}  // namespace zentrova::monitoring_modules::framework::settings
