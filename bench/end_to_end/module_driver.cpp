#include "bench/end_to_end/module_driver.hpp"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace zentrova::monitoring_modules::bench {
namespace {

// What one host thread received.
struct thread_messages {
    bool keep = false;
    std::vector<std::string> kept;
    std::uint64_t failed = 0;
};

thread_local thread_messages this_thread_messages;

}  // namespace

module_driver::module_driver(const std::string& module_path) : library_(module_path) {}

module_driver::~module_driver() {
    if (initialized_) {
        cleanup();
    }
}

void module_driver::initialize() {
    if (initialized_) {
        return;
    }
    const int code = library_.exports().initialize_module(this, nullptr, &module_driver::receive);
    if (code != 0) {
        throw std::runtime_error("InitializeModule answered " + std::to_string(code) +
                                 "; check the MICROSOFTAZURE_* environment");
    }
    initialized_ = true;
}

void module_driver::cleanup() {
    library_.exports().cleanup_module();
    initialized_ = false;
}

int module_driver::create(int sensor_id, const std::string& settings) {
    return library_.exports().create_sensor_instance(sensor_id, settings.data(),
                                                     static_cast<unsigned>(settings.size()));
}

int module_driver::destroy(int sensor_id) {
    return library_.exports().destroy_sensor_instance(sensor_id);
}

int module_driver::check(int sensor_id, const std::string& settings) {
    return library_.exports().execute_check(sensor_id, settings.data(),
                                            static_cast<unsigned>(settings.size()));
}

int module_driver::meta_scan(int sensor_id, unsigned scan_id, const std::string& settings) {
    return library_.exports().execute_meta_scan(sensor_id, scan_id, settings.data(),
                                                static_cast<unsigned>(settings.size()));
}

void module_driver::keep_messages(bool keep) {
    this_thread_messages.keep = keep;
}

std::vector<std::string> module_driver::take_kept_messages() {
    return std::exchange(this_thread_messages.kept, {});
}

std::uint64_t module_driver::failed_results() {
    return this_thread_messages.failed;
}

void module_driver::receive(void* /*host_context*/, void* /*host_context_extra*/, void* data,
                            unsigned size) {
    const std::string_view message(static_cast<const char*>(data), size);
    auto& messages = this_thread_messages;
    if (message.find(R"("type":"sensor_scan_result")") != std::string_view::npos &&
        message.find(R"("response_code":0,)") == std::string_view::npos) {
        ++messages.failed;
    }
    if (messages.keep) {
        messages.kept.emplace_back(message);
    }
}

}  // namespace zentrova::monitoring_modules::bench
