#pragma once

#include <string>
#include <string_view>

namespace zentrova::monitoring_modules::rest::impl {

// The 32 bytes of the SHA-256 digest of `data`, from the platform's own cryptography (OpenSSL,
// or Windows' CNG). Throws std::runtime_error when the digest cannot be computed.
std::string sha256_digest(std::string_view data);

}  // namespace zentrova::monitoring_modules::rest::impl
