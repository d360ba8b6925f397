#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace zentrova::monitoring_modules::rest::impl {

// CA certificates read once from a PEM file and added to every TLS context the engine makes,
// beside the CAs of the system trust store, so a private CA (the emulator's) is trusted without
// distrusting the public ones.
class openssl_trust_store {
public:
    // Throws std::invalid_argument naming the file when it cannot be read or holds no
    // certificate.
    explicit openssl_trust_store(const std::string& pem_file);
    ~openssl_trust_store();
    openssl_trust_store(const openssl_trust_store&) = delete;
    openssl_trust_store& operator=(const openssl_trust_store&) = delete;
    openssl_trust_store(openssl_trust_store&&) = delete;
    openssl_trust_store& operator=(openssl_trust_store&&) = delete;

    // Adds the certificates to an OpenSSL SSL_CTX (untyped so that callers need no OpenSSL
    // header). Returns false with OpenSSL's reason in `error`.
    bool add_to(void* ssl_context, std::string& error) const;

    std::size_t size() const;

private:
    struct certificates;
    std::unique_ptr<certificates> certificates_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
