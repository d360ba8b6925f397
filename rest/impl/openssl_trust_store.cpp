#include "rest/impl/openssl_trust_store.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace zentrova::monitoring_modules::rest::impl {

namespace {

struct x509_deleter {
    void operator()(X509* certificate) const noexcept { X509_free(certificate); }
};
struct bio_deleter {
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }
};

std::string openssl_reason() {
    std::array<char, 256> text{};
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    if (code == 0) {
        return "no reason given";
    }
    ERR_error_string_n(code, text.data(), text.size());
    return text.data();
}

}  // namespace

struct openssl_trust_store::certificates {
    std::vector<std::unique_ptr<X509, x509_deleter>> list;
};

openssl_trust_store::openssl_trust_store(const std::string& pem_file)
    : certificates_(std::make_unique<certificates>()) {
    ERR_clear_error();
    const std::unique_ptr<BIO, bio_deleter> file(BIO_new_file(pem_file.c_str(), "r"));
    if (!file) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' cannot be opened: " + openssl_reason());
    }
    while (X509* certificate = PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr)) {
        certificates_->list.emplace_back(certificate);
    }
    // Reading stops with "no start line" at the end of the file; anything else is damage.
    const unsigned long last_error = ERR_peek_last_error();
    if (last_error != 0 && !(ERR_GET_LIB(last_error) == ERR_LIB_PEM &&
                             ERR_GET_REASON(last_error) == PEM_R_NO_START_LINE)) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' holds a damaged certificate: " + openssl_reason());
    }
    ERR_clear_error();
    if (certificates_->list.empty()) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' holds no PEM certificate (-----BEGIN CERTIFICATE-----)");
    }
}

openssl_trust_store::~openssl_trust_store() = default;

bool openssl_trust_store::add_to(void* ssl_context, std::string& error) const {
    X509_STORE* store = SSL_CTX_get_cert_store(static_cast<SSL_CTX*>(ssl_context));
    if (store == nullptr) {
        error = "the TLS context has no certificate store";
        return false;
    }
    for (const auto& certificate : certificates_->list) {
        // A store the engine reuses between connections already holds them; OpenSSL accepts
        // the same certificate again without harm.
        if (X509_STORE_add_cert(store, certificate.get()) != 1) {
            error = "a CA of the bundle cannot be trusted: " + openssl_reason();
            return false;
        }
    }
    return true;
}

std::size_t openssl_trust_store::size() const {
    return certificates_->list.size();
}

}  // namespace zentrova::monitoring_modules::rest::impl
