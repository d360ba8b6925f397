#pragma once

#include "framework/messaging/tiko_message.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

// Sends messages to the host. Every implementation may be called from any thread.
class TIKO_API message_service_interface {
public:
    message_service_interface() = default;
    message_service_interface(const message_service_interface&) = delete;
    message_service_interface& operator=(const message_service_interface&) = delete;
    virtual ~message_service_interface();

    virtual void send(const tiko_message& message) = 0;
};

}  // namespace zentrova::monitoring_modules::framework::messaging
