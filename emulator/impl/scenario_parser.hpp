#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "emulator/impl/scenario.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Reads scenario documents and fault lists. Every member is checked: an unknown name, a wrong
// type or a dangling reference throws scenario_error with `origin`, the JSON path and the
// problem, so that a typo in a test scenario is reported rather than ignored.
class scenario_parser {
public:
    // `copies` above 0 overrides the scenario's own "copies" member.
    static scenario parse(const std::string& json_text, const std::string& origin,
                          std::size_t copies = 0);
    static scenario parse_file(const std::string& path, std::size_t copies = 0);
    // One fault object or an array of them.
    static std::vector<fault> parse_faults(const std::string& json_text, const std::string& origin);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
