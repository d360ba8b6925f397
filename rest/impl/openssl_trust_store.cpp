#include "rest/impl/openssl_trust_store.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <array>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::rest::impl {

namespace {

struct x509_deleter {
    void operator()(X509* certificate) const noexcept { X509_free(certificate); }
};
struct bio_deleter {
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }
};
struct store_deleter {
    void operator()(X509_STORE* store) const noexcept { X509_STORE_free(store); }
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

struct openssl_trust_store::state {
    std::string extra_pem_file;
    std::string system_ca_file;
    std::string system_ca_path;
    std::vector<std::unique_ptr<X509, x509_deleter>> extra;
    // Built on the first TLS connection; afterwards only read.
    std::once_flag built;
    std::unique_ptr<X509_STORE, store_deleter> store;
    std::string failure;

    void build();
};

void openssl_trust_store::state::build() {
    ERR_clear_error();
    std::unique_ptr<X509_STORE, store_deleter> made(X509_STORE_new());
    if (!made) {
        failure = "OpenSSL cannot make a certificate store: " + openssl_reason();
        return;
    }
    if (!system_ca_file.empty() && X509_STORE_load_file(made.get(), system_ca_file.c_str()) != 1) {
        failure = "the system's CA bundle '" + system_ca_file +
                  "' cannot be read: " + openssl_reason() +
                  "; check that the system's CA certificates are installed";
        return;
    }
    if (!system_ca_path.empty() && X509_STORE_load_path(made.get(), system_ca_path.c_str()) != 1) {
        failure = "the system's CA directory '" + system_ca_path +
                  "' cannot be used: " + openssl_reason();
        return;
    }
    for (const auto& certificate : extra) {
        // OpenSSL accepts a CA the system store already holds without complaint.
        if (X509_STORE_add_cert(made.get(), certificate.get()) != 1) {
            failure = "a CA of the bundle '" + extra_pem_file +
                      "' cannot be trusted: " + openssl_reason();
            return;
        }
    }
    // Intermediate CAs in the store count as trust anchors, as the engine sets up its own
    // stores.
    X509_STORE_set_flags(made.get(), X509_V_FLAG_PARTIAL_CHAIN);
    store = std::move(made);
}

openssl_trust_store::openssl_trust_store(const std::string& extra_pem_file)
    : state_(std::make_unique<state>()) {
    state_->extra_pem_file = extra_pem_file;
    const std::string& pem_file = extra_pem_file;
    if (pem_file.empty()) {
        return;
    }
    ERR_clear_error();
    const std::unique_ptr<BIO, bio_deleter> file(BIO_new_file(pem_file.c_str(), "r"));
    if (!file) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' cannot be opened: " + openssl_reason());
    }
    while (X509* certificate = PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr)) {
        state_->extra.emplace_back(certificate);
    }
    // Reading stops with "no start line" at the end of the file; anything else is damage.
    const unsigned long last_error = ERR_peek_last_error();
    if (last_error != 0 && !(ERR_GET_LIB(last_error) == ERR_LIB_PEM &&
                             ERR_GET_REASON(last_error) == PEM_R_NO_START_LINE)) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' holds a damaged certificate: " + openssl_reason());
    }
    ERR_clear_error();
    if (state_->extra.empty()) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' holds no PEM certificate (-----BEGIN CERTIFICATE-----)");
    }
}

openssl_trust_store::~openssl_trust_store() = default;

void openssl_trust_store::use_system_cas(std::string ca_file, std::string ca_path) {
    state_->system_ca_file = std::move(ca_file);
    state_->system_ca_path = std::move(ca_path);
}

bool openssl_trust_store::install_in(void* ssl_context, std::string& error) const {
    std::call_once(state_->built, [this] { state_->build(); });
    if (!state_->store) {
        error = state_->failure;
        return false;
    }
    // The context takes a reference; the store outlives whichever of them goes last.
    SSL_CTX_set1_cert_store(static_cast<SSL_CTX*>(ssl_context), state_->store.get());
    return true;
}

std::size_t openssl_trust_store::size() const {
    return state_->extra.size();
}

}  // namespace zentrova::monitoring_modules::rest::impl
