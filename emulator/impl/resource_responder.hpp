#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers the resource routes (virtual machines, locations, Azure Monitor metrics, instance
// view, SQL servers and databases) from the scenario, shaped as Azure shapes them. Stateless.
class resource_responder {
public:
    static http_answer respond(const arm_request& r);

private:
    static http_answer vm_list(const arm_request& r);
    static http_answer locations(const arm_request& r);
    static http_answer vm_metrics(const arm_request& r);
    static http_answer instance_view(const arm_request& r);
    static http_answer sql_servers(const arm_request& r);
    static http_answer sql_databases(const arm_request& r);
    static http_answer sql_metrics(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
