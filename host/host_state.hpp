#pragma once

#include <map>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::host {

// A channel as the module declared it, kept to show values with their names and units.
struct channel_definition {
    std::string name;
    std::string value_kind;
    std::string unit;
    std::string custom_unit;
    std::string lookup;
};

// What a probe keeps of one sensor between calls.
struct sensor_state {
    std::string kind;
    std::map<std::string, std::string> settings;  // plain settings beyond the credentials
    std::map<int, channel_definition> channels;
    std::map<std::string, std::string> persistent_data;

    // Keeps what one message of the module declares (a channel) or stores (persistent data);
    // other messages change nothing. Throws host_error for a message that is not JSON.
    void remember(const std::string& message);
};

// One row a meta scan found.
struct discovered_row {
    std::string display;
    std::map<std::string, std::string> values;
};

// The host's memory between runs: sensors by id, and the last rows of each meta scan. Kept
// in a JSON file (never holding a secret).
class host_state {
public:
    // Reads the file; a missing file is an empty state. Throws host_error for a file that
    // exists but cannot be read, naming the file and what is wrong.
    static host_state load(const std::string& path);
    // Writes through a temporary file and a rename, so a crash never leaves half a file.
    void save(const std::string& path) const;

    std::map<int, sensor_state> sensors;
    std::map<std::string, std::vector<discovered_row>> discoveries;
};

}  // namespace zentrova::monitoring_modules::host
