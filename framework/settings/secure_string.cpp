#include "framework/settings/secure_string.hpp"

namespace zentrova::monitoring_modules::framework::settings {

secure_string::secure_string(std::string plain_text) : value_(std::move(plain_text)) {}

secure_string::secure_string(secure_string&& other) noexcept : value_(other.value_) {
    wipe(other.value_);
}

secure_string& secure_string::operator=(const secure_string& other) {
    if (this != &other) {
        wipe(value_);
        value_ = other.value_;
    }
    return *this;
}

secure_string& secure_string::operator=(secure_string&& other) noexcept {
    if (this != &other) {
        wipe(value_);
        value_ = other.value_;
        wipe(other.value_);
    }
    return *this;
}

secure_string::~secure_string() {
    wipe(value_);
}

void secure_string::wipe(std::string& text) noexcept {
    // Volatile stores so the compiler cannot drop them as dead writes.
    volatile char* p = text.data();
    for (size_t i = 0; i < text.size(); ++i) {
        p[i] = '\0';
    }
    text.clear();
}

}  // namespace zentrova::monitoring_modules::framework::settings
