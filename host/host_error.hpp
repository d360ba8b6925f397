#pragma once

#include <stdexcept>

namespace zentrova::monitoring_modules::host {

// A failure of the sensor host itself (a file, a module, an option), with a text for people.
class host_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace zentrova::monitoring_modules::host
