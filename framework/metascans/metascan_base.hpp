#pragma once

#include <exception>
#include <memory>
#include <string>

#include "framework/logging/log_interface.hpp"
#include "framework/messaging/metascan_progress.hpp"
#include "framework/module/service_container.hpp"
#include "framework/responses/meta_scan_result.hpp"
#include "framework/sensors/sensor_services.hpp"

namespace zentrova::monitoring_modules::framework::metascans {

// One discovery run over its settings record T: the derived scan adds rows to the result in
// scan() and may report progress; execute() sends exactly one result. A failure that escapes
// scan() discards the rows found so far and sends response code 5 with the message that
// failure_message() chooses.
template <typename T>
class metascan_base {
public:
    metascan_base(const metascan_base&) = delete;
    metascan_base& operator=(const metascan_base&) = delete;
    virtual ~metascan_base() = default;

    void execute() {
        responses::meta_scan_result result(sensor_id_, scan_id_);
        try {
            scan(result);
        } catch (...) {
            result = responses::meta_scan_result(sensor_id_, scan_id_);
            result.response(responses::scan_response_codes::meta_scan_error);
            try {
                result.message(failure_message(std::current_exception()));
            } catch (const std::exception& e) {
                log_->write(logging::error,
                            std::string("Describing a failed meta scan failed too: ") + e.what());
            }
        }
        sensors::send_message(*container_, result);
    }

protected:
    metascan_base(std::shared_ptr<module::service_container> container, int sensor_id,
                  unsigned scan_id, const settings::sensor_data_wrapper& settings)
        : container_(std::move(container)),
          sensor_id_(sensor_id),
          scan_id_(scan_id),
          settings_(settings),
          log_(sensors::open_sensor_log(*container_, sensor_id, settings)) {}

    virtual void scan(responses::meta_scan_result& result) = 0;

    // The message for a failure that escaped scan(); also logs what happened.
    virtual std::string failure_message(const std::exception_ptr& failure) = 0;

    void progress(int value, const std::string& text) const {
        sensors::send_message(*container_,
                              messaging::metascan_progress(sensor_id_, scan_id_, value, text));
    }

    const T& settings() const { return settings_; }
    int sensor_id() const { return sensor_id_; }
    unsigned scan_id() const { return scan_id_; }
    logging::log_interface& log() const { return *log_; }
    void log(const std::string& line, int level = logging::debug) const {
        log_->write(level, line);
    }
    const std::shared_ptr<module::service_container>& container() const { return container_; }

private:
    std::shared_ptr<module::service_container> container_;
    int sensor_id_;
    unsigned scan_id_;
    T settings_;  // parsed before the log opens, as in sensor_base
    std::shared_ptr<logging::log_interface> log_;
};

}  // namespace zentrova::monitoring_modules::framework::metascans
