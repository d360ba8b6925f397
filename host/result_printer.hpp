#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/host_state.hpp"
#include "host/module_documents.hpp"

namespace zentrova::monitoring_modules::host {

// Prints what the module answered: for people as tables with the module's own display texts,
// or for scripts as the decoded messages in one JSON array.
class result_printer {
public:
    result_printer(std::ostream& out, const module_documents& documents);

    // The sensor kinds with their settings (as --set options) and the meta scans' columns.
    void module_info(const std::string& module_path, int api_level) const;
    // The rows a meta scan found, under the columns the module shows.
    void discovery(const std::string& metascan_kind, const std::vector<discovered_row>& rows,
                   long long elapsed_ms) const;
    // A meta scan's result that reports a failure: its response code and message.
    void discovery_failure(int response_code, const std::string& message) const;
    // One check's result message: each channel with its declared name and unit, then the
    // outcome and the message.
    void check_result(const std::string& sensor_kind, int sensor_id, long long elapsed_ms,
                      const std::string& result_message, const sensor_state& sensor) const;
    // The module's messages (JSON texts) as one JSON array.
    void messages(const std::vector<std::string>& texts) const;

private:
    std::ostream& out_;
    const module_documents& documents_;
};

}  // namespace zentrova::monitoring_modules::host
