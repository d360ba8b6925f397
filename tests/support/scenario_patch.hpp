#pragma once

#include <string>
#include <utility>
#include <vector>

#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::testing {

// Changes to the bundled scenario's first subscription: each a JSON Pointer below it
// ("/budgets/1/currency") and the value to put there, as JSON.
using scenario_patch = std::vector<std::pair<std::string, std::string>>;

// The bundled scenario with `patch` applied, as JSON text and as emulator options.
std::string patched_scenario(const scenario_patch& patch);
emulator::emulator_options patched_world(const scenario_patch& patch);

// What the meta scan `kind` reports in worlds of their own, one after another: each a patch and a
// fault set before the scan ("" for none). As text for a golden file: "==" and the patched
// values, then the response code and message, then the rows.
std::string discoveries(const std::string& kind,
                        const std::vector<std::pair<scenario_patch, std::string>>& worlds);

}  // namespace zentrova::monitoring_modules::testing
