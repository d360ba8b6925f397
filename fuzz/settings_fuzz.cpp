// The host's settings buffer and every settings record read from it. Input: the buffer.
#include <memory>
#include <string>

#include "framework/settings/sensor_data_wrapper.hpp"
#include "framework/utils/exceptions.hpp"
#include "fuzz/fuzz_target.hpp"
#include "settings/discovery_settings.hpp"
#include "settings/sql_database_sensor.hpp"
#include "settings/subscription_cost_sensor.hpp"
#include "settings/virtual_machine_sensor.hpp"

namespace {

namespace framework = zentrova::monitoring_modules::framework;
namespace records = zentrova::monitoring_modules::microsoftazure::settings;
using framework::settings::sensor_data_wrapper;
using zentrova::monitoring_modules::fuzz::require;

// A record either reads or says which setting is wrong; nothing else may come out.
template <typename Record>
void read_record(const sensor_data_wrapper& settings) {
    try {
        const Record record(settings);
        static_cast<void>(record);
    } catch (const framework::utils::exceptions::exception& e) {
        require(*e.what() != '\0', "a settings failure says nothing");
    }
}

}  // namespace

MICROSOFTAZURE_FUZZ_TARGET(settings) {
    std::unique_ptr<sensor_data_wrapper> settings;
    try {
        settings = std::make_unique<sensor_data_wrapper>(data, static_cast<unsigned>(size));
    } catch (const framework::utils::exceptions::invalid_settings_buffer&) {
        return 0;
    }

    // What the adapter logs must be a buffer again, with the same content and every secret
    // masked.
    const std::string logged = settings->to_json();
    const sensor_data_wrapper again(logged.data(), static_cast<unsigned>(logged.size()));
    require(again.get_kind() == settings->get_kind(), "the logged buffer names another kind");
    require(again.get_channels() == settings->get_channels(),
            "the logged buffer has other channels");
    require(again.get_persistent_data() == settings->get_persistent_data(),
            "the logged buffer has other persistent data");
    require(again.to_json() == logged, "logging the logged buffer changes it");

    read_record<records::virtual_machine_sensor>(*settings);
    read_record<records::discovery_settings>(*settings);
    read_record<records::sql_database_sensor>(*settings);
    read_record<records::subscription_cost_sensor>(*settings);
    return 0;
}
