#include "rest/impl/curl/openssl_library.hpp"

#include <openssl/opensslv.h>

#include <stdexcept>
#include <string>

#include "rest/impl/curl/curl_library.hpp"
#include "rest/impl/curl/shared_object.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

constexpr const char* purpose = "the HTTP engine cannot use OpenSSL";

// libcurl names the TLS library it uses first, with its version ("OpenSSL/3.0.19"); others
// built in but not in use follow in parentheses.
bool tls_is_openssl(const char* ssl_version) {
    const std::string expected = "OpenSSL/" + std::to_string(OPENSSL_VERSION_MAJOR) + ".";
    return ssl_version != nullptr && std::string(ssl_version).rfind(expected, 0) == 0;
}

}  // namespace

std::string openssl_library::ssl_name() {
    return "libssl.so." + std::to_string(OPENSSL_VERSION_MAJOR);
}

std::string openssl_library::crypto_name() {
    return "libcrypto.so." + std::to_string(OPENSSL_VERSION_MAJOR);
}

const openssl_library& openssl_library::get() {
    // A constructor that throws leaves the static unset, so the next call tries again.
    static const openssl_library process_copy(curl_library::get());
    return process_copy;
}

openssl_library::openssl_library(const curl_library& curl) {
    const std::string remedy = "install Debian's libcurl4 package (libcurl built with OpenSSL " +
                               std::to_string(OPENSSL_VERSION_MAJOR) + ")";
    const curl_version_info_data* version = curl.version_info(CURLVERSION_NOW);
    const char* tls = version != nullptr ? version->ssl_version : nullptr;
    if (!tls_is_openssl(tls)) {
        throw std::runtime_error(std::string(purpose) + ": libcurl does its TLS with " +
                                 (tls != nullptr ? tls : "no TLS library") + ", not OpenSSL " +
                                 std::to_string(OPENSSL_VERSION_MAJOR) +
                                 ", whose certificate store the engine shares; " + remedy);
    }
    // Only the copies already loaded (libcurl's own): a second OpenSSL would not know libcurl's
    // TLS contexts.
    const shared_object ssl(ssl_name(), purpose, remedy, shared_object::opening::only_if_loaded);
    const shared_object crypto(crypto_name(), purpose, remedy,
                               shared_object::opening::only_if_loaded);
    MICROSOFTAZURE_RESOLVE_FUNCTION(ssl, ssl_ctx_set1_cert_store, SSL_CTX_set1_cert_store);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_store_new, X509_STORE_new);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_store_free, X509_STORE_free);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_store_load_file, X509_STORE_load_file);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_store_load_path, X509_STORE_load_path);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_store_add_cert, X509_STORE_add_cert);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_store_set_flags, X509_STORE_set_flags);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, x509_free, X509_free);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, pem_read_bio_x509, PEM_read_bio_X509);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, bio_new_file, BIO_new_file);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, bio_free, BIO_free);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, err_get_error, ERR_get_error);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, err_peek_last_error, ERR_peek_last_error);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, err_clear_error, ERR_clear_error);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, err_error_string_n, ERR_error_string_n);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, evp_digest, EVP_Digest);
    MICROSOFTAZURE_RESOLVE_FUNCTION(crypto, evp_sha256, EVP_sha256);
}

}  // namespace zentrova::monitoring_modules::rest::impl
