#pragma once

#include <cstdint>
#include <optional>

namespace zentrova::monitoring_modules::host {

// What the local Azure emulator counted, read from its control endpoint when the module is
// pointed at one (MICROSOFTAZURE_ARM_ENDPOINT on 127.0.0.1 or localhost). Azure itself reports
// none of it, and nothing is asked of an endpoint that is not local.
class emulator_counters {
public:
    // The token requests served so far; empty when the endpoint is not a local emulator.
    static std::optional<std::uint64_t> token_requests();
};

}  // namespace zentrova::monitoring_modules::host
