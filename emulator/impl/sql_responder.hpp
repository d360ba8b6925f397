#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers the Azure SQL routes: the subscription's servers and one server's databases, shaped
// as Azure shapes them. Stateless.
class sql_responder {
public:
    static http_answer sql_servers(const arm_request& r);
    static http_answer sql_databases(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
