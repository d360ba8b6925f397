#pragma once

#include <cstdint>
#include <string>

#include "rest/rest_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

struct token_response {
    std::string access_token;
    std::int64_t expires_in = 0;  // seconds, always positive
};

// Reads the token endpoint's answer. Anything without a usable token throws
// rest::exceptions::authentication_failed: an error answer with "error: error_description" as
// details, any other answer with what was wrong with it. Takes any bytes without harm.
token_response read_token_response(const response& answer);

}  // namespace zentrova::monitoring_modules::rest::impl
