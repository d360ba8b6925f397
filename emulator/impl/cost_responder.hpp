#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers the cost routes (billing periods, Cost Management query and forecast, Consumption
// budgets) from the scenario's periods, costs, forecast rows and budgets. Request bodies are
// read as Azure reads them: member names without regard to case. Stateless.
class cost_responder {
public:
    static http_answer respond(const arm_request& r);
    // Months of cost data a query's time period covers (at least one): what Cost Management
    // charges it in query processing units.
    static int months_queried(const incoming_request& request);

private:
    static http_answer billing_periods(const arm_request& r);
    static http_answer query(const arm_request& r);
    static http_answer forecast(const arm_request& r);
    static http_answer budgets(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
