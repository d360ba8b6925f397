#pragma once

#include <string>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::settings {

// A secret text (a client secret, an API key). It has no way to be printed or serialised;
// the plain text is read only where it is used, and the memory is wiped when it goes.
class TIKO_API secure_string {
public:
    secure_string() = default;
    explicit secure_string(std::string plain_text);
    secure_string(const secure_string& other) = default;
    secure_string(secure_string&& other) noexcept;
    secure_string& operator=(const secure_string& other);
    secure_string& operator=(secure_string&& other) noexcept;
    ~secure_string();

    const std::string& get_as_plaintext() const { return value_; }

private:
    static void wipe(std::string& text) noexcept;
    std::string value_;
};

}  // namespace zentrova::monitoring_modules::framework::settings
