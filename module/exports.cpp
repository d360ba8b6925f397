// The nine entry points. Nothing thrown inside the module crosses them: every failure becomes
// a small integer and a line in the runtime log.
#include "module/exports.h"

#include <cstdio>
#include <memory>

#include "framework/logging/runtime_log.hpp"
#include "module/ModuleMicrosoftAzure.hpp"
#include "module/module_instance.hpp"
#include "module/module_instance_adapter.hpp"

namespace {

using zentrova::monitoring_modules::framework::module::module_instance_adapter;

constexpr int not_initialised = 3;
constexpr int exception_escaped = 2;
constexpr int called_from_callback = 5;

// The host serialises InitializeModule and CleanupModule against every other call, so the
// slot itself needs no lock.
std::unique_ptr<module_instance_adapter>
    adapter;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

void log_failure(const char* operation, const char* reason) noexcept {
    try {
        if (adapter) {
            adapter->log(std::string(operation) + " failed: " + reason);
        }
    } catch (
        ...) {  // NOLINT(bugprone-empty-catch): the log itself failed; nothing else can be told
    }
}

// A call from inside the host's message callback would wait for the lock its own message holds.
bool refused_from_callback(const char* operation) noexcept {
    if (!zentrova::monitoring_modules::framework::module::module_instance::calling_host()) {
        return false;
    }
    log_failure(operation,
                "it was called from inside the host's message callback, which the module does "
                "not allow; make the call after the callback has returned");
    return true;
}

template <typename Call>
int guarded(const char* operation, Call&& call) noexcept {
    if (!adapter) {
        return not_initialised;
    }
    if (refused_from_callback(operation)) {
        return called_from_callback;
    }
    try {
        return call(*adapter);
    } catch (const std::exception& e) {
        log_failure(operation, e.what());
    } catch (...) {
        log_failure(operation, "an unknown exception");
    }
    return exception_escaped;
}

}  // namespace

extern "C" {

MICROSOFTAZURE_API int InitializeModule(void* host_context, void* host_context_extra,
                                        host_message_callback callback) {
    if (adapter) {
        try {
            adapter->log("InitializeModule called on already initialized module.");
        } catch (...) {  // NOLINT(bugprone-empty-catch)
        }
        return 1;
    }
    try {
        adapter = std::make_unique<module_instance_adapter>(
            std::make_unique<zentrova::monitoring_modules::microsoftazure::ModuleMicrosoftAzure>(
                host_context, host_context_extra, callback));
        return 0;
    } catch (const std::exception& e) {
        const std::string reason = std::string("InitializeModule failed: ") + e.what();
        bool logged = false;
        try {
            const auto log =
                zentrova::monitoring_modules::framework::logging::runtime_log::from_environment();
            if (log->enabled()) {
                log->write(zentrova::monitoring_modules::framework::logging::error, reason);
                logged = true;
            }
        } catch (...) {  // NOLINT(bugprone-empty-catch): told on standard error below
        }
        if (!logged) {
            // No usable log (often the very reason it failed): standard error is all that is left.
            std::fprintf(stderr, "MicrosoftAzure: %s\n", reason.c_str());
        }
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
    return 1;
}

MICROSOFTAZURE_API int CleanupModule(void) {
    // Cleaning up from inside the callback would destroy the module under the message it is
    // sending; the call is refused, and answers 0 as every CleanupModule does.
    if (adapter && refused_from_callback("CleanupModule")) {
        return 0;
    }
    std::unique_ptr<module_instance_adapter> released = std::move(adapter);
    try {
        released.reset();
    } catch (
        ...) {  // NOLINT(bugprone-empty-catch): destructors do not throw; this is belt and braces
    }
    return 0;
}

MICROSOFTAZURE_API int GetApiLevel(void) {
    return 5;
}

MICROSOFTAZURE_API void GetModuleInformation(bool load_languages) {
    guarded("GetModuleInformation", [load_languages](module_instance_adapter& a) {
        a.get_module_information(load_languages);
        return 0;
    });
}

MICROSOFTAZURE_API int CreateSensorInstance(int sensor_id, const void* settings,
                                            unsigned settings_size) {
    return guarded("CreateSensorInstance", [&](module_instance_adapter& a) {
        return a.create_sensor_instance(sensor_id, settings, settings_size);
    });
}

MICROSOFTAZURE_API int DestroySensorInstance(int sensor_id) {
    return guarded("DestroySensorInstance", [&](module_instance_adapter& a) {
        return a.destroy_sensor_instance(sensor_id);
    });
}

MICROSOFTAZURE_API int ExecuteCheck(int sensor_id, const void* settings, unsigned settings_size) {
    return guarded("ExecuteCheck", [&](module_instance_adapter& a) {
        return a.execute_check(sensor_id, settings, settings_size);
    });
}

MICROSOFTAZURE_API int ExecuteMetaScan(int sensor_id, unsigned scan_id, const void* settings,
                                       unsigned settings_size) {
    return guarded("ExecuteMetaScan", [&](module_instance_adapter& a) {
        return a.execute_meta_scan(sensor_id, scan_id, settings, settings_size);
    });
}

MICROSOFTAZURE_API int ExecuteSensorScan(int sensor_id) {
    return guarded("ExecuteSensorScan",
                   [&](module_instance_adapter& a) { return a.execute_sensor_scan(sensor_id); });
}

}  // extern "C"
