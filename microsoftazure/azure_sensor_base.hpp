#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "framework/sensors/sensor_base.hpp"
#include "microsoftazure/azure_client.hpp"
#include "microsoftazure/failure_ladder.hpp"
#include "microsoftazure/module_version.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// What a failed check sends of the channel values its kind read before the failure.
enum class partial_values { keep, discard };

// The life every Azure sensor shares over its settings record T: the REST client made on first
// use and kept for the sensor's life, the kind's reading, and one ending for every check. A
// failure that escapes read() marks the result failed (response code 3) with the message its
// kind's own rung or the shared failure ladder picks; every check ends with the line
// "Response Message is: " and the message.
template <typename T>
class azure_sensor_base : public framework::sensors::sensor_base<T> {
protected:
    using scan_result = framework::responses::sensor_scan_result;

    azure_sensor_base(std::shared_ptr<framework::module::service_container> container,
                      int sensor_id, const framework::settings::sensor_data_wrapper& settings,
                      const std::string& display_name, partial_values on_failure)
        : framework::sensors::sensor_base<T>(std::move(container), sensor_id, settings,
                                             display_name, module_version),
          on_failure_(on_failure) {}

    // Reads the kind's figures into the result; throws on failure.
    virtual void read(scan_result& result) = 0;

    // The kind's client. By default the module's Resource Manager root and the sensor's
    // time-out; a kind with another root or time-out makes its own.
    virtual std::unique_ptr<azure_client> make_client() {
        return std::make_unique<azure_client>(
            *this->container(), this->settings().credentials,
            static_cast<std::uint32_t>(this->settings().connection.timeout));
    }

    // The rung above the shared ladder, for failures only this kind can name: the message (after
    // logging what happened), or "" to leave the failure to the shared ladder.
    virtual std::string kind_failure_message(const std::exception_ptr& /*failure*/) { return {}; }

    azure_client& client() {
        if (!client_) {
            client_ = make_client();
        }
        return *client_;
    }

private:
    void scan(scan_result& result) final {
        try {
            read(result);
        } catch (...) {
            if (on_failure_ == partial_values::discard) {
                result = scan_result(this->sensor_id());
            }
            result.set_response_message(failure_message(std::current_exception()));
            result.set_response_code(framework::responses::scan_response_codes::error);
        }
        this->log("Response Message is: " + result.response_message());
    }

    std::string failure_message(const std::exception_ptr& failure) final {
        std::string message = kind_failure_message(failure);
        return message.empty() ? sensor_failure_message(failure, this->log()) : message;
    }

    partial_values on_failure_;
    std::unique_ptr<azure_client> client_;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
