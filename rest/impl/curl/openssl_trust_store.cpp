#include "rest/impl/curl/openssl_trust_store.hpp"

#include <array>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "rest/impl/curl/openssl_library.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// The objects below exist only once OpenSSL is loaded, so their deleters find it loaded.
struct x509_deleter {
    void operator()(X509* certificate) const noexcept {
        openssl_library::get().x509_free(certificate);
    }
};
struct bio_deleter {
    void operator()(BIO* bio) const noexcept { openssl_library::get().bio_free(bio); }
};
struct store_deleter {
    void operator()(X509_STORE* store) const noexcept {
        openssl_library::get().x509_store_free(store);
    }
};

std::string openssl_reason(const openssl_library& openssl) {
    std::array<char, 256> text{};
    const unsigned long code = openssl.err_get_error();
    openssl.err_clear_error();
    if (code == 0) {
        return "no reason given";
    }
    openssl.err_error_string_n(code, text.data(), text.size());
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
    const auto& openssl = openssl_library::get();
    openssl.err_clear_error();
    std::unique_ptr<X509_STORE, store_deleter> made(openssl.x509_store_new());
    if (!made) {
        failure = "OpenSSL cannot make a certificate store: " + openssl_reason(openssl);
        return;
    }
    if (!system_ca_file.empty() &&
        openssl.x509_store_load_file(made.get(), system_ca_file.c_str()) != 1) {
        failure = "the system's CA bundle '" + system_ca_file +
                  "' cannot be read: " + openssl_reason(openssl) +
                  "; check that the system's CA certificates are installed";
        return;
    }
    if (!system_ca_path.empty() &&
        openssl.x509_store_load_path(made.get(), system_ca_path.c_str()) != 1) {
        failure = "the system's CA directory '" + system_ca_path +
                  "' cannot be used: " + openssl_reason(openssl);
        return;
    }
    for (const auto& certificate : extra) {
        // OpenSSL accepts a CA the system store already holds without complaint.
        if (openssl.x509_store_add_cert(made.get(), certificate.get()) != 1) {
            failure = "a CA of the bundle '" + extra_pem_file +
                      "' cannot be trusted: " + openssl_reason(openssl);
            return;
        }
    }
    // Intermediate CAs in the store count as trust anchors, as the engine sets up its own
    // stores.
    openssl.x509_store_set_flags(made.get(), X509_V_FLAG_PARTIAL_CHAIN);
    store = std::move(made);
}

openssl_trust_store::openssl_trust_store(const std::string& extra_pem_file)
    : state_(std::make_unique<state>()) {
    state_->extra_pem_file = extra_pem_file;
    const std::string& pem_file = extra_pem_file;
    if (pem_file.empty()) {
        return;
    }
    // The bundle is read now, so that a bad file fails the module's start; that loads the
    // engine's libraries early, which only a configured bundle does.
    const auto& openssl = openssl_library::get();
    openssl.err_clear_error();
    const std::unique_ptr<BIO, bio_deleter> file(openssl.bio_new_file(pem_file.c_str(), "r"));
    if (!file) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' cannot be opened: " + openssl_reason(openssl));
    }
    while (X509* certificate = openssl.pem_read_bio_x509(file.get(), nullptr, nullptr, nullptr)) {
        state_->extra.emplace_back(certificate);
    }
    // Reading stops with "no start line" at the end of the file; anything else is damage.
    const unsigned long last_error = openssl.err_peek_last_error();
    if (last_error != 0 && !(ERR_GET_LIB(last_error) == ERR_LIB_PEM &&
                             ERR_GET_REASON(last_error) == PEM_R_NO_START_LINE)) {
        throw std::invalid_argument("the CA bundle '" + pem_file +
                                    "' holds a damaged certificate: " + openssl_reason(openssl));
    }
    openssl.err_clear_error();
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
    // Called from libcurl's TLS set-up hook, which no exception may cross.
    try {
        std::call_once(state_->built, [this] { state_->build(); });
        if (!state_->store) {
            error = state_->failure;
            return false;
        }
        // The context takes a reference; the store outlives whichever of them goes last.
        openssl_library::get().ssl_ctx_set1_cert_store(static_cast<SSL_CTX*>(ssl_context),
                                                       state_->store.get());
        return true;
    } catch (const std::exception& failure) {
        error = failure.what();
        return false;
    }
}

}  // namespace zentrova::monitoring_modules::rest::impl
