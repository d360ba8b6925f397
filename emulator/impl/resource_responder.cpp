#include "emulator/impl/resource_responder.hpp"

#include "emulator/impl/compute_responder.hpp"
#include "emulator/impl/location_responder.hpp"
#include "emulator/impl/metrics_responder.hpp"
#include "emulator/impl/sql_responder.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

http_answer resource_responder::respond(const arm_request& r) {
    switch (r.route.id) {
        case route_id::vm_list:
            return compute_responder::vm_list(r);
        case route_id::locations:
            return location_responder::locations(r);
        case route_id::vm_metrics:
            return metrics_responder::vm_metrics(r);
        case route_id::instance_view:
            return compute_responder::instance_view(r);
        case route_id::sql_servers:
            return sql_responder::sql_servers(r);
        case route_id::sql_databases:
            return sql_responder::sql_databases(r);
        case route_id::sql_database_metrics:
        case route_id::sql_pool_metrics:
            return metrics_responder::sql_metrics(r);
        default:
            return arm_error(404, "NotFound", "The emulator has no resource route for this path.");
    }
}

}  // namespace zentrova::monitoring_modules::emulator::impl
