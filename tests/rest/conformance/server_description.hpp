#pragma once

#include <cstdint>
#include <string>

namespace zentrova::monitoring_modules::rest::testing {

// Where the transport conformance server listens and which CAs sign its certificates. A test
// process gets it from a server it runs itself, or from the file that a server process in
// another world (Linux, while the tests run under Wine) wrote.
struct server_description {
    std::string host = "localhost";     // the name in the certificates; resolves to 127.0.0.1
    std::uint16_t plain_port = 0;       // HTTP
    std::uint16_t tls_port = 0;         // HTTPS, certificate for localhost signed by tls_ca_file
    std::uint16_t other_host_port = 0;  // HTTPS, certificate for another host name
    std::uint16_t refusing_port = 0;    // bound, never accepts
    std::string tls_ca_file;
    std::string other_host_ca_file;

    // Lines "key=value", one per field.
    std::string to_text() const;
    // Throws std::runtime_error naming what is missing or wrong.
    static server_description from_text(const std::string& text);

    std::string plain_url() const { return "http://" + host + ":" + std::to_string(plain_port); }
    std::string tls_url() const { return "https://" + host + ":" + std::to_string(tls_port); }
};

}  // namespace zentrova::monitoring_modules::rest::testing
