#pragma once

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers Azure Monitor's metrics routes for virtual machines, SQL databases and elastic pools
// from the scenario's series: one data point a minute up to now, with the aggregations, the
// timespan and the metric names the request asks for. Stateless.
class metrics_responder {
public:
    static http_answer vm_metrics(const arm_request& r);
    // A database's or an elastic pool's metrics, by the route.
    static http_answer sql_metrics(const arm_request& r);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
