#include "emulator/impl/azure_service.hpp"

#include <algorithm>
#include <jsoncons/json.hpp>

#include "emulator/impl/arm_request.hpp"
#include "emulator/impl/cost_responder.hpp"
#include "emulator/impl/json_answer.hpp"
#include "emulator/impl/resource_responder.hpp"
#include "emulator/impl/scenario_fault_reader.hpp"
#include "emulator/impl/scenario_parser.hpp"
#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

constexpr const char* control_prefix = "/_emulator";

bool is_token_route(const route_match& route) {
    return route.id == route_id::token || route.id == route_id::token_v2;
}

std::string join(const std::vector<std::string>& items) {
    std::string out;
    for (const auto& item : items) {
        out += (out.empty() ? "'" : ", '") + item + "'";
    }
    return out;
}

http_answer control_error(int status, const std::string& code, const std::string& message) {
    http_answer answer = arm_error(status, code, message);
    answer.headers.clear();
    return answer;
}

}  // namespace

azure_service::azure_service(service_endpoints endpoints, std::shared_ptr<const scenario> world,
                             request_recorder& recorder)
    : endpoints_(std::move(endpoints)),
      identity_(tokens_, endpoints_.login_url, endpoints_.audiences),
      recorder_(recorder),
      world_(std::move(world)) {
    faults_.replace_all(world_->faults);
}

std::shared_ptr<const scenario> azure_service::world() const {
    std::lock_guard<std::mutex> lock(world_mutex_);
    return world_;
}

void azure_service::replace_scenario(std::shared_ptr<const scenario> world) {
    faults_.replace_all(world->faults);
    quotas_.reset();
    std::lock_guard<std::mutex> lock(world_mutex_);
    world_ = std::move(world);
}

service_reply azure_service::handle(const incoming_request& request) {
    const system_time now = std::chrono::system_clock::now();
    service_reply reply;
    if (request.path == control_prefix ||
        istarts_with(request.path, std::string(control_prefix) + "/")) {
        reply.answer = control(request);
        return reply;
    }
    const route_match route = routes_.match(request.method, request.path);
    recorder_.request_received(route.name);
    const std::shared_ptr<const scenario> current = world();

    std::optional<fault> f;
    if (route.id != route_id::unknown) {
        f = faults_.take(route.name, request.path);
    }
    if (f) {
        recorder_.fault_applied();
        reply.delay_ms = f->delay_ms;
    }
    if (f && f->kind == fault_kind::close_connection) {
        reply.how = service_reply::delivery::close_connection;
    } else if (f && (f->kind == fault_kind::status || f->kind == fault_kind::custom_body)) {
        reply.answer = fault_answer(*f, route, now);
    } else {
        reply.answer = azure(route, request, *current, now);
        if (f) {
            fault_table::reshape(*f, reply.answer);
            if (f->kind == fault_kind::close_mid_body) {
                reply.how = service_reply::delivery::close_mid_body;
            }
        }
    }
    add_common_headers(reply.answer, request, route.arm || route.id == route_id::unknown, now);

    recorded_request entry;
    entry.method = request.method;
    entry.target = request.target;
    entry.route = route.name;
    entry.headers = request.headers;
    entry.body = request.body;
    entry.status = reply.how == service_reply::delivery::close_connection ? 0 : reply.answer.status;
    recorder_.record(std::move(entry));
    return reply;
}

http_answer azure_service::fault_answer(const fault& f, const route_match& route,
                                        system_time now) const {
    if (f.kind == fault_kind::custom_body) {
        return fault_table::custom_answer(f);
    }
    if (!is_token_route(route)) {
        return fault_table::status_answer(f);
    }
    // On the token routes a failure looks like Azure AD's, not like Resource Manager's.
    const int status = f.status != 0 ? f.status : 503;
    std::string error = f.error_code;
    if (error.empty()) {
        error = status >= 500 || status == 429 ? "temporarily_unavailable"
                : status == 401                ? "invalid_client"
                                               : "invalid_request";
    }
    const std::string message = f.error_message.empty()
                                    ? "The emulator answers this token request with status " +
                                          std::to_string(status) + " because a fault is set for it."
                                    : f.error_message;
    http_answer answer =
        identity_.error(status, error, 0, message, route.id == route_id::token_v2, now);
    fault_table::apply_status(f, answer);
    return answer;
}

http_answer azure_service::azure(const route_match& route, const incoming_request& request,
                                 const scenario& world, system_time now) const {
    if (route.id == route_id::unknown) {
        return arm_error(404, "NotFound",
                         "The emulator has no route for " + request.method + " " + request.path +
                             "; the routes it serves are listed in docs/emulator.md.");
    }
    if (!route.method_allowed) {
        http_answer answer =
            arm_error(405, "MethodNotAllowed",
                      "The route " + route.name + " accepts " + route.allowed_method +
                          " only, not " + request.method + ".");
        answer.set_header("Allow", route.allowed_method);
        return answer;
    }
    if (!route.arm) {
        return identity_.respond(route, request, world, now);
    }
    return resource_manager(route, request, world, now);
}

