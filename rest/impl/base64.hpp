#pragma once

#include <string>
#include <string_view>

namespace zentrova::monitoring_modules::rest::impl {

// Standard base64 (with padding) of the bytes of a UTF-8 string.
std::string base64_encode(std::string_view text);

// The inverse; throws std::invalid_argument when `encoded` is not padded standard base64.
std::string base64_decode(std::string_view encoded);

}  // namespace zentrova::monitoring_modules::rest::impl
