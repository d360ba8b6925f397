#pragma once

#include <string>

namespace zentrova::monitoring_modules::microsoftazure {

// The small rules every cost reading shares.

// A number in fixed notation with `decimals` digits after a point, never with thousands
// separators, whatever locale the hosting process has chosen. Six decimals give the cost log
// lines, two the amount of the most expensive service.
std::string fixed_text(double value, int decimals);

// Costs, forecasts and budgets of one check must all be in one currency. `held` is the
// currency seen so far (empty: none yet) and takes `found` when empty; a different `found`
// throws std::runtime_error "<reading>: Previous and current currency differ (<held> vs
// <found>). Cannot continue.", `reading` being "Read Costs", "Read Forecast" or "Read Budgets".
void adopt_currency(std::string& held, const std::string& found, const std::string& reading);

// A channel id kept as decimal text, read the way the standard string-to-int reads it: leading
// blanks and a sign allowed, text after the number ignored. Throws std::invalid_argument
// "invalid stoi argument" when the text does not start with a number and std::out_of_range
// "stoi argument out of range" when the number does not fit an int.
int parse_channel_id(const std::string& text);

}  // namespace zentrova::monitoring_modules::microsoftazure
