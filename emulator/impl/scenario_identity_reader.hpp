#pragma once

#include "emulator/impl/scenario.hpp"
#include "emulator/impl/scenario_node.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Reads a scenario's Azure AD side: the tenants, their domains and the applications that may
// ask for tokens, each limited to subscriptions the scenario defines.
class scenario_identity_reader {
public:
    // `root` is the scenario's object; `world` already holds its subscriptions.
    static void read_tenants(const scenario_object& root, scenario& world);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
