#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace zentrova::monitoring_modules::rest::impl {

// The CAs a server's certificate is checked against: the system's roots, plus the CA
// certificates of a PEM file when one is given. Nothing is ever added to the user's or the
// machine's stores: the CAs live in a memory store of this object, and a chain engine of its own
// trusts exactly them. Thread-safe once constructed.
class windows_trust_store {
public:
    // The system's roots only. Throws std::runtime_error when the system cannot build the chain
    // engine.
    windows_trust_store();
    // Throws std::invalid_argument naming the file when it cannot be read or holds no
    // certificate, and std::runtime_error when the system cannot build the chain engine.
    explicit windows_trust_store(const std::string& pem_file);
    ~windows_trust_store();
    windows_trust_store(const windows_trust_store&) = delete;
    windows_trust_store& operator=(const windows_trust_store&) = delete;
    windows_trust_store(windows_trust_store&&) = delete;
    windows_trust_store& operator=(windows_trust_store&&) = delete;

    // Checks a server certificate (a PCCERT_CONTEXT, untyped so that callers need no Windows
    // header) for `host`: a chain to one of the trusted roots, valid dates, use for TLS servers,
    // and the host name. Returns an empty text when it passes, otherwise why it does not.
    std::string verify(const void* certificate, const std::string& host) const;

    // The number of CAs the PEM file added.
    std::size_t size() const;

private:
    void finish();

    struct stores;
    std::unique_ptr<stores> stores_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
