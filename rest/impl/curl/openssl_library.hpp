#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <string>

namespace zentrova::monitoring_modules::rest::impl {

class curl_library;

// The OpenSSL functions the engine calls (the shared certificate store, the extra CA bundle,
// SHA-256), looked up once in the very copy of OpenSSL that libcurl uses: the trust store hands
// libcurl's TLS contexts to these functions, so two copies, or another TLS library under
// libcurl, would corrupt memory. OpenSSL is therefore taken from the process after libcurl is
// loaded, never linked (see curl_library for why). The pointers take their types from
// OpenSSL's own declarations.
class openssl_library {
public:
    // The names of the OpenSSL whose headers the engine was built with, e.g. "libssl.so.3".
    static std::string ssl_name();
    static std::string crypto_name();

    // The OpenSSL of the process's libcurl, opened (libcurl first) on the first call.
    // Thread-safe. Throws std::runtime_error saying what failed and what to install; the next
    // call tries again.
    static const openssl_library& get();

    // The OpenSSL that `curl` does its TLS with. Throws std::runtime_error when libcurl's TLS
    // library is not OpenSSL of the major version the engine was built for, when that OpenSSL
    // is not the process's libssl/libcrypto of that version, or when a function is missing.
    explicit openssl_library(const curl_library& curl);

    decltype(&::SSL_CTX_set1_cert_store) ssl_ctx_set1_cert_store = nullptr;
    decltype(&::X509_STORE_new) x509_store_new = nullptr;
    decltype(&::X509_STORE_free) x509_store_free = nullptr;
    decltype(&::X509_STORE_load_file) x509_store_load_file = nullptr;
    decltype(&::X509_STORE_load_path) x509_store_load_path = nullptr;
    decltype(&::X509_STORE_add_cert) x509_store_add_cert = nullptr;
    decltype(&::X509_STORE_set_flags) x509_store_set_flags = nullptr;
    decltype(&::X509_free) x509_free = nullptr;
    decltype(&::PEM_read_bio_X509) pem_read_bio_x509 = nullptr;
    decltype(&::BIO_new_file) bio_new_file = nullptr;
    decltype(&::BIO_free) bio_free = nullptr;
    decltype(&::ERR_get_error) err_get_error = nullptr;
    decltype(&::ERR_peek_last_error) err_peek_last_error = nullptr;
    decltype(&::ERR_clear_error) err_clear_error = nullptr;
    decltype(&::ERR_error_string_n) err_error_string_n = nullptr;
    decltype(&::EVP_Digest) evp_digest = nullptr;
    decltype(&::EVP_sha256) evp_sha256 = nullptr;
};

}  // namespace zentrova::monitoring_modules::rest::impl
