#include "host/module_library.hpp"

#include <utility>

namespace zentrova::monitoring_modules::host {
namespace {

// Where messages sent on this thread go while a capturing call runs.
struct message_sink {
    const module_library* library = nullptr;
    std::vector<std::string>* messages = nullptr;
};
thread_local message_sink current_sink;

template <typename Function>
Function entry(const shared_library& library, const char* name) {
    return reinterpret_cast<Function>(
        library.symbol(name));  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

}  // namespace

module_library::module_library(const std::string& path)
    : library_(path),
      exports_{entry<InitializeModule_fn>(library_, "InitializeModule"),
               entry<CleanupModule_fn>(library_, "CleanupModule"),
               entry<GetApiLevel_fn>(library_, "GetApiLevel"),
               entry<GetModuleInformation_fn>(library_, "GetModuleInformation"),
               entry<CreateSensorInstance_fn>(library_, "CreateSensorInstance"),
               entry<DestroySensorInstance_fn>(library_, "DestroySensorInstance"),
               entry<ExecuteCheck_fn>(library_, "ExecuteCheck"),
               entry<ExecuteMetaScan_fn>(library_, "ExecuteMetaScan"),
               entry<ExecuteSensorScan_fn>(library_, "ExecuteSensorScan")} {}

module_library::~module_library() {
    if (initialized_) {
        exports_.cleanup_module();
    }
}

int module_library::initialize() {
    const int code = exports_.initialize_module(this, nullptr, &module_library::receive);
    initialized_ = initialized_ || code == 0;
    return code;
}

int module_library::cleanup() {
    initialized_ = false;
    return exports_.cleanup_module();
}

std::string module_library::answer_meaning(int code) {
    switch (code) {
        case 1:
            return "the module could not carry it out";
        case 2:
            return "an unexpected failure escaped the module";
        case 3:
            return "the module is not initialised";
        case 4:
            return "unknown kind or sensor id";
        default:
            return "code " + std::to_string(code);
    }
}

int module_library::api_level() const {
    return exports_.get_api_level();
}

void module_library::module_information(bool load_languages) {
    exports_.get_module_information(load_languages);
}

int module_library::create_sensor(int sensor_id, const std::string& settings) {
    return exports_.create_sensor_instance(sensor_id, settings.data(),
                                           static_cast<unsigned>(settings.size()));
}

int module_library::destroy_sensor(int sensor_id) {
    return exports_.destroy_sensor_instance(sensor_id);
}

int module_library::check(int sensor_id, const std::string& settings) {
    return exports_.execute_check(sensor_id, settings.data(),
                                  static_cast<unsigned>(settings.size()));
}

template <typename Call>
int module_library::capturing(std::vector<std::string>& messages, Call call) {
    struct restore {
        message_sink previous;
        ~restore() { current_sink = previous; }
    } const restore_sink{std::exchange(current_sink, {this, &messages})};
    return call();
}

int module_library::create_sensor(int sensor_id, const std::string& settings,
                                  std::vector<std::string>& messages) {
    return capturing(messages, [&] { return create_sensor(sensor_id, settings); });
}

int module_library::check(int sensor_id, const std::string& settings,
                          std::vector<std::string>& messages) {
    return capturing(messages, [&] { return check(sensor_id, settings); });
}

int module_library::meta_scan(int sensor_id, unsigned scan_id, const std::string& settings) {
    return exports_.execute_meta_scan(sensor_id, scan_id, settings.data(),
                                      static_cast<unsigned>(settings.size()));
}

int module_library::sensor_scan(int sensor_id) {
    return exports_.execute_sensor_scan(sensor_id);
}

std::vector<std::string> module_library::take_messages() {
    const std::lock_guard<std::mutex> lock(messages_mutex_);
    return std::exchange(messages_, {});
}

void module_library::on_message(std::function<void(const std::string&)> listener) {
    const std::lock_guard<std::mutex> lock(messages_mutex_);
    listener_ = std::move(listener);
}

void module_library::receive(void* host_context, void* /*host_context_extra*/, void* data,
                             unsigned size) {
    auto* self = static_cast<module_library*>(host_context);
    if (current_sink.library == self) {
        current_sink.messages->emplace_back(static_cast<const char*>(data), size);
        return;
    }
    const std::lock_guard<std::mutex> lock(self->messages_mutex_);
    self->messages_.emplace_back(static_cast<const char*>(data), size);
    if (self->listener_) {
        self->listener_(self->messages_.back());
    }
}

}  // namespace zentrova::monitoring_modules::host
