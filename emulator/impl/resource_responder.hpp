#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers the resource routes from the scenario by handing each route to its family: compute
// (virtual machines, instance view), locations, Azure Monitor metrics, and Azure SQL. Stateless.
class resource_responder {
public:
    static http_answer respond(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
