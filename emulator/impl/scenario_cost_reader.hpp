#pragma once

#include "emulator/impl/scenario.hpp"
#include "emulator/impl/scenario_node.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Reads the cost side of a scenario's subscription: billing periods (newest first) with their
// costs by dimension, the forecast rows and the budgets. Rows without a currency take the
// subscription's, so the subscription's own members must be read first.
class scenario_cost_reader {
public:
    // `o` is the subscription's object.
    static void read_costs(const scenario_object& o, subscription& sub);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
