#pragma once

#include <string>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

// Anything the module tells the host. Each message is one JSON object whose first member,
// "type", names its kind (docs/host-protocol.md lists them all).
class TIKO_API tiko_message {
public:
    tiko_message() = default;
    tiko_message(const tiko_message&) = default;
    tiko_message& operator=(const tiko_message&) = default;
    virtual ~tiko_message();

    // The bytes handed to the host callback.
    virtual std::string serialize() const = 0;
};

}  // namespace zentrova::monitoring_modules::framework::messaging
