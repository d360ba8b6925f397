#pragma once

#include <optional>
#include <string>

#include "framework/messaging/tiko_message.hpp"

namespace zentrova::monitoring_modules::framework::channels {

// How the host stores a channel's values (numbers of the host's enumeration).
enum class value_kind : int { integer = 1, floating_point = 3 };

// The unit the host shows with a channel's values (numbers of the host's enumeration).
enum class unit : int { none = 0, bytes_disk = 3, percent = 5, custom = 8, count = 10 };

// What the host needs to create a channel at run time. Options left unset go out as "".
struct dynamic_channel_options {
    std::string name;  // a display-text key, or a key with arguments: "budget_used[Monthly]"
    std::optional<value_kind> kind;
    std::optional<channels::unit> unit;
    std::string custom_unit;  // shown when unit is custom (a currency code, say)
    std::string lookup;       // a lookup of the module definition for integer states
};

// Declares a channel to the host before values are reported under its id.
class TIKO_API dynamic_channel final : public messaging::tiko_message {
public:
    dynamic_channel(int channel_id, dynamic_channel_options options);

    // The framework fills in the declaring sensor before the message leaves.
    void set_sensor_id(int sensor_id) { sensor_id_ = sensor_id; }

    int channel_id() const { return channel_id_; }
    const dynamic_channel_options& options() const { return options_; }
    std::string serialize() const override;

private:
    int sensor_id_ = 0;
    int channel_id_;
    dynamic_channel_options options_;
};

}  // namespace zentrova::monitoring_modules::framework::channels
