// The libcurl and OpenSSL the engine opens at its first connection: what it refuses, and that
// every refusal names the library, the reason and what to install.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/opensslv.h>

#include <stdexcept>
#include <string>

#include "rest/impl/curl/curl_library.hpp"
#include "rest/impl/curl/openssl_library.hpp"

namespace impl = zentrova::monitoring_modules::rest::impl;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

// A library that does not open is the module's end-to-end case (EngineLoading); one that opens
// but is no libcurl is refused here.
TEST(engine_libraries_test, a_library_without_libcurls_functions_is_refused_naming_the_package) {
    try {
        const impl::curl_library library(impl::openssl_library::crypto_name());
        ADD_FAILURE() << "OpenSSL's library was taken for libcurl";
    } catch (const std::runtime_error& failure) {
        EXPECT_THAT(failure.what(), AllOf(HasSubstr("the HTTP engine cannot be loaded: "),
                                          HasSubstr(impl::openssl_library::crypto_name() +
                                                    " has no function curl_global_init"),
                                          HasSubstr("install Debian's libcurl4 package")));
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
