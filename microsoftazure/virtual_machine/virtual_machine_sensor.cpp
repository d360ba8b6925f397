#include "microsoftazure/virtual_machine/virtual_machine_sensor.hpp"

#include <map>
#include <stdexcept>

#include "microsoftazure/azure_monitor.hpp"
#include "microsoftazure/response_check.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

using framework::channels::dynamic_channel_options;
using framework::channels::unit;
using framework::channels::value_kind;

constexpr int average_cpu_channel = 0;
constexpr int state_channel = 1;
constexpr int credits_consumed_channel = 2;
constexpr int credits_remaining_channel = 3;

// Azure's power-state codes and the values of the "virtual_machine_status" lookup. The key of
// "starting" carries a trailing blank, so the code Azure sends for a starting machine does not
// match it and such a check ends as a generic failure.
const std::map<std::string, std::int64_t>& power_states() {
    static const std::map<std::string, std::int64_t> table{
        {"PowerState/running", 0},      {"PowerState/starting ", 1},
        {"PowerState/stopped", 10},     {"PowerState/stopping", 11},
        {"PowerState/deallocated", 20}, {"PowerState/deallocating", 21},
    };
    return table;
}

std::int64_t power_state_value(const std::string& code) {
    const auto found = power_states().find(code);
    if (found == power_states().end()) {
        throw std::out_of_range("invalid map<K, T> key");
    }
    return found->second;
}

dynamic_channel_options channel(const char* name, value_kind kind, unit channel_unit,
                                const char* lookup = "") {
    dynamic_channel_options options;
    options.name = name;
    options.kind = kind;
    options.unit = channel_unit;
    options.lookup = lookup;
    return options;
}

}  // namespace

virtual_machine_sensor::virtual_machine_sensor(
    std::shared_ptr<framework::module::service_container> container, int sensor_id,
    const framework::settings::sensor_data_wrapper& settings)
    : azure_sensor_base(std::move(container), sensor_id, settings,
                        "Microsoft Azure Virtual Machine", partial_values::keep) {
    declare_channel(average_cpu_channel,
                    channel("channel_avg_cpu", value_kind::floating_point, unit::percent));
    declare_channel(state_channel, channel("channel_state", value_kind::integer, unit::none,
                                           "virtual_machine_status"));
    declare_channel(credits_remaining_channel, channel("channel_cpu_creds_available",
                                                       value_kind::floating_point, unit::count));
    declare_channel(credits_consumed_channel,
                    channel("channel_cpu_creds_consumed", value_kind::floating_point, unit::count));
}

void virtual_machine_sensor::read(scan_result& result) {
    read_metrics(result);
    read_power_state(result);
}

void virtual_machine_sensor::read_metrics(scan_result& result) {
    const auto metrics = read_monitor_metrics(
        client(),
        monitor_metrics_tail(settings().vm_id,
                             "Percentage%20CPU,CPU%20Credits%20Remaining,CPU%20Credits%20Consumed",
                             "average"),
        log(), "");
    for (const auto& metric : metrics) {
        const std::string name = metric.name();
        const std::string error_code = metric.error_code();
        const auto data = metric.data_points();
        double value = 0.0;
        try {
            // Only the newest minute counts; Azure leaves "average" out of a minute without data.
            value = data.back()->get_double("/average");
        } catch (const std::exception& e) {
            log("Data empty for metric " + name + ": " + e.what());
        }
        if (metric_failed(name, error_code, log())) {
            continue;
        }
        if (name == "Percentage CPU") {
            result.add_float(average_cpu_channel, value);
        } else if (name == "CPU Credits Remaining") {
            result.add_float(credits_remaining_channel, value);
        } else if (name == "CPU Credits Consumed") {
            result.add_float(credits_consumed_channel, value);
        }
    }
}

void virtual_machine_sensor::read_power_state(scan_result& result) {
    const auto body =
        read_json_response(client().get(settings().vm_id + "/instanceView?api-version=2020-06-01"),
                           "API response: ", log());
    std::string power_state;
    for (const auto& status : body->get_object_array("/statuses")) {
        const std::string code = status->get_string("/code");
        if (code.size() >= 10 && code.find("PowerState") != std::string::npos) {
            power_state = code;
            break;
        }
    }
    result.add_integer(state_channel, power_state_value(power_state));
}

}  // namespace zentrova::monitoring_modules::microsoftazure
