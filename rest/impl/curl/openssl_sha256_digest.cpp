#include <array>
#include <stdexcept>

#include "rest/impl/curl/openssl_library.hpp"
#include "rest/impl/sha256_digest.hpp"

namespace zentrova::monitoring_modules::rest::impl {

std::string sha256_digest(std::string_view data) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    // Loads libcurl's OpenSSL the first time, which throws std::runtime_error when it cannot.
    const auto& openssl = openssl_library::get();
    if (openssl.evp_digest(data.data(), data.size(), digest.data(), &length, openssl.evp_sha256(),
                           nullptr) != 1) {
        throw std::runtime_error("cannot compute a SHA-256 digest (OpenSSL)");
    }
    return {reinterpret_cast<const char*>(digest.data()), length};
}

}  // namespace zentrova::monitoring_modules::rest::impl
