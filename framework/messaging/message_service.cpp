#include "framework/messaging/message_service.hpp"

#include <limits>

#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

tiko_message::~tiko_message() = default;
message_service_interface::~message_service_interface() = default;

message_service::message_service(std::function<void(void*, unsigned)> send_function)
    : send_function_(std::move(send_function)) {
    if (!send_function_) {
        throw utils::exceptions::exception(
            "message_service: the sending function must not be empty");
    }
}

void message_service::send(const tiko_message& message) {
    std::string bytes = message.serialize();
    if (bytes.size() > std::numeric_limits<unsigned>::max()) {
        throw utils::exceptions::exception("A message of " + std::to_string(bytes.size()) +
                                           " bytes is too large for the host callback");
    }
    send_function_(bytes.data(), static_cast<unsigned>(bytes.size()));
}

}  // namespace zentrova::monitoring_modules::framework::messaging
