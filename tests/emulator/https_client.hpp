#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::emulator::testing {

using header_list = std::vector<std::pair<std::string, std::string>>;

struct http_result {
    CURLcode error = CURLE_OK;
    long status = 0;
    std::string reason;
    header_list headers;
    std::string body;

    std::string header(const std::string& name) const;
};

// A libcurl client that trusts one CA file and keeps its connection between calls, as the
// module's transport does.
class https_client {
public:
    explicit https_client(const std::string& ca_file, long timeout_seconds = 30);

    http_result get(const std::string& url, const header_list& headers = {});
    http_result post(const std::string& url, const std::string& body,
                     const std::string& content_type, const header_list& headers = {});

private:
    http_result perform(const std::string& url, const std::string* body,
                        const header_list& headers);

    std::unique_ptr<CURL, void (*)(CURL*)> handle_;
};

// The bundled scenario's identities.
inline const std::string tenant_id = "7d3c9f0e-51a2-4b6c-9e1d-2f8a6b4c0d11";
inline const std::string client_id = "5b8e2a71-3c4d-4e9f-a012-6d7c8b9e0f21";
inline const std::string client_secret = "emulator-client-secret";
inline const std::string subscription_id = "3f2a1b0c-9d8e-4f7a-b6c5-d4e3f2a1b0c9";

inline emulator_options with_scenario(std::string json) {
    emulator_options options;
    options.scenario_json = std::move(json);
    return options;
}

// The v1 token request the module sends, as a form body.
std::string token_form(const std::string& resource, const std::string& secret = client_secret,
                       const std::string& client = client_id);

// Fetches a token from `emu` for its own Resource Manager endpoint; fails the test otherwise.
std::string fetch_token(https_client& client, const azure_emulator& emu);

}  // namespace zentrova::monitoring_modules::emulator::testing
