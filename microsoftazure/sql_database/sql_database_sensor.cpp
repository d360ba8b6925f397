#include "microsoftazure/sql_database/sql_database_sensor.hpp"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "json/exceptions.hpp"
#include "microsoftazure/azure_monitor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

using framework::channels::dynamic_channel_options;
using framework::channels::unit;
using framework::channels::value_kind;

// A type the sensor has no metrics for: its settings were written by hand, not by discovery.
class unknown_resource_type : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A resource type as discovery names it, and the metrics Azure Monitor has for it. A metric's
// position in the list is its channel id, so the lists only ever grow at their ends.
struct resource_type {
    const char* name;
    std::vector<std::string> metrics;
};

const std::vector<resource_type>& resource_types() {
    static const std::vector<resource_type> types{
        {"Single database, DTU",
         {"cpu_percent", "log_write_percent", "physical_data_read_percent", "storage",
          "storage_percent", "sessions_percent", "connection_failed", "deadlock", "dtu_limit",
          "dtu_used", "dtu_consumption_percent"}},
        {"Single database, vCore",
         {"cpu_percent", "log_write_percent", "physical_data_read_percent", "storage",
          "storage_percent", "sessions_percent", "connection_failed", "deadlock"}},
        {"Elastic pool, DTU",
         {"cpu_percent", "log_write_percent", "physical_data_read_percent", "storage_used",
          "storage_percent", "sessions_percent", "eDTU_limit", "eDTU_used",
          "dtu_consumption_percent"}},
        {"Elastic pool, vCore",
         {"cpu_percent", "log_write_percent", "physical_data_read_percent", "storage_used",
          "storage_percent", "sessions_percent"}},
    };
    return types;
}

std::vector<std::string> metrics_of(const std::string& type) {
    for (const auto& known : resource_types()) {
        if (type == known.name) {
            return known.metrics;
        }
    }
    return {};
}

std::string supported_types() {
    std::string names;
    for (const auto& known : resource_types()) {
        names += (names.empty() ? "" : "; ") + std::string(known.name);
    }
    return names;
}

// Storage in bytes, the percentages as percent, and the rest (connections, deadlocks, DTU
// figures) as plain counts.
dynamic_channel_options channel_for(const std::string& metric) {
    dynamic_channel_options options;
    options.name = metric;
    options.kind = value_kind::floating_point;
    if (metric == "storage" || metric == "storage_used") {
        options.unit = unit::bytes_disk;
    } else if (metric.size() > 8 && metric.compare(metric.size() - 8, 8, "_percent") == 0) {
        options.unit = unit::percent;
    } else {
        options.unit = unit::count;
    }
    return options;
}

std::string joined(const std::vector<std::string>& names) {
    std::string list;
    for (const auto& name : names) {
        list += (list.empty() ? "" : ",") + name;
    }
    return list;
}

std::string printed(double value) {
    const int length = std::snprintf(nullptr, 0, "%f", value);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, "%f", value);
    return text;
}

}  // namespace

sql_database_sensor::sql_database_sensor(
    std::shared_ptr<framework::module::service_container> container, int sensor_id,
    const framework::settings::sensor_data_wrapper& settings)
    : azure_sensor_base(std::move(container), sensor_id, settings, "Microsoft Azure SQL Database",
                        partial_values::keep),
      metrics_(metrics_of(this->settings().type)) {
    for (std::size_t id = 0; id < metrics_.size(); ++id) {
        declare_channel(static_cast<int>(id), channel_for(metrics_[id]));
    }
}

void sql_database_sensor::read(scan_result& result) {
    if (metrics_.empty()) {
        // Discovery writes only the four known types; any other was typed by hand, and metrics
        // guessed for it would report wrong figures.
        throw unknown_resource_type("Unknown resource type '" + settings().type +
                                    "'; the sensor supports " + supported_types());
    }
    read_metrics(result);
}

double sql_database_sensor::average_of(const monitor_metric& metric, const std::string& name) {
    try {
        return metric.data_points().front()->get_double("/average");
    } catch (const json::exceptions::exception& e) {
        // The failure's own text names only the field; the log must say whose it was.
        log("Data empty for metric " + name + ": " + e.full_message(), framework::logging::error);
        throw;
    }
}

void sql_database_sensor::read_metrics(scan_result& result) {
    // No aggregation is asked for: each metric comes with the one Azure defines for it.
    const auto metrics = read_monitor_metrics(
        client(), monitor_metrics_tail(settings().database_id, joined(metrics_)), log(),
        "Response does not contain array of objects as expected");
    for (const auto& metric : metrics) {
        const std::string name = metric.name();
        const std::string error_code = metric.error_code();
        // The first point counts: the oldest, should Azure answer more than one minute.
        const double value = average_of(metric, name);
        if (metric_failed(name, error_code, log())) {
            continue;
        }
        const auto found = std::find(metrics_.begin(), metrics_.end(), name);
        if (found == metrics_.end()) {
            throw std::out_of_range("The metric " + name + " is not one of a '" + settings().type +
                                    "' resource");
        }
        result.add_float(static_cast<int>(found - metrics_.begin()), value);
        if (log().enabled()) {
            log("Metric " + name + ": " + printed(value));
        }
    }
}

std::string sql_database_sensor::kind_failure_message(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const unknown_resource_type& e) {
        log(std::string(e.what()) + ". Add the sensor anew from the SQL database discovery.",
            framework::logging::error);
        return "#:unexpected_error[" + std::string(e.what()) + "]";
    } catch (const std::out_of_range& e) {
        // Metrics missing, empty or foreign to the stored type: the database most likely moved
        // to another tier or into a pool, and only a sensor made anew fits it.
        log(e.what(), framework::logging::error);
        log("Data is empty for some metric. Check if database has all values for specific type",
            framework::logging::error);
        return "#:error.posible_change_of_database_type";
    } catch (...) {
        return {};
    }
}

}  // namespace zentrova::monitoring_modules::microsoftazure
