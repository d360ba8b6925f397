#pragma once

#include <string>
#include <vector>

namespace zentrova::monitoring_modules::emulator {

// A throw-away certificate authority and one server certificate signed by it, made at run
// time so that a local HTTPS server is trusted by a client given only the CA file.
struct tls_identity {
    std::string ca_certificate_pem;
    std::string server_certificate_pem;
    std::string server_private_key_pem;

    // Makes a fresh CA and a server certificate valid for the given DNS names and IP
    // addresses (subject alternative names). Throws std::runtime_error with OpenSSL's reason.
    static tls_identity generate(const std::vector<std::string>& dns_names,
                                 const std::vector<std::string>& ip_addresses);

    // The usual identity of a loopback server: "localhost" and 127.0.0.1.
    static tls_identity for_loopback();
};

// The three PEM files of an identity, written into one directory.
struct tls_identity_files {
    std::string ca_file;
    std::string certificate_file;
    std::string private_key_file;
};

// Writes ca.pem, server.pem and server.key into `directory` (created when missing; the key
// is readable by its owner only). Throws std::runtime_error naming the file that failed.
tls_identity_files write_tls_identity(const tls_identity& identity, const std::string& directory);

}  // namespace zentrova::monitoring_modules::emulator
