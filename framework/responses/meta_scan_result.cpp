#include "framework/responses/meta_scan_result.hpp"

#include <map>

#include "framework/messaging/impl/json_writer.hpp"

namespace zentrova::monitoring_modules::framework::responses {

std::string meta_scan_result::serialize() const {
    messaging::impl::json_writer out;
    out.begin_object();
    out.key("type").value("meta_scan_result");
    out.key("sensor_id").value(sensor_id_);
    out.key("scan_id").value(scan_id_);
    out.key("response_code").value(static_cast<int>(code_));
    out.key("message").value(message_);
    out.key("entries").begin_array();
    for (const auto& e : entries_) {
        out.begin_object();
        out.key("display").value(e.display);
        // Sorted by key so that the same row always reads the same.
        out.key("values").begin_object();
        for (const auto& [key, value] :
             std::map<std::string, std::string>(e.values.begin(), e.values.end())) {
            out.key(key).value(value);
        }
        out.end_object();
        out.end_object();
    }
    out.end_array();
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::responses
