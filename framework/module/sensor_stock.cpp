#include "framework/module/sensor_stock.hpp"

#include <mutex>

namespace zentrova::monitoring_modules::framework::module {

sensor_stock::~sensor_stock() = default;

bool sensor_stock::add_sensor_creator(const std::string& name, sensor_creator creator) {
    if (!sensor_creators_.emplace(name, std::move(creator)).second) {
        return false;
    }
    sensor_kind_order_.push_back(name);
    return true;
}

bool sensor_stock::add_metascan_creator(const std::string& name, metascan_creator creator) {
    if (!metascan_creators_.emplace(name, std::move(creator)).second) {
        return false;
    }
    metascan_kind_order_.push_back(name);
    return true;
}

const sensor_creator* sensor_stock::find_sensor_creator(const std::string& name) const {
    const auto found = sensor_creators_.find(name);
    return found == sensor_creators_.end() ? nullptr : &found->second;
}

const metascan_creator* sensor_stock::find_metascan_creator(const std::string& name) const {
    const auto found = metascan_creators_.find(name);
    return found == metascan_creators_.end() ? nullptr : &found->second;
}

void sensor_stock::add_sensor(int sensor_id,
                              const std::shared_ptr<sensors::sensor_interface>& sensor) {
    std::shared_ptr<sensors::sensor_interface> replaced;
    {
        const std::unique_lock<std::shared_mutex> lock(sensors_mutex_);
        auto& slot = sensors_[sensor_id];
        replaced.swap(slot);
        slot = sensor;
    }
}

std::shared_ptr<sensors::sensor_interface> sensor_stock::find_sensor(int sensor_id) const {
    const std::shared_lock<std::shared_mutex> lock(sensors_mutex_);
    const auto found = sensors_.find(sensor_id);
    return found == sensors_.end() ? nullptr : found->second;
}

std::shared_ptr<sensors::sensor_interface> sensor_stock::remove_sensor(int sensor_id) {
    const std::unique_lock<std::shared_mutex> lock(sensors_mutex_);
    const auto found = sensors_.find(sensor_id);
    if (found == sensors_.end()) {
        return nullptr;
    }
    auto sensor = std::move(found->second);
    sensors_.erase(found);
    return sensor;
}

std::size_t sensor_stock::sensor_count() const {
    const std::shared_lock<std::shared_mutex> lock(sensors_mutex_);
    return sensors_.size();
}

}  // namespace zentrova::monitoring_modules::framework::module
