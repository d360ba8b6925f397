#pragma once

#include <string>

#include "emulator/impl/scenario.hpp"
#include "emulator/impl/scenario_node.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Reads the resources of a scenario's subscription: its named resource groups, virtual
// machines, and SQL servers with their elastic pools and databases, each with the metric series
// it answers. Names must be unique where Azure makes them so; every resource's group becomes
// one of the subscription's groups, and every server gets its master database.
class scenario_resource_reader {
public:
    // `o` is the subscription's object; resources without a location get `default_location`.
    static void read_resources(const scenario_object& o, subscription& sub,
                               const std::string& default_location);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
