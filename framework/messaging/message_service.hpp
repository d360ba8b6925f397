#pragma once

#include <functional>

#include "framework/messaging/message_service_interface.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

// Serialises a message and hands its bytes to the sending function (the host callback).
// Holds no state of its own; the sending function decides how calls are ordered.
class TIKO_API message_service final : public message_service_interface {
public:
    explicit message_service(std::function<void(void*, unsigned)> send_function);

    void send(const tiko_message& message) override;

private:
    std::function<void(void*, unsigned)> send_function_;
};

}  // namespace zentrova::monitoring_modules::framework::messaging
