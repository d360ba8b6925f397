#include "framework/messaging/persistent_data.hpp"

#include "framework/messaging/impl/json_writer.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

persistent_data::persistent_data(int sensor_id, std::string key, std::string value)
    : sensor_id_(sensor_id), key_(std::move(key)), value_(std::move(value)) {}

std::string persistent_data::serialize() const {
    impl::json_writer out;
    out.begin_object();
    out.key("type").value("persistent_data");
    out.key("sensor_id").value(sensor_id_);
    out.key("key").value(key_);
    out.key("value").value(value_);
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::messaging