http_answer azure_service::unauthorized(const std::string& code, const std::string& message,
                                        const std::string& tenant) const {
    http_answer answer = arm_error(401, code, message);
    std::string challenge = "Bearer authorization_uri=\"" + endpoints_.login_url + "/";
    challenge += tenant.empty() ? "common" : tenant;
    challenge += R"(", error="invalid_token", error_description=")";
    challenge += message;
    challenge += "\"";
    answer.set_header("WWW-Authenticate", challenge);
    return answer;
}

http_answer azure_service::resource_manager(const route_match& route,
                                            const incoming_request& request, const scenario& world,
                                            system_time now) const {
    const token_service::verdict verdict =
        tokens_.verify(request.header("Authorization"), unix_seconds(now));
    const token_claims& claims = verdict.claims;
    switch (verdict.result) {
        case token_service::outcome::missing:
            return unauthorized("AuthenticationFailed",
                                "Authentication failed. The 'Authorization' header is missing.",
                                "");
        case token_service::outcome::malformed:
            return unauthorized("InvalidAuthenticationToken",
                                "The access token is invalid: it is not a bearer token this "
                                "emulator issued.",
                                "");
        case token_service::outcome::expired:
            return unauthorized("ExpiredAuthenticationToken",
                                "The access token expiry UTC time '" +
                                    iso8601(system_time(std::chrono::seconds(claims.expires_on))) +
                                    "' is earlier than current UTC time '" + iso8601(now) + "'.",
                                claims.tenant_id);
        case token_service::outcome::valid:
            break;
    }
    if (!identity_.is_audience(claims.audience)) {
        return unauthorized("InvalidAuthenticationToken",
                            "The access token has been obtained for wrong audience or resource '" +
                                claims.audience +
                                "'. It should exactly match one of the allowed audiences " +
                                join(endpoints_.audiences) + ".",
                            claims.tenant_id);
    }
    const tenant* t = world.find_tenant(claims.tenant_id);
    const application* app = t != nullptr ? t->find_application(claims.client_id) : nullptr;
    if (app == nullptr) {
        return unauthorized("InvalidAuthenticationToken",
                            "The access token names application '" + claims.client_id +
                                "' of tenant '" + claims.tenant_id +
                                "', which the current scenario does not have.",
                            claims.tenant_id);
    }
    const std::string& subscription_id = route.capture("subscription");
    if (!world.may_access(*app, subscription_id)) {
        return arm_error(403, "AuthorizationFailed",
                         "The client '" + app->client_id + "' with object id '" + app->object_id +
                             "' does not have authorization to perform action '" + route.action +
                             "' over scope '/subscriptions/" + subscription_id +
                             "' or the scope is invalid. If access was recently granted, please "
                             "refresh your credentials.");
    }
    if (!request.has_param("api-version")) {
        return arm_error(400, "MissingApiVersionParameter",
                         "The api-version query parameter (?api-version=) is required for all "
                         "requests.");
    }
    const std::string version = request.param("api-version");
    if (std::find(route.api_versions.begin(), route.api_versions.end(), version) ==
        route.api_versions.end()) {
        return arm_error(400, "InvalidApiVersionParameter",
                         "The api-version '" + version +
                             "' is invalid. The supported versions are " +
                             join(route.api_versions) + ".");
    }
    header_list quota_headers;
    std::optional<http_answer> throttled;
    if (world.quotas.any()) {
        quota_meter::usage usage;
        usage.read = request.method == "GET";
        usage.cost_management = route.id == route_id::cost_query || route.id == route_id::forecast;
        usage.qpu = route.id == route_id::cost_query ? cost_responder::months_queried(request) : 0;
        usage.tenant = claims.tenant_id;
        usage.subscription = subscription_id;
        throttled = quotas_.charge(world.quotas, usage, quota_headers);
    }
    http_answer answer = throttled ? std::move(*throttled) : respond(route, request, world, now);
    for (auto& [name, value] : quota_headers) {
        answer.set_header(std::move(name), std::move(value));
    }
    return answer;
}

http_answer azure_service::respond(const route_match& route, const incoming_request& request,
                                   const scenario& world, system_time now) const {
    const std::string& subscription_id = route.capture("subscription");
    const arm_request r{
        world, *world.find_subscription(subscription_id), route, request, now, endpoints_.base_url};
    switch (route.id) {
        case route_id::billing_periods:
        case route_id::cost_query:
        case route_id::forecast:
        case route_id::budgets:
            return cost_responder::respond(r);
        default:
            return resource_responder::respond(r);
    }
}

