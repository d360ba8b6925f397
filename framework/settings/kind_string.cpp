#include "framework/settings/kind_string.hpp"

#include <regex>

#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::settings {
namespace {

// libstdc++'s default matcher recurses once per input character and exhausts a host thread's
// stack on a value of a few thousand characters; its breadth-first matcher needs no recursion
// and cannot backtrack catastrophically (patterns with back-references are refused instead).
#if defined(__GLIBCXX__)
constexpr auto matcher_flags = std::regex::ECMAScript | std::regex_constants::__polynomial;
#else
constexpr auto matcher_flags = std::regex::ECMAScript;
#endif

}  // namespace

std::string kind_string::parse_and_validate(const std::string& text, validation_rules rules) {
    if (rules.max_length && text.size() > *rules.max_length) {
        throw utils::exceptions::setting_invalid(
            "String too long. At most " + std::to_string(*rules.max_length) +
            " characters are allowed, the value has " + std::to_string(text.size()) + ".");
    }
    if (rules.pattern) {
        std::regex expression;
        try {
            expression = std::regex(*rules.pattern, matcher_flags);
        } catch (const std::regex_error& e) {
            throw utils::exceptions::setting_invalid("RegEx error on validation. The pattern '" +
                                                     *rules.pattern +
                                                     "' is not valid: " + e.what());
        }
        bool matches = false;
        try {
            matches = std::regex_match(text, expression);
        } catch (const std::regex_error& e) {
            throw utils::exceptions::setting_invalid("RegEx error on validation. " +
                                                     std::string(e.what()));
        }
        if (!matches) {
            throw utils::exceptions::setting_invalid(
                "String does not match the rules. The value must match '" + *rules.pattern + "'.");
        }
    }
    return text;
}

std::string kind_securestring::parse_and_validate(const std::string& text,
                                                  const validation_rules& rules) {
    return kind_string::parse_and_validate(text, rules);
}

}  // namespace zentrova::monitoring_modules::framework::settings
