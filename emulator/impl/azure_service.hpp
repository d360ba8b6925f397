#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "emulator/impl/fault_table.hpp"
#include "emulator/impl/http_exchange.hpp"
#include "emulator/impl/identity_responder.hpp"
#include "emulator/impl/quota_meter.hpp"
#include "emulator/impl/request_recorder.hpp"
#include "emulator/impl/route_table.hpp"
#include "emulator/impl/scenario.hpp"
#include "emulator/impl/token_service.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Where the emulator is reachable, as clients must write it.
struct service_endpoints {
    std::string base_url;                // "https://127.0.0.1:PORT/"
    std::string login_url;               // "https://127.0.0.1:PORT"
    std::vector<std::string> audiences;  // resource identifiers tokens are issued for
};

// What the transport does with a request: the answer, and how to deliver it.
struct service_reply {
    enum class delivery { respond, close_connection, close_mid_body };
    http_answer answer;
    delivery how = delivery::respond;
    int delay_ms = 0;
};

// The emulated Azure, without any transport: routes a request, applies the fault in force,
// checks the bearer token, subscription access and api-version of Resource Manager requests,
// charges them against the scenario's quotas,
// asks the responders, records what happened, and serves the control endpoints under
// /_emulator/. Thread-safe; the scenario is swapped as a whole.
class azure_service {
public:
    azure_service(service_endpoints endpoints, std::shared_ptr<const scenario> world,
                  request_recorder& recorder);

    service_reply handle(const incoming_request& request);

    void replace_scenario(std::shared_ptr<const scenario> world);  // its faults replace ours
    fault_table& faults() { return faults_; }
    quota_meter& quotas() { return quotas_; }

private:
    std::shared_ptr<const scenario> world() const;
    http_answer fault_answer(const fault& f, const route_match& route, system_time now) const;
    http_answer azure(const route_match& route, const incoming_request& request,
                      const scenario& world, system_time now) const;
    http_answer resource_manager(const route_match& route, const incoming_request& request,
                                 const scenario& world, system_time now) const;
    http_answer respond(const route_match& route, const incoming_request& request,
                        const scenario& world, system_time now) const;
    http_answer unauthorized(const std::string& code, const std::string& message,
                             const std::string& tenant) const;
    http_answer control(const incoming_request& request);
    void add_common_headers(http_answer& answer, const incoming_request& request, bool arm,
                            system_time now) const;

    service_endpoints endpoints_;
    token_service tokens_;
    identity_responder identity_;
    route_table routes_;
    fault_table faults_;
    mutable quota_meter quotas_;
    request_recorder& recorder_;
    mutable std::mutex world_mutex_;
    std::shared_ptr<const scenario> world_;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