void azure_service::add_common_headers(http_answer& answer, const incoming_request& request,
                                       bool arm, system_time now) const {
    answer.set_header("Date", http_date(now));
    if (!arm) {
        return;
    }
    const std::string request_id = random_guid();
    const std::string correlation = request.header("x-ms-correlation-request-id");
    answer.set_header("Cache-Control", "no-cache");
    answer.set_header("Pragma", "no-cache");
    answer.set_header("Expires", "-1");
    answer.set_header("x-ms-request-id", request_id);
    answer.set_header("x-ms-correlation-request-id",
                      correlation.empty() ? random_guid() : correlation);
    answer.set_header("x-ms-routing-request-id", "WESTEUROPE:" + iso8601(now) + ":" + request_id);
    // Without a quota in force a read leaves plenty.
    if (std::none_of(answer.headers.begin(), answer.headers.end(), [](const auto& h) {
            return iequals(h.first, "x-ms-ratelimit-remaining-subscription-reads");
        })) {
        answer.set_header("x-ms-ratelimit-remaining-subscription-reads", "11999");
    }
    answer.set_header("Strict-Transport-Security", "max-age=31536000; includeSubDomains");
    answer.set_header("X-Content-Type-Options", "nosniff");
}

http_answer azure_service::control(const incoming_request& request) {
    const std::string what = request.path.substr(std::string(control_prefix).size());
    const bool get = request.method == "GET";
    const bool post = request.method == "POST";
    if (what == "/health" && get) {
        ojson body(jsoncons::json_object_arg);
        body["status"] = "ok";
        body["base_url"] = endpoints_.base_url;
        body["login_url"] = endpoints_.login_url;
        return json_answer(body);
    }
    if (what == "/counters" && get) {
        const emulator_counters c = recorder_.snapshot();
        ojson by_route(jsoncons::json_object_arg);
        for (const auto& [route, n] : c.requests_by_route) {
            by_route[route] = n;
        }
        ojson body(jsoncons::json_object_arg);
        body["requests_total"] = c.requests_total;
        body["requests"] = std::move(by_route);
        body["token_requests"] = c.token_requests;
        body["connections_accepted"] = c.connections_accepted;
        body["tls_handshakes"] = c.tls_handshakes;
        body["open_connections"] = c.open_connections;
        body["faults_applied"] = c.faults_applied;
        return json_answer(body);
    }
    if (what == "/requests" && get) {
        ojson list(jsoncons::json_array_arg);
        for (const auto& r : recorder_.requests()) {
            ojson headers(jsoncons::json_object_arg);
            for (const auto& [name, value] : r.headers) {
                auto it = headers.find(name);
                if (it != headers.object_range().end()) {
                    headers[name] = it->value().as<std::string>() + ", " + value;
                } else {
                    headers[name] = value;
                }
            }
            ojson item(jsoncons::json_object_arg);
            item["method"] = r.method;
            item["target"] = r.target;
            item["route"] = r.route;
            item["status"] = r.status;
            item["headers"] = std::move(headers);
            item["body"] = r.body;
            list.push_back(std::move(item));
        }
        return json_answer(list);
    }
    if (what == "/reset" && post) {
        recorder_.reset();
        return json_answer(json_object());
    }
    if (what == "/faults" && (get || post)) {
        if (post) {
            try {
                for (const auto& f : scenario_parser::parse_faults(
                         request.body, "faults posted to /_emulator/faults")) {
                    faults_.set(f);
                }
            } catch (const scenario_error& e) {
                return control_error(400, "InvalidFault", e.what());
            }
        }
        ojson list(jsoncons::json_array_arg);
        for (const auto& f : faults_.list()) {
            list.push_back(scenario_fault_reader::write_fault(f));
        }
        return json_answer(list);
    }
    if (what == "/faults/clear" && post) {
        std::string route;
        if (!request.body.empty()) {
            try {
                const ojson body = ojson::parse(request.body);
                auto it = body.is_object() ? body.find("route") : body.object_range().end();
                if (!body.is_object() ||
                    (it != body.object_range().end() && !it->value().is_string())) {
                    return control_error(400, "InvalidFault",
                                         R"(expected {} or {"route": "<route name>"})");
                }
                if (it != body.object_range().end()) {
                    route = it->value().as<std::string>();
                }
            } catch (const jsoncons::ser_error& e) {
                return control_error(400, "InvalidFault",
                                     std::string("not valid JSON: ") + e.what());
            }
        }
        if (route.empty()) {
            faults_.clear();
        } else {
            faults_.clear(route);
        }
        return json_answer(json_object());
    }
    if (what == "/scenario" && post) {
        try {
            replace_scenario(std::make_shared<const scenario>(
                scenario_parser::parse(request.body, "scenario posted to /_emulator/scenario")));
        } catch (const scenario_error& e) {
            return control_error(400, "InvalidScenario", e.what());
        }
        return json_answer(json_object());
    }
    return control_error(404, "NotFound",
                         "Unknown control request " + request.method + " " + request.path +
                             "; known: GET health, counters, requests, faults; POST faults, "
                             "faults/clear, scenario, reset (all under /_emulator/).");
}

}  // namespace zentrova::monitoring_modules::emulator::impl
