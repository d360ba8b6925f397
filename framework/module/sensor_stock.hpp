#pragma once

#include <functional>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/sensors/sensor_interface.hpp"
#include "framework/settings/sensor_data_wrapper.hpp"

namespace zentrova::monitoring_modules::framework::module {

class service_container;

using sensor_creator = std::function<void(std::shared_ptr<service_container>, int sensor_id,
                                          const settings::sensor_data_wrapper&)>;
using metascan_creator =
    std::function<void(std::shared_ptr<service_container>, int sensor_id, unsigned scan_id,
                       const settings::sensor_data_wrapper&)>;

// The live sensors by id, and the creators of each kind by name. Creators are registered
// while the module starts; sensors come and go from any host thread.
class TIKO_API sensor_stock {
public:
    sensor_stock() = default;
    sensor_stock(const sensor_stock&) = delete;
    sensor_stock& operator=(const sensor_stock&) = delete;
    ~sensor_stock();

    // False, keeping the first creator, when the name is taken.
    bool add_sensor_creator(const std::string& name, sensor_creator creator);
    bool add_metascan_creator(const std::string& name, metascan_creator creator);
    const sensor_creator* find_sensor_creator(const std::string& name) const;
    const metascan_creator* find_metascan_creator(const std::string& name) const;
    std::vector<std::string> sensor_kinds() const { return sensor_kind_order_; }
    std::vector<std::string> metascan_kinds() const { return metascan_kind_order_; }

    // Keeps the sensor under its id; a sensor already there is replaced (and released once
    // nothing else holds it).
    void add_sensor(int sensor_id, const std::shared_ptr<sensors::sensor_interface>& sensor);
    std::shared_ptr<sensors::sensor_interface> find_sensor(int sensor_id) const;
    // Takes the sensor out; the caller releases it outside the stock's lock.
    std::shared_ptr<sensors::sensor_interface> remove_sensor(int sensor_id);
    std::size_t sensor_count() const;

private:
    std::unordered_map<std::string, sensor_creator> sensor_creators_;
    std::unordered_map<std::string, metascan_creator> metascan_creators_;
    std::vector<std::string> sensor_kind_order_;
    std::vector<std::string> metascan_kind_order_;

    mutable std::shared_mutex sensors_mutex_;
    std::unordered_map<int, std::shared_ptr<sensors::sensor_interface>> sensors_;
};

}  // namespace zentrova::monitoring_modules::framework::module
