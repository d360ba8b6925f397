#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers the compute routes: the subscription's virtual machines and one machine's instance
// view, shaped as Azure shapes them. Stateless.
class compute_responder {
public:
    static http_answer vm_list(const arm_request& r);
    static http_answer instance_view(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
