#pragma once

#include <memory>
#include <string>

#include "framework/logging/log_interface.hpp"
#include "json/parser_interface.hpp"
#include "microsoftazure/azure_client.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// One subscription's cost requests for one check: the sensor's client, the subscription's
// resource path ("subscriptions/<id>") and the sensor log. Every answer's body is logged under
// its label before it is checked (status, then content type) and parsed, so a failing answer
// can still be read in the log. Used by one check at a time.
class cost_endpoint {
public:
    cost_endpoint(azure_client& client, const std::string& subscription_id,
                  framework::logging::log_interface& log);

    // `path` follows the resource path: "/providers/...?api-version=...".
    std::unique_ptr<json::parser_interface> get(const std::string& label, const std::string& path);
    // Sends `body` as JSON.
    std::unique_ptr<json::parser_interface> post(const std::string& label, const std::string& path,
                                                 const std::string& body);

    void log(const std::string& line) const;
    // Whether log lines go anywhere: lines that take work to build are built only then.
    bool logging() const { return log_.enabled(); }

private:
    std::unique_ptr<json::parser_interface> read(const std::string& label,
                                                 const rest::response& answer) const;

    azure_client& client_;
    std::string resource_path_;
    framework::logging::log_interface& log_;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
