#include "emulator/impl/metrics_responder.hpp"

#include <algorithm>
#include <cctype>
#include <optional>

#include "emulator/impl/metric_catalog.hpp"
#include "emulator/impl/resource_answers.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

// Azure Monitor's answers: plain JSON without a character set, errors as a flat
// {"code", "message"} instead of Resource Manager's envelope.
constexpr const char* monitor_content_type = "application/json";

http_answer monitor_error(int status, const std::string& code, const std::string& message) {
    ojson body = json_object();
    body["code"] = code;
    body["message"] = message;
    http_answer answer = json_answer(body, status);
    answer.content_type = monitor_content_type;
    return answer;
}

std::string trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

// ISO 8601 durations as Azure Monitor takes them: P1D, PT1H, PT5M, PT30S, P1DT12H.
std::optional<std::chrono::seconds> parse_duration(std::string_view text) {
    if (text.empty() || (text[0] != 'P' && text[0] != 'p')) {
        return std::nullopt;
    }
    bool in_time = false;
    long long total = 0;
    long long number = -1;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            number = (number < 0 ? 0 : number) * 10 + (c - '0');
            if (number > 100000000) {
                return std::nullopt;
            }
            continue;
        }
        if (c == 'T' && !in_time && number < 0) {
            in_time = true;
            continue;
        }
        long long unit = 0;
        if (!in_time && c == 'D') {
            unit = 86400;
        } else if (!in_time && c == 'W') {
            unit = 7LL * 86400;
        } else if (in_time && c == 'H') {
            unit = 3600;
        } else if (in_time && c == 'M') {
            unit = 60;
        } else if (in_time && c == 'S') {
            unit = 1;
        }
        if (unit == 0 || number < 0) {
            return std::nullopt;
        }
        total += number * unit;
        number = -1;
    }
    if (number >= 0 || total == 0) {
        return std::nullopt;
    }
    return std::chrono::seconds(total);
}

