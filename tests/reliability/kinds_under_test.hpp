#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::testing {

// One kind of the module as the reliability tests drive it against the bundled scenario. A kind
// that lands in the module joins every fault, load and lifecycle test by one entry here.
struct kind_under_test {
    std::string name;
    bool metascan = false;
    // The emulator route of the kind's first Azure Resource Manager request: faults go there.
    std::string first_route;
    // How many distinct working sensors (or scans) the bundled scenario offers.
    std::size_t variants = 1;
    // The settings of variant `variant`, from a buffer that holds the scenario's credentials.
    std::function<settings_buffer(settings_buffer credentials, const std::string& subscription_id,
                                  std::size_t variant)>
        settings;
    // Whether the kind's requests wait as long as the sensor's "timeout" setting says.
    bool honours_timeout = true;
};

// Test names and failure lines show the kind by its name, not as the struct's bytes.
inline void PrintTo(const kind_under_test& kind, std::ostream* out) {
    *out << kind.name;
}

// Every kind the module registers, sensors first.
const std::vector<kind_under_test>& kinds_under_test();

// The sensor kinds and the meta-scan kinds alone.
std::vector<kind_under_test> sensor_kinds();
std::vector<kind_under_test> metascan_kinds();

// A virtual machine sensor's settings for the machine `name` of the resource group `group`.
settings_buffer machine_sensor(settings_buffer credentials, const std::string& subscription_id,
                               const std::string& group, const std::string& name);
// A SQL database sensor's settings for "<server>/databases/<name>" or
// "<server>/elasticPools/<name>" of the resource group "rg-data".
settings_buffer database_sensor(settings_buffer credentials, const std::string& subscription_id,
                                const std::string& resource, const std::string& type,
                                const std::string& region = "West Europe");

}  // namespace zentrova::monitoring_modules::testing
