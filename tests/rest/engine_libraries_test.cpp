// The libcurl and OpenSSL the engine opens at its first connection: what it refuses, and that
// every refusal names the library, the reason and what to install.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/opensslv.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "rest/impl/curl/curl_library.hpp"
#include "rest/impl/curl/openssl_library.hpp"

namespace impl = zentrova::monitoring_modules::rest::impl;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

std::string load_failure(const std::string& name) {
    try {
        const impl::curl_library library(name);
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "loaded";
}

TEST(engine_libraries_test, what_is_not_a_libcurl_is_refused_naming_it_and_the_package) {
    struct refusal {
        std::string name;
        std::string reason;
    };
    const std::vector<refusal> cases = {
        {"libcurl-that-does-not-exist.so.4", "libcurl-that-does-not-exist.so.4"},
        // A real library, and OpenSSL's at that, but without libcurl's functions.
        {impl::openssl_library::crypto_name(),
         impl::openssl_library::crypto_name() + " has no function curl_global_init"},
    };
    for (const auto& [name, reason] : cases) {
        EXPECT_THAT(load_failure(name),
                    AllOf(HasSubstr("the HTTP engine cannot be loaded: "), HasSubstr(reason),
                          HasSubstr("install Debian's libcurl4 package")))
            << name;
    }
}

TEST(engine_libraries_test, a_libcurl_doing_tls_with_another_library_is_refused) {
    // Debian's GnuTLS flavour of libcurl, when installed, stands for any libcurl whose TLS
    // contexts are not OpenSSL's.
    const char* gnutls_flavour = "libcurl-gnutls.so.4";
    void* present = ::dlopen(gnutls_flavour, RTLD_NOW | RTLD_LOCAL);
    if (present == nullptr) {
        GTEST_SKIP() << gnutls_flavour << " is not installed";
    }
    const impl::curl_library curl(gnutls_flavour);
    try {
        const impl::openssl_library openssl(curl);
        ADD_FAILURE() << "OpenSSL was taken from a libcurl that does not use it";
    } catch (const std::runtime_error& failure) {
        EXPECT_THAT(failure.what(),
                    AllOf(HasSubstr("libcurl does its TLS with GnuTLS/"),
                          HasSubstr("not OpenSSL " + std::to_string(OPENSSL_VERSION_MAJOR)),
                          HasSubstr("install Debian's libcurl4 package")));
    }
}

}  // namespace
