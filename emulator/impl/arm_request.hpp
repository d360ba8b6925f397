#pragma once

#include <string>

#include "emulator/impl/http_exchange.hpp"
#include "emulator/impl/route_table.hpp"
#include "emulator/impl/scenario.hpp"
#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// A Resource Manager request that passed the token, subscription and api-version checks,
// with everything a responder needs to answer it.
struct arm_request {
    const scenario& world;
    const subscription& sub;
    const route_match& route;
    const incoming_request& request;
    system_time now;
    const std::string& base_url;  // ends with "/"
};

}  // namespace zentrova::monitoring_modules::emulator::impl
