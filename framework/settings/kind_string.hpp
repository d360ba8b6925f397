#pragma once

#include <string>

#include "framework/settings/validation_rules.hpp"
#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::settings {

// Validates a text setting: length limit and pattern.
class TIKO_API kind_string {
public:
    // Returns the text, or throws utils::exceptions::setting_invalid ("Setting invalid: "
    // followed by "String too long. ", "String does not match the rules. " or
    // "RegEx error on validation. " and what was expected). The value itself is never quoted,
    // so the same check serves secret texts.
    static std::string parse_and_validate(const std::string& text, validation_rules rules);
};

// Validates a secret text with the same rules as kind_string.
class TIKO_API kind_securestring {
public:
    static std::string parse_and_validate(const std::string& text, const validation_rules& rules);
};

}  // namespace zentrova::monitoring_modules::framework::settings
