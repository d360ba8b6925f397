#include "microsoftazure/subscription_cost/cost_rules.hpp"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace zentrova::monitoring_modules::microsoftazure {

std::string fixed_text(double value, int decimals) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.setf(std::ios::fixed, std::ios::floatfield);
    text.precision(decimals);
    text << value;
    return text.str();
}

void adopt_currency(std::string& held, const std::string& found, const std::string& reading) {
    if (held.empty()) {
        held = found;
        return;
    }
    if (held != found) {
        throw std::runtime_error(reading + ": Previous and current currency differ (" + held +
                                 " vs " + found + "). Cannot continue.");
    }
}

int parse_channel_id(const std::string& text) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long parsed = std::strtol(begin, &end, 10);
    if (end == begin) {
        throw std::invalid_argument("invalid stoi argument");
    }
    if (errno == ERANGE || parsed < INT_MIN || parsed > INT_MAX) {
        throw std::out_of_range("stoi argument out of range");
    }
    return static_cast<int>(parsed);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
