#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::utils::exceptions {

exception::exception(const std::string& message) : std::runtime_error(message) {}
exception::~exception() = default;

selection_parse_error::selection_parse_error(const std::string& entry, const std::string& value)
    : exception("Entry " + entry + ": Selection value '" + value + "' not found.") {}
selection_parse_error::~selection_parse_error() = default;

setting_not_available::setting_not_available(const std::string& key)
    : exception("The following setting was not available: " + key) {}
setting_not_available::~setting_not_available() = default;

setting_invalid::setting_invalid(const std::string& reason)
    : exception("Setting invalid: " + reason) {}
setting_invalid::~setting_invalid() = default;

invalid_settings_buffer::invalid_settings_buffer(const std::string& reason)
    : exception("The settings buffer cannot be read: " + reason) {}
invalid_settings_buffer::~invalid_settings_buffer() = default;

}  // namespace zentrova::monitoring_modules::framework::utils::exceptions
