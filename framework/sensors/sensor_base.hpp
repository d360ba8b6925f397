#pragma once

#include <exception>
#include <map>
#include <memory>
#include <string>

#include "framework/channels/dynamic_channel.hpp"
#include "framework/logging/log_interface.hpp"
#include "framework/messaging/persistent_data.hpp"
#include "framework/module/service_container.hpp"
#include "framework/responses/sensor_scan_result.hpp"
#include "framework/sensors/sensor_interface.hpp"
#include "framework/sensors/sensor_services.hpp"
#include "framework/settings/channel_map.hpp"
#include "framework/settings/persistent_data_storage.hpp"

namespace zentrova::monitoring_modules::framework::sensors {

// The common life of a sensor over its settings record T (constructed from the settings
// wrapper): its log, its view of the host's channels and persistent data, and a scan that
// always ends in exactly one result sent to the host. A derived sensor fills the result in
// scan(); a failure that escapes scan() becomes a fresh result with response code 3 and the
// message failure_message() chooses.
template <typename T>
class sensor_base : public sensor_interface {
public:
    ~sensor_base() override {
        log_->write(logging::debug, "#################### Cleaning Up  ####################");
    }

    void execute_check(const settings::sensor_data_wrapper& settings) final {
        refresh(settings);
        execute_sensor_scan();
    }

    void execute_sensor_scan() final {
        responses::sensor_scan_result result(sensor_id_);
        try {
            scan(result);
        } catch (...) {
            result = failed_result(std::current_exception());
        }
        send(result);
    }

protected:
    sensor_base(std::shared_ptr<module::service_container> container, int sensor_id,
                const settings::sensor_data_wrapper& settings, const std::string& display_name,
                const std::string& version)
        : container_(std::move(container)),
          sensor_id_(sensor_id),
          settings_(settings),
          log_(open_sensor_log(*container_, sensor_id, settings)),
          channels_(settings.get_channels()),
          persistent_(settings.get_persistent_data()) {
        log_->write(logging::debug, "#################### Initializing ####################");
        log_->write(logging::debug, display_name + " version is: " + version + "\n");
    }

    virtual void scan(responses::sensor_scan_result& result) = 0;

    // The message key for a failure that escaped scan(); also logs what happened.
    virtual std::string failure_message(const std::exception_ptr& failure) = 0;

    const T& settings() const { return settings_; }
    int sensor_id() const { return sensor_id_; }
    logging::log_interface& log() const { return *log_; }
    void log(const std::string& line, int level = logging::debug) const {
        log_->write(level, line);
    }
    const std::shared_ptr<module::service_container>& container() const { return container_; }
    const settings::channel_map& channels() const { return channels_; }
    const settings::persistent_data_storage& persistent_data() const { return persistent_; }

    void send(const messaging::tiko_message& message) const { send_message(*container_, message); }

    // Declares the channel unless the host (or this sensor earlier) already has it.
    bool declare_channel(int channel_id, const channels::dynamic_channel_options& options) {
        if (channels_.exists(channel_id)) {
            return false;
        }
        channels::dynamic_channel message(channel_id, options);
        message.set_sensor_id(sensor_id_);
        send(message);
        channels_.add(channel_id, options.name);
        declared_[channel_id] = options.name;
        return true;
    }

    // Keeps a value locally and asks the host to keep it, unless it holds it already.
    void store_persistent(const std::string& key, const std::string& value) {
        if (persistent_.exists(key) && persistent_.at(key) == value) {
            return;
        }
        persistent_[key] = value;
        stored_[key] = value;
        send(messaging::persistent_data(sensor_id_, key, value));
    }

private:
    // The host's latest view, plus what this sensor declared and stored since it was made, in
    // case the host has not applied those yet.
    void refresh(const settings::sensor_data_wrapper& settings) {
        channels_ = settings::channel_map(settings.get_channels());
        for (const auto& [id, name] : declared_) {
            if (!channels_.exists(id)) {
                channels_.add(id, name);
            }
        }
        persistent_ = settings::persistent_data_storage(settings.get_persistent_data());
        for (const auto& [key, value] : stored_) {
            persistent_[key] = value;
        }
    }

    responses::sensor_scan_result failed_result(const std::exception_ptr& failure) {
        responses::sensor_scan_result failed(sensor_id_);
        failed.set_response_code(responses::scan_response_codes::error);
        try {
            failed.set_response_message(failure_message(failure));
        } catch (const std::exception& e) {
            log_->write(logging::error,
                        std::string("Describing a failed check failed too: ") + e.what());
        }
        return failed;
    }

    std::shared_ptr<module::service_container> container_;
    int sensor_id_;
    // Parsed before the log opens, so that settings that fail leave no empty log file behind.
    T settings_;
    std::shared_ptr<logging::log_interface> log_;
    settings::channel_map channels_;
    settings::persistent_data_storage persistent_;
    std::map<int, std::string> declared_;
    std::map<std::string, std::string> stored_;
};

}  // namespace zentrova::monitoring_modules::framework::sensors
