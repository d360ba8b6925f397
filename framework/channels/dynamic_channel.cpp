#include "framework/channels/dynamic_channel.hpp"

#include "framework/messaging/impl/json_writer.hpp"

namespace zentrova::monitoring_modules::framework::channels {

dynamic_channel::dynamic_channel(int channel_id, dynamic_channel_options options)
    : channel_id_(channel_id), options_(std::move(options)) {}

std::string dynamic_channel::serialize() const {
    messaging::impl::json_writer out;
    out.begin_object();
    out.key("type").value("dynamic_channel");
    out.key("sensor_id").value(sensor_id_);
    out.key("channel_id").value(channel_id_);
    out.key("options").begin_object();
    out.key("name").value(options_.name);
    out.key("value_kind");
    if (options_.kind) {
        out.value(static_cast<int>(*options_.kind));
    } else {
        out.value("");
    }
    out.key("unit");
    if (options_.unit) {
        out.value(static_cast<int>(*options_.unit));
    } else {
        out.value("");
    }
    out.key("custom_unit").value(options_.custom_unit);
    out.key("lookup").value(options_.lookup);
    out.end_object();
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::channels
