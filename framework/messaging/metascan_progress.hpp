#pragma once

#include <string>

#include "framework/messaging/tiko_message.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

// How far a running meta scan has come (0 to 100) and what it is doing.
class TIKO_API metascan_progress final : public tiko_message {
public:
    metascan_progress(int sensor_id, unsigned scan_id, int progress, std::string text);
    std::string serialize() const override;

private:
    int sensor_id_;
    unsigned scan_id_;
    int progress_;
    std::string text_;
};

}  // namespace zentrova::monitoring_modules::framework::messaging
