#include "framework/messaging/metascan_progress.hpp"

#include "framework/messaging/impl/json_writer.hpp"

namespace zentrova::monitoring_modules::framework::messaging {

metascan_progress::metascan_progress(int sensor_id, unsigned scan_id, int progress,
                                     std::string text)
    : sensor_id_(sensor_id), scan_id_(scan_id), progress_(progress), text_(std::move(text)) {}

std::string metascan_progress::serialize() const {
    impl::json_writer out;
    out.begin_object();
    out.key("type").value("metascan_progress");
    out.key("sensor_id").value(sensor_id_);
    out.key("scan_id").value(scan_id_);
    out.key("progress").value(progress_);
    out.key("text").value(text_);
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::messaging
