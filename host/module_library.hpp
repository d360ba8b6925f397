#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/shared_library.hpp"
#include "module/exports.h"

namespace zentrova::monitoring_modules::host {

// A sensor module as a probe drives it: loaded by path, called through its nine entry points
// with settings buffers, answering through the callback. Collects every message the module
// sends, from any thread, in the order they arrive.
class module_library {
public:
    explicit module_library(const std::string& path);
    module_library(const module_library&) = delete;
    module_library& operator=(const module_library&) = delete;
    ~module_library();  // cleans up the module if it is still initialised

    int initialize();
    int cleanup();
    int api_level() const;
    void module_information(bool load_languages);
    int create_sensor(int sensor_id, const std::string& settings);
    int destroy_sensor(int sensor_id);
    int check(int sensor_id, const std::string& settings);
    // The same calls for hosts that call from several threads at once: the messages the call
    // causes (the module sends them on the calling thread) go to `messages` instead of the
    // shared list.
    int create_sensor(int sensor_id, const std::string& settings,
                      std::vector<std::string>& messages);
    int check(int sensor_id, const std::string& settings, std::vector<std::string>& messages);
    int meta_scan(int sensor_id, unsigned scan_id, const std::string& settings);
    int sensor_scan(int sensor_id);

    // What an export's answer means, for people ("the module is not initialised").
    static std::string answer_meaning(int code);

    // The messages received so far (each one JSON text), leaving none behind.
    std::vector<std::string> take_messages();

    // Called with each message as it arrives (on the module's calling thread), for hosts that
    // show progress while a call runs.
    void on_message(std::function<void(const std::string&)> listener);

    // Raw access, for hosts that want to pass odd buffers (tests of bad input).
    struct entry_points {
        InitializeModule_fn initialize_module;
        CleanupModule_fn cleanup_module;
        GetApiLevel_fn get_api_level;
        GetModuleInformation_fn get_module_information;
        CreateSensorInstance_fn create_sensor_instance;
        DestroySensorInstance_fn destroy_sensor_instance;
        ExecuteCheck_fn execute_check;
        ExecuteMetaScan_fn execute_meta_scan;
        ExecuteSensorScan_fn execute_sensor_scan;
    };
    const entry_points& exports() const { return exports_; }

private:
    template <typename Call>
    int capturing(std::vector<std::string>& messages, Call call);
    static void receive(void* host_context, void* host_context_extra, void* data, unsigned size);

    shared_library library_;
    entry_points exports_;
    bool initialized_ = false;
    std::mutex messages_mutex_;
    std::vector<std::string> messages_;
    std::function<void(const std::string&)> listener_;
};

}  // namespace zentrova::monitoring_modules::host
