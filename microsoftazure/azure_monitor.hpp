#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/logging/log_interface.hpp"
#include "json/parser_interface.hpp"
#include "microsoftazure/azure_client.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The request tail for Azure Monitor metrics of one resource over the last minute:
// resource id + "/providers/microsoft.insights/metrics?api-version=2018-01-01&metricnames=..."
// + "&interval=PT1M" [+ "&aggregation=..."] + "&timespan=PT1M". `metric_names` is the comma
// list as it goes on the wire (names with blanks already escaped); an empty `aggregation`
// sends none, so Azure applies the metric's default one.
std::string monitor_metrics_tail(const std::string& resource_id, const std::string& metric_names,
                                 const std::string& aggregation = {});

// One element of a metrics answer's "value". Each read queries the element when called, so a
// sensor meets a malformed element only when it gets to it, after the metrics before it were
// reported.
class monitor_metric {
public:
    explicit monitor_metric(std::unique_ptr<json::parser_interface> element);

    // "name" → "value", as Azure spells it ("Percentage CPU", "eDTU_used").
    std::string name() const;
    // "errorCode": "Success" when Azure could give the metric.
    std::string error_code() const;
    // The data points of the first time series, oldest first. A metric without a time series,
    // or whose first series holds no point, throws std::out_of_range naming the metric.
    std::vector<std::unique_ptr<json::parser_interface>> data_points() const;

private:
    std::unique_ptr<json::parser_interface> element_;
};

// Sends a metrics request, logs the body ("API response: "), checks the status and the
// content type, and returns the metrics in the order of the answer. An answer whose "value"
// holds no metric is logged and throws std::runtime_error with `no_metrics_text`.
std::vector<monitor_metric> read_monitor_metrics(azure_client& client, const std::string& tail,
                                                 framework::logging::log_interface& log,
                                                 const std::string& no_metrics_text);

// True, after a log line that says so, when Azure answered the metric with an error code
// instead of values; such a metric is left out of the check.
bool metric_failed(const std::string& name, const std::string& error_code,
                   framework::logging::log_interface& log);

}  // namespace zentrova::monitoring_modules::microsoftazure
