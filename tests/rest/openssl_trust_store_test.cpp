// The pool's certificate store: one store that every TLS context of a pool shares, trusting the
// system's CAs and the extra bundle alike, and failing with the file's name when the system's
// bundle cannot be read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>
#include <string>
#include <vector>

#include "emulator/tls_identity.hpp"
#include "rest/impl/curl/openssl_trust_store.hpp"
#include "tests/support/scratch_directory.hpp"

namespace rest = zentrova::monitoring_modules::rest;
namespace emulator = zentrova::monitoring_modules::emulator;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

struct context_deleter {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
using tls_context = std::unique_ptr<SSL_CTX, context_deleter>;

tls_context client_context() {
    return tls_context(SSL_CTX_new(TLS_client_method()));
}

// Whether the store a context uses accepts the certificate in `certificate_file`.
bool accepts(SSL_CTX* context, const std::string& certificate_file) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> file(
        BIO_new_file(certificate_file.c_str(), "r"), &BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), &X509_free);
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> verification(
        X509_STORE_CTX_new(), &X509_STORE_CTX_free);
    X509_STORE_CTX_init(verification.get(), SSL_CTX_get_cert_store(context), certificate.get(),
                        nullptr);
    return X509_verify_cert(verification.get()) == 1;
}

class openssl_trust_store_test : public ::testing::Test {
protected:
    zentrova::monitoring_modules::testing::scratch_directory directory{"trust-store"};
    emulator::tls_identity_files server = emulator::write_tls_identity(
        emulator::tls_identity::for_loopback(), directory.path().string() + "/server");
    emulator::tls_identity_files stranger = emulator::write_tls_identity(
        emulator::tls_identity::for_loopback(), directory.path().string() + "/stranger");
};

TEST_F(openssl_trust_store_test, every_context_shares_one_store_that_trusts_each_source) {
    struct source_case {
        const char* name;
        std::string system_bundle;
        std::string extra_bundle;
        bool trusted;
    };
    // The extra bundle alone is the conformance suite's case, through the engine.
    const std::vector<source_case> cases = {
        {"the CA as the system bundle", server.ca_file, "", true},
        {"the CA in both", server.ca_file, server.ca_file, true},
        {"another CA as the system bundle", stranger.ca_file, "", false},
        {"no CA at all", "", "", false},
    };
    for (const auto& [name, system_bundle, extra_bundle, trusted] : cases) {
        rest::impl::openssl_trust_store store(extra_bundle);
        store.use_system_cas(system_bundle, "");
        const auto first = client_context();
        const auto second = client_context();
        std::string error;
        ASSERT_TRUE(store.install_in(first.get(), error)) << name << ": " << error;
        ASSERT_TRUE(store.install_in(second.get(), error)) << name << ": " << error;
        EXPECT_EQ(SSL_CTX_get_cert_store(first.get()), SSL_CTX_get_cert_store(second.get()))
            << name;
        EXPECT_EQ(accepts(first.get(), server.certificate_file), trusted) << name;
        EXPECT_EQ(accepts(second.get(), server.certificate_file), trusted) << name;
    }
}

TEST_F(openssl_trust_store_test, the_store_outlives_the_pool_in_the_contexts_that_hold_it) {
    const auto context = client_context();
    {
        const rest::impl::openssl_trust_store store(server.ca_file);
        std::string error;
        ASSERT_TRUE(store.install_in(context.get(), error)) << error;
    }
    EXPECT_TRUE(accepts(context.get(), server.certificate_file));
}

TEST_F(openssl_trust_store_test, an_unreadable_system_bundle_fails_every_connection_naming_it) {
    const std::string missing = directory.path().string() + "/no-such-bundle.pem";
    rest::impl::openssl_trust_store store(server.ca_file);
    store.use_system_cas(missing, "");
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto context = client_context();
        std::string error;
        EXPECT_FALSE(store.install_in(context.get(), error));
        EXPECT_THAT(error, AllOf(HasSubstr(missing), HasSubstr("CA certificates are installed")))
            << "attempt " << attempt;
    }
}

}  // namespace
