#pragma once

#include <memory>
#include <string>

#include "module/module_instance.hpp"

namespace zentrova::monitoring_modules::framework::module {

// Stands between the exports and the module instance: writes the begin and end lines of every
// operation to the runtime log, builds the settings wrapper over the host's buffer and
// forwards to the dispatcher.
class module_instance_adapter {
public:
    // Takes ownership; registers the runtime log, then the sensor log. Throws
    // std::invalid_argument for an empty instance.
    explicit module_instance_adapter(std::unique_ptr<module_instance> instance);
    module_instance_adapter(const module_instance_adapter&) = delete;
    module_instance_adapter& operator=(const module_instance_adapter&) = delete;
    ~module_instance_adapter();

    int create_sensor_instance(int sensor_id, const void* settings, unsigned settings_size);
    int destroy_sensor_instance(int sensor_id);
    int execute_check(int sensor_id, const void* settings, unsigned settings_size);
    int execute_meta_scan(int sensor_id, unsigned scan_id, const void* settings,
                          unsigned settings_size);
    int execute_sensor_scan(int sensor_id);
    void get_module_information(bool load_languages);

    // One line at level 7 in the runtime log.
    void log(const std::string& message) const;

private:
    template <typename Operation>
    int forward(const char* operation, const void* settings, unsigned settings_size,
                Operation&& call);

    std::unique_ptr<module_instance> instance_;
};

}  // namespace zentrova::monitoring_modules::framework::module
