#pragma once

#include <cstddef>
#include <string>

#include "emulator/impl/scenario.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Multiplies a scenario's virtual machines and SQL servers, so that a watch of hundreds of
// sensors runs against a small world: copy k of "vm-web-01" is "vm-web-01-k" (k from 2), listed
// after its original and its earlier copies, with ids of its own. A server is copied whole, with
// its elastic pools and databases under the new server's id.
struct scenario_copies {
    // Throws scenario_error naming `origin` when a copy's name is already taken.
    static void multiply(scenario& world, std::size_t copies, const std::string& origin);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
