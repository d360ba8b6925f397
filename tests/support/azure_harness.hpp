#pragma once

#include <memory>
#include <string>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "tests/support/module_driver.hpp"

namespace zentrova::monitoring_modules::testing {

// The emulator of a harness, started before the module that talks to it.
struct emulator_owner {
    std::unique_ptr<emulator::azure_emulator> emulator_;
};

// The module driven against an in-process emulator, with the credentials of the scenario's
// first application and subscription.
class azure_harness : private emulator_owner, public module_driver {
public:
    explicit azure_harness(const emulator::emulator_options& options = {});
    ~azure_harness();
    azure_harness(const azure_harness&) = delete;
    azure_harness& operator=(const azure_harness&) = delete;

    emulator::azure_emulator& emulator() { return *emulator_; }
    // The ARM targets (path and query) the emulator received for a route, in order.
    std::vector<std::string> targets(const std::string& route) const;
    // Every request but the token's, in order: method and target, then any body with its type.
    std::string requests_text() const;
};

}  // namespace zentrova::monitoring_modules::testing
