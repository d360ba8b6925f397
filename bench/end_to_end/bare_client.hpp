#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::bench {

// One request exactly as the module sent it (the emulator recorded it), ready to send again.
struct captured_request {
    std::string method;
    std::string url;  // scheme, host, port and the target as received
    // Every header the module sent except Host and Content-Length, which libcurl writes itself.
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

// The requests one check of one sensor makes, in order.
using captured_check = std::vector<captured_request>;

// The limit a check is measured against: bare libcurl sending the same requests (same URLs,
// headers and bodies, the bearer token obtained once) over one kept-alive connection. Everything
// that can be prepared is prepared at construction, so a check does nothing but the transfers.
// One host thread uses one client.
class bare_client {
public:
    // `checks` are the sensors' variants; `ca_file` is the CA that signed the server's
    // certificate.
    bare_client(const std::string& ca_file, const std::vector<captured_check>& checks);
    ~bare_client();
    bare_client(const bare_client&) = delete;
    bare_client& operator=(const bare_client&) = delete;
    bare_client(bare_client&&) = delete;
    bare_client& operator=(bare_client&&) = delete;

    // Sends the requests of variant `variant`; false when one of them failed or was not
    // answered with a 2xx status.
    bool run_check(std::size_t variant);

private:
    struct prepared;
    std::unique_ptr<prepared> prepared_;
};

}  // namespace zentrova::monitoring_modules::bench
