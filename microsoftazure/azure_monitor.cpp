#include "microsoftazure/azure_monitor.hpp"

#include <stdexcept>

#include "json/exceptions.hpp"
#include "microsoftazure/response_check.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

// The objects of an array that must hold at least one; an absent or empty one throws
// std::out_of_range with the text `what_is_missing` makes (only then: checks that succeed
// should not pay for the message).
template <typename Describe>
std::vector<std::unique_ptr<json::parser_interface>> non_empty_objects(
    const json::parser_interface& parent, const std::string& path, Describe what_is_missing) {
    try {
        return parent.get_object_array(path);
    } catch (const json::exceptions::empty_result&) {
        throw std::out_of_range(what_is_missing());
    }
}

}  // namespace

std::string monitor_metrics_tail(const std::string& resource_id, const std::string& metric_names,
                                 const std::string& aggregation) {
    std::string tail = resource_id +
                       "/providers/microsoft.insights/metrics?api-version=2018-01-01"
                       "&metricnames=" +
                       metric_names + "&interval=PT1M";
    if (!aggregation.empty()) {
        tail += "&aggregation=" + aggregation;
    }
    return tail + "&timespan=PT1M";
}

monitor_metric::monitor_metric(std::unique_ptr<json::parser_interface> element)
    : element_(std::move(element)) {}

std::string monitor_metric::name() const {
    return element_->get_string("/name/value");
}

std::string monitor_metric::error_code() const {
    return element_->get_string("/errorCode");
}

std::vector<std::unique_ptr<json::parser_interface>> monitor_metric::data_points() const {
    const auto series = non_empty_objects(*element_, "/timeseries", [this] {
        return "The metric " + name() + " has no time series";
    });
    return non_empty_objects(*series.front(), "/data", [this] {
        return "The time series of metric " + name() + " holds no data point";
    });
}

std::vector<monitor_metric> read_monitor_metrics(azure_client& client, const std::string& tail,
                                                 framework::logging::log_interface& log,
                                                 const std::string& no_metrics_text) {
    const auto body = read_json_response(client.get(tail), "API response: ", log);
    std::vector<std::unique_ptr<json::parser_interface>> elements;
    try {
        elements = body->get_object_array("/value");
    } catch (const json::exceptions::empty_result& e) {
        log.write(framework::logging::error,
                  "The metrics response holds no metric: " + e.full_message());
        throw std::runtime_error(no_metrics_text);
    }
    std::vector<monitor_metric> metrics;
    metrics.reserve(elements.size());
    for (auto& element : elements) {
        metrics.emplace_back(std::move(element));
    }
    return metrics;
}

bool metric_failed(const std::string& name, const std::string& error_code,
                   framework::logging::log_interface& log) {
    if (error_code == "Success") {
        return false;
    }
    // The line's format is fixed, missing blank before "for" included: log readers match it.
    log.write(framework::logging::debug, "Error Code:" + error_code + "for metric " + name);
    return true;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