http_answer metrics_answer(const arm_request& r, const std::string& resource_id,
                           const char* resource_namespace, const std::string& location,
                           const std::vector<metric_series>& metrics) {
    static const std::vector<std::string> valid_aggregations{"average", "minimum", "maximum",
                                                             "total", "count"};
    std::vector<std::string> aggregations;  // empty: each metric's default
    const std::string aggregation = r.request.param("aggregation");
    for (const auto& part :
         aggregation.empty() ? std::vector<std::string>{} : split(aggregation, ',')) {
        const std::string name = to_lower(trim(part));
        if (std::find(valid_aggregations.begin(), valid_aggregations.end(), name) ==
            valid_aggregations.end()) {
            return monitor_error(400, "BadRequest",
                                 "'" + trim(part) +
                                     "' is not a valid aggregation; use Average, Minimum, Maximum, "
                                     "Total or Count.");
        }
        aggregations.push_back(name);
    }

    const auto end = std::chrono::floor<std::chrono::minutes>(r.now);
    std::string timespan = r.request.param("timespan");
    if (timespan.find('/') == std::string::npos) {
        const auto duration =
            timespan.empty() ? std::optional<std::chrono::seconds>(60) : parse_duration(timespan);
        if (!duration) {
            return monitor_error(
                400, "BadRequest",
                "Invalid timespan '" + timespan +
                    "': give an ISO 8601 duration such as PT1M or a start/end pair.");
        }
        timespan = iso8601(end - *duration) + "/" + iso8601(end);
    }
    const std::string interval =
        r.request.has_param("interval") ? r.request.param("interval") : "PT1M";

    std::vector<const metric_series*> chosen;
    if (!r.request.has_param("metricnames")) {
        if (!metrics.empty()) {
            chosen.push_back(&metrics.front());
        }
    } else {
        for (const auto& part : split(r.request.param("metricnames"), ',')) {
            const std::string asked = trim(part);
            for (const auto& m : metrics) {
                if (iequals(m.name, asked) &&
                    std::find(chosen.begin(), chosen.end(), &m) == chosen.end()) {
                    chosen.push_back(&m);
                    break;
                }
            }
        }
    }

    ojson value = json_array();
    std::size_t points = 0;
    for (const metric_series* m : chosen) {
        const metric_definition* known = metric_catalog::find(resource_namespace, m->name);
        std::vector<std::string> asked = aggregations;
        if (asked.empty()) {
            asked.emplace_back(r.world.primary_aggregations && known != nullptr
                                   ? known->primary_aggregation
                                   : "average");
        }
        const std::string localized = !m->localized_name.empty() ? m->localized_name
                                      : known != nullptr         ? known->localized
                                                                 : m->name;
        const std::string unit = !m->unit.empty()                ? m->unit
                                 : known != nullptr              ? known->unit
                                 : icontains(m->name, "percent") ? "Percent"
                                                                 : "Count";
        ojson item = json_object();
        item["id"] = resource_id + "/providers/Microsoft.Insights/metrics/" + m->name;
        item["type"] = "Microsoft.Insights/metrics";
        ojson name = json_object();
        name["value"] = m->name;
        name["localizedValue"] = localized;
        item["name"] = std::move(name);
        item["displayDescription"] = m->description.empty() ? localized : m->description;
        item["unit"] = unit;
        ojson timeseries = json_array();
        if (!m->empty_timeseries) {
            ojson data = json_array();
            const auto count = static_cast<long>(m->values.size());
            for (long i = 0; i < count; ++i) {
                ojson point = json_object();
                point["timeStamp"] = iso8601(end - std::chrono::minutes(count - i));
                if (const auto& v = m->values[static_cast<std::size_t>(i)]; v.has_value()) {
                    for (const auto& a : asked) {
                        point[a] = *v;
                    }
                }
                data.push_back(std::move(point));
            }
            points += m->values.size();
            ojson series = json_object();
            series["metadatavalues"] = json_array();
            series["data"] = std::move(data);
            timeseries.push_back(std::move(series));
        }
        item["timeseries"] = std::move(timeseries);
        if (m->error_code != "Success") {
            item["errorMessage"] = m->error_message.empty()
                                       ? "The scenario marks metric " + m->name + " as failed."
                                       : m->error_message;
        }
        item["errorCode"] = m->error_code;
        value.push_back(std::move(item));
    }
    ojson body = json_object();
    body["cost"] = points;
    body["timespan"] = timespan;
    body["interval"] = interval;
    body["value"] = std::move(value);
    body["namespace"] = resource_namespace;
    body["resourceregion"] = location;
    http_answer answer = json_answer(body);
    answer.content_type = monitor_content_type;
    return answer;
}

}  // namespace

http_answer metrics_responder::vm_metrics(const arm_request& r) {
    const virtual_machine* vm = r.sub.find_vm(r.route.capture("group"), r.route.capture("vm"));
    if (vm == nullptr) {
        return resource_not_found(r, "Microsoft.Compute/virtualMachines", r.route.capture("vm"));
    }
    return metrics_answer(r, vm->id, "Microsoft.Compute/virtualMachines", vm->location,
                          vm->metrics);
}

http_answer metrics_responder::sql_metrics(const arm_request& r) {
    const sql_server* server =
        r.sub.find_server(r.route.capture("group"), r.route.capture("server"));
    if (server == nullptr) {
        return resource_not_found(r, "Microsoft.Sql/servers", r.route.capture("server"));
    }
    if (r.route.id == route_id::sql_pool_metrics) {
        const std::string& name = r.route.capture("pool");
        for (const auto& pool : server->pools) {
            if (iequals(pool.name, name)) {
                return metrics_answer(r, pool.id, "Microsoft.Sql/servers/elasticPools",
                                      pool.location, pool.metrics);
            }
        }
        return resource_not_found(r, "Microsoft.Sql/servers/elasticPools",
                                  server->name + "/" + name);
    }
    const std::string& name = r.route.capture("database");
    for (const auto& db : server->databases) {
        if (iequals(db.name, name)) {
            return metrics_answer(r, db.id, "Microsoft.Sql/servers/databases", db.location,
                                  db.metrics);
        }
    }
    return resource_not_found(r, "Microsoft.Sql/servers/databases", server->name + "/" + name);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
