#pragma once

#include <map>
#include <string>

#include "bench/end_to_end/process_memory.hpp"

namespace zentrova::monitoring_modules::bench {

// Resident memory by stage of loading the module: "before", "dlopen", "initialised" and, after
// a first check, "checked".
using load_stages = std::map<std::string, resident_memory>;

// Runs module_load_cost (beside this program) in a process of its own and reads its lines: as
// deployed (no extra CA bundle) or with the emulator's CA bundle, as the rest of the run has it.
// With a settings buffer (only with the bundle: the emulator's certificate must be trusted),
// also after a first check of a sensor with that buffer. Throws when the program fails.
load_stages read_module_load_stages(bool with_ca_bundle, const std::string& check_buffer);

}  // namespace zentrova::monitoring_modules::bench
