#pragma once

#include <string>

#include "framework/messaging/tiko_message.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

// Asks the host to keep one value for a sensor and hand it back with every later call.
class TIKO_API persistent_data final : public tiko_message {
public:
    persistent_data(int sensor_id, std::string key, std::string value);
    std::string serialize() const override;

private:
    int sensor_id_;
    std::string key_;
    std::string value_;
};

}  // namespace zentrova::monitoring_modules::framework::messaging
