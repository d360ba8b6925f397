#include "framework/module/sensor_dispatcher.hpp"

#include "framework/logging/runtime_log.hpp"
#include "framework/module/service_container.hpp"

namespace zentrova::monitoring_modules::framework::module {

using responses::check_response_code;
using responses::meta_scan_response_code;
using responses::sensor_create_response_code;
using responses::sensor_destroy_response_code;
using responses::sensor_scan_response_code;

namespace {

std::string join(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "\"" : ", \"") + name + "\"";
    }
    return text.empty() ? "none" : text;
}

}  // namespace

sensor_dispatcher::sensor_dispatcher(std::shared_ptr<service_container> container)
    : container_(std::move(container)), stock_(std::make_unique<sensor_stock>()) {}

sensor_dispatcher::~sensor_dispatcher() = default;

bool sensor_dispatcher::register_sensor(const std::string& name, sensor_creator creator) {
    return stock_->add_sensor_creator(name, std::move(creator));
}

bool sensor_dispatcher::register_metascan(const std::string& name, metascan_creator creator) {
    return stock_->add_metascan_creator(name, std::move(creator));
}

sensor_create_response_code sensor_dispatcher::create_sensor_instance(
    int sensor_id, const settings::sensor_data_wrapper& settings) {
    const std::string& kind = settings.get_kind();
    const sensor_creator* creator = stock_->find_sensor_creator(kind);
    if (creator == nullptr) {
        const bool is_metascan = stock_->find_metascan_creator(kind) != nullptr;
        log("Cannot create sensor " + std::to_string(sensor_id) + ": " +
            (kind.empty() ? std::string("the settings name no \"kind\"")
                          : "\"" + kind + "\" is " +
                                (is_metascan ? "a meta scan, not a sensor" : "not a known kind")) +
            ". Sensor kinds: " + known_kinds());
        return sensor_create_response_code::unknown_kind;
    }
    try {
        (*creator)(container_, sensor_id, settings);
    } catch (const std::exception& e) {
        log("Creating sensor " + std::to_string(sensor_id) + " of kind \"" + kind +
            "\" failed: " + e.what());
        return sensor_create_response_code::creation_failed;
    }
    return sensor_create_response_code::success;
}

sensor_destroy_response_code sensor_dispatcher::destroy_sensor_instance(int sensor_id) {
    auto sensor = stock_->remove_sensor(sensor_id);
    if (!sensor) {
        log("Cannot destroy sensor " + std::to_string(sensor_id) + ": no sensor has this id");
        return sensor_destroy_response_code::sensor_not_found;
    }
    sensor.reset();  // released here, outside the stock's lock
    return sensor_destroy_response_code::success;
}

check_response_code sensor_dispatcher::execute_check(
    int sensor_id, const settings::sensor_data_wrapper& settings) {
    const auto sensor = stock_->find_sensor(sensor_id);
    if (!sensor) {
        log("Cannot check sensor " + std::to_string(sensor_id) +
            ": no sensor has this id; create it with CreateSensorInstance first");
        return check_response_code::sensor_not_found;
    }
    try {
        sensor->execute_check(settings);
    } catch (const std::exception& e) {
        log("Checking sensor " + std::to_string(sensor_id) + " failed: " + e.what());
        return check_response_code::check_failed;
    }
    return check_response_code::success;
}

meta_scan_response_code sensor_dispatcher::execute_meta_scan(
    int sensor_id, unsigned scan_id, const settings::sensor_data_wrapper& settings) {
    const std::string& kind = settings.get_kind();
    const metascan_creator* creator = stock_->find_metascan_creator(kind);
    if (creator == nullptr) {
        const bool is_sensor = stock_->find_sensor_creator(kind) != nullptr;
        log("Cannot run meta scan " + std::to_string(scan_id) + " for sensor " +
            std::to_string(sensor_id) + ": " +
            (kind.empty() ? std::string("the settings name no \"kind\"")
                          : "\"" + kind + "\" is " +
                                (is_sensor ? "a sensor, not a meta scan" : "not a known kind")) +
            ". Meta-scan kinds: " + join(stock_->metascan_kinds()));
        return meta_scan_response_code::unknown_kind;
    }
    try {
        (*creator)(container_, sensor_id, scan_id, settings);
    } catch (const std::exception& e) {
        log("Meta scan " + std::to_string(scan_id) + " (\"" + kind + "\") for sensor " +
            std::to_string(sensor_id) + " failed: " + e.what());
        return meta_scan_response_code::scan_failed;
    }
    return meta_scan_response_code::success;
}

sensor_scan_response_code sensor_dispatcher::execute_sensor_scan(int sensor_id) {
    const auto sensor = stock_->find_sensor(sensor_id);
    if (!sensor) {
        log("Cannot scan sensor " + std::to_string(sensor_id) +
            ": no sensor has this id; create it with CreateSensorInstance first");
        return sensor_scan_response_code::sensor_not_found;
    }
    try {
        sensor->execute_sensor_scan();
    } catch (const std::exception& e) {
        log("Scanning sensor " + std::to_string(sensor_id) + " failed: " + e.what());
        return sensor_scan_response_code::scan_failed;
    }
    return sensor_scan_response_code::success;
}

void sensor_dispatcher::log(const std::string& line) const {
    if (const auto runtime = container_->find<logging::runtime_log>()) {
        runtime->write(logging::error, line);
    }
}

std::string sensor_dispatcher::known_kinds() const {
    return join(stock_->sensor_kinds());
}

}  // namespace zentrova::monitoring_modules::framework::module
