#pragma once

#include <string>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "emulator/impl/scenario_node.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Reads injected faults: the route each one hits, its kind (given, or implied by a status, a
// body or a delay) and what the kind needs, each within the range the emulator can serve.
class scenario_fault_reader {
public:
    // One fault object or an array of them.
    static std::vector<fault> read_faults(const scenario_node& n);
    // The name a fault document gives `kind` ("close" for close_connection).
    static std::string kind_name(fault_kind kind);
    // A fault as a document that read_faults reads back (what the control endpoint lists).
    static jsoncons::ojson write_fault(const fault& f);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
