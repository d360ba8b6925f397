#include "framework/responses/sensor_scan_result.hpp"

#include "framework/messaging/impl/json_writer.hpp"

namespace zentrova::monitoring_modules::framework::responses {

std::string sensor_scan_result::serialize() const {
    messaging::impl::json_writer out;
    out.begin_object();
    out.key("type").value("sensor_scan_result");
    out.key("sensor_id").value(sensor_id_);
    out.key("response_code").value(static_cast<int>(code_));
    out.key("message").value(message_);
    out.key("channels").begin_array();
    for (const auto& v : values_) {
        out.begin_object();
        out.key("id").value(v.channel_id);
        if (v.is_float) {
            out.key("kind").value("float").key("value").value(v.floating);
        } else {
            out.key("kind").value("integer").key("value").value(v.integer);
        }
        out.end_object();
    }
    out.end_array();
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::responses
