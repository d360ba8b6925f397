#pragma once

#include <memory>
#include <string>

namespace zentrova::monitoring_modules::rest::impl {

// The CAs every TLS connection of one pool trusts, held in one OpenSSL certificate store that
// all the pool's TLS contexts share. Reading the system bundle costs a few hundred million
// instructions and about a megabyte of memory, so it happens once per pool, on the first TLS
// connection, instead of once per connection (what the engine does on its own) or while the
// module starts. install_in() may be called from many threads at once; use_system_cas() comes
// before the first of those calls.
class openssl_trust_store {
public:
    // Reads the bundle of extra CAs (none when the name is empty) at once, loading libcurl's
    // OpenSSL for it; without a bundle nothing is loaded until the first TLS connection. Throws
    // std::invalid_argument naming the file when it cannot be read or holds no certificate, and
    // std::runtime_error when OpenSSL cannot be loaded.
    explicit openssl_trust_store(const std::string& extra_pem_file);
    ~openssl_trust_store();
    openssl_trust_store(const openssl_trust_store&) = delete;
    openssl_trust_store& operator=(const openssl_trust_store&) = delete;
    openssl_trust_store(openssl_trust_store&&) = delete;
    openssl_trust_store& operator=(openssl_trust_store&&) = delete;

    // The system's CA bundle and directory of hashed CA files (empty: none), trusted beside the
    // extra CAs. The engine names its built-in defaults when it starts, before any connection
    // exists; once the store is built they change nothing.
    void use_system_cas(std::string ca_file, std::string ca_path);

    // Makes an OpenSSL SSL_CTX (untyped so that callers need no OpenSSL header) verify peers
    // against the shared store, reading the system CAs on the first call. Returns false with
    // what went wrong and what to check in `error`; a system bundle that cannot be read fails
    // every call the same way.
    bool install_in(void* ssl_context, std::string& error) const;

private:
    struct state;
    std::unique_ptr<state> state_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
