#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::host {

class module_documents;

// One channel value of a result, ready to show.
struct channel_line {
    int id = 0;
    std::string name;   // the declared name in English, or "(undeclared)"
    std::string value;  // with its lookup text, unit or readable size
};

// Reads the channels of a sensor_scan_result as people want them: each under the name the
// sensor declared, a lookup value as its text, bytes in KiB to TiB, other values with their
// unit.
class channel_formatter {
public:
    explicit channel_formatter(const module_documents& documents);

    // The channels of `result_message` in the order sent; `channels` holds what the sensor
    // declared. Throws host_error for a message that is not a scan result.
    std::vector<channel_line> lines(const std::string& result_message,
                                    const std::map<int, channel_definition>& channels) const;

private:
    const module_documents& documents_;
};

}  // namespace zentrova::monitoring_modules::host
