#pragma once

#include <stdexcept>
#include <string>

#include "framework/tiko_export.hpp"

// The framework's own failures: container misuse, settings that cannot be read or validated.
namespace zentrova::monitoring_modules::framework::utils::exceptions {

// Base of every framework failure; what() holds the complete text.
class TIKO_API exception : public std::runtime_error {
public:
    explicit exception(const std::string& message);
    ~exception() override;
};

// A selection setting holds a value that none of its options has.
class TIKO_API selection_parse_error : public exception {
public:
    selection_parse_error(const std::string& entry, const std::string& value);
    ~selection_parse_error() override;
};

// A setting the host did not hand over.
class TIKO_API setting_not_available : public exception {
public:
    explicit setting_not_available(const std::string& key);
    ~setting_not_available() override;
};

// A setting that breaks its validation rules; the text begins "Setting invalid: ".
class TIKO_API setting_invalid : public exception {
public:
    explicit setting_invalid(const std::string& reason);
    ~setting_invalid() override;
};

// The host's settings buffer is not the document the framework expects.
class TIKO_API invalid_settings_buffer : public exception {
public:
    explicit invalid_settings_buffer(const std::string& reason);
    ~invalid_settings_buffer() override;
};

}  // namespace zentrova::monitoring_modules::framework::utils::exceptions
