#pragma once

#include "framework/settings/sensor_data_wrapper.hpp"

namespace zentrova::monitoring_modules::framework::sensors {

// A sensor instance kept by the dispatcher between calls. The host never runs two calls for
// the same sensor at once, so implementations hold no locks; different sensors run on
// different threads at the same time and share nothing mutable.
class TIKO_API sensor_interface {
public:
    sensor_interface() = default;
    sensor_interface(const sensor_interface&) = delete;
    sensor_interface& operator=(const sensor_interface&) = delete;
    virtual ~sensor_interface();

    // Takes the host's current channel map and persistent data, then scans.
    virtual void execute_check(const settings::sensor_data_wrapper& settings) = 0;
    // Scans with what the sensor already knows.
    virtual void execute_sensor_scan() = 0;
};

}  // namespace zentrova::monitoring_modules::framework::sensors
