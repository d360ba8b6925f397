#pragma once

#include <memory>
#include <string>

#include "framework/module/sensor_stock.hpp"
#include "framework/responses/response_codes.hpp"

namespace zentrova::monitoring_modules::framework::module {

class service_container;

// Routes the host's calls to sensor and meta-scan kinds by the kind the settings name, keeps
// the created sensors, and turns every failure into a response code plus a runtime-log line
// that says why. Safe for calls on different sensor ids from several threads at once.
class TIKO_API sensor_dispatcher {
public:
    explicit sensor_dispatcher(std::shared_ptr<service_container> container);
    sensor_dispatcher(const sensor_dispatcher&) = delete;
    sensor_dispatcher& operator=(const sensor_dispatcher&) = delete;
    ~sensor_dispatcher();

    // Registration happens while the module starts. A name already taken keeps its first
    // creator (and false is returned).
    bool register_sensor(const std::string& name, sensor_creator creator);
    bool register_metascan(const std::string& name, metascan_creator creator);

    // A creator that constructs Sensor(container, sensor_id, settings) and keeps it.
    template <typename Sensor>
    bool register_sensor_kind(const std::string& name) {
        // The creator lives inside the stock, so it refers to it without owning it.
        sensor_stock* stock = stock_.get();
        return register_sensor(
            name, [stock](std::shared_ptr<service_container> container, int sensor_id,
                          const settings::sensor_data_wrapper& settings) {
                stock->add_sensor(
                    sensor_id, std::make_shared<Sensor>(std::move(container), sensor_id, settings));
            });
    }

    // A creator that constructs Scan(container, sensor_id, scan_id, settings) and runs it.
    template <typename Scan>
    bool register_metascan_kind(const std::string& name) {
        return register_metascan(
            name, [](std::shared_ptr<service_container> container, int sensor_id, unsigned scan_id,
                     const settings::sensor_data_wrapper& settings) {
                Scan scan(std::move(container), sensor_id, scan_id, settings);
                scan.execute();
            });
    }

    responses::sensor_create_response_code create_sensor_instance(
        int sensor_id, const settings::sensor_data_wrapper& settings);
    responses::sensor_destroy_response_code destroy_sensor_instance(int sensor_id);
    responses::check_response_code execute_check(int sensor_id,
                                                 const settings::sensor_data_wrapper& settings);
    responses::meta_scan_response_code execute_meta_scan(
        int sensor_id, unsigned scan_id, const settings::sensor_data_wrapper& settings);
    responses::sensor_scan_response_code execute_sensor_scan(int sensor_id);

    const sensor_stock& stock() const { return *stock_; }

private:
    void log(const std::string& line) const;
    std::string known_kinds() const;

    std::shared_ptr<service_container> container_;
    std::unique_ptr<sensor_stock> stock_;
};

}  // namespace zentrova::monitoring_modules::framework::module
