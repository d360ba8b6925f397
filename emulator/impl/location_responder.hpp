#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers the subscription's locations from the scenario's regions. Stateless.
class location_responder {
public:
    static http_answer locations(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
