#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/credentials_file.hpp"
#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::host {

class module_library;

// What one meta scan brought back.
struct discovery_outcome {
    int code = -1;            // ExecuteMetaScan's answer
    bool has_result = false;  // a meta_scan_result arrived
    int response_code = -1;
    std::string message;  // the result's message as sent
    std::vector<discovered_row> rows;
    std::vector<std::string> messages;  // every message of the call, as sent
    long long elapsed_ms = 0;

    bool succeeded() const { return code == 0 && has_result && response_code == 0; }
};

// A meta scan run as a probe runs it, with the host's connection settings and the credentials,
// its progress shown on a terminal line while it runs.
class discovery_scan {
public:
    discovery_scan(module_library& module, credentials_file credentials, bool logging);

    discovery_outcome run(const std::string& metascan_kind, int sensor_id,
                          std::ostream& progress) const;

private:
    module_library& module_;
    credentials_file credentials_;
    bool logging_;
};

}  // namespace zentrova::monitoring_modules::host
