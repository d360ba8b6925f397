#pragma once

#include <string>

#include "microsoftazure/subscription_cost/cost_endpoint.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The body of the forecast request, sent as it stands.
const std::string& forecast_body();

// What the current billing period will cost in the end: `current_cost` (the actual cost so
// far) plus every row of status "Forecast". Every row must be in the `currency` held so far
// (an empty one takes the first row's). Throws std::runtime_error when the cost, date, status or
// currency column is missing, or a row's currency differs.
double read_forecast(cost_endpoint& endpoint, double current_cost, std::string& currency);

}  // namespace zentrova::monitoring_modules::microsoftazure
