#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/host_state.hpp"
#include "host/module_library.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::testing {

// One channel value of a scan result.
struct channel_value {
    int id = 0;
    bool is_float = true;
    double value = 0.0;  // integers too, for easy comparison
};

// What one create or check call brought back.
struct scan_outcome {
    int code = -1;           // what the export answered
    int response_code = -1;  // of the scan result; -1 when none was sent
    std::string message;     // of the scan result
    std::vector<channel_value> values;
    std::vector<int> declared_channels;         // channel ids declared in this call
    std::map<std::string, std::string> stored;  // persistent data stored in this call
    std::vector<std::string> messages;          // every message, as sent

    bool has_value(int channel_id) const;
    double value(int channel_id) const;  // fails the test when the channel has no value
    // Everything above but the raw messages, a line each, for golden files.
    std::string text() const;
};

// What one meta scan brought back.
struct discovery_outcome {
    int code = -1;
    int response_code = -1;
    std::string message;
    std::vector<std::string> displays;
    std::vector<std::map<std::string, std::string>> rows;
    std::vector<int> progress;
    std::vector<std::string> messages;

    // The rows, one a line: the display text, then each column (its last name part) and value.
    std::string table() const;
};

// Where the module sends its requests and with which credentials.
struct azure_world {
    std::string arm_endpoint;
    std::string login_endpoint;
    std::string ca_bundle;  // empty: the system's trust store alone
    std::string tenant_id;
    std::string client_id;
    std::string client_secret;
    std::string subscription_id;
};

// The module loaded as a probe loads it, pointed at `world`, with logs in a fresh directory.
// Between calls it keeps each sensor's channel map and persistent data from the module's
// messages and hands them back, as a probe does.
class module_driver {
public:
    explicit module_driver(azure_world world);
    ~module_driver();
    module_driver(const module_driver&) = delete;
    module_driver& operator=(const module_driver&) = delete;

    host::module_library& module() { return *module_; }

    // The connection settings and the world's credentials, with logging enabled.
    settings_buffer settings(const std::string& kind) const;
    const std::string& client_secret() const { return world_.client_secret; }
    const std::string& subscription_id() const { return world_.subscription_id; }

    // The calls, each carrying the sensor's channel map and persistent data so far.
    scan_outcome create(int sensor_id, const settings_buffer& settings);
    scan_outcome check(int sensor_id, const settings_buffer& settings);
    // Create and check in one go.
    scan_outcome create_and_check(int sensor_id, const settings_buffer& settings);
    discovery_outcome discover(const settings_buffer& settings, int sensor_id = 1,
                               unsigned scan_id = 1);

    host::sensor_state& state(int sensor_id) { return states_[sensor_id]; }
    // The sensor's channels as the host keeps them: id, name, value kind, unit, custom unit,
    // lookup; one a line.
    std::string channels_text(int sensor_id) const;

    const std::string& log_dir() const { return log_dir_; }
    std::string sensor_log(int sensor_id) const;
    std::string runtime_log() const;
    // Every message the module sent since the driver started.
    const std::vector<std::string>& all_messages() const { return all_messages_; }

private:
    scan_outcome run(int sensor_id, const settings_buffer& settings, bool create);
    settings_buffer with_state(int sensor_id, settings_buffer settings) const;

    azure_world world_;
    std::string log_dir_;
    std::unique_ptr<host::module_library> module_;
    std::map<int, host::sensor_state> states_;
    std::vector<std::string> all_messages_;
};

}  // namespace zentrova::monitoring_modules::testing
