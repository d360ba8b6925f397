#include "host/discovery_scan.hpp"

#include <chrono>
#include <jsoncons/json.hpp>
#include <utility>

#include "host/module_library.hpp"
#include "host/progress_bar.hpp"
#include "host/settings_buffer.hpp"

namespace zentrova::monitoring_modules::host {

discovery_scan::discovery_scan(module_library& module, credentials_file credentials, bool logging)
    : module_(module), credentials_(std::move(credentials)), logging_(logging) {}

discovery_outcome discovery_scan::run(const std::string& metascan_kind, int sensor_id,
                                      std::ostream& progress) const {
    auto settings = connection_settings(logging_);
    add_credentials(settings, credentials_);
    discovery_outcome outcome;
    {
        progress_bar bar(progress);
        module_.on_message([&bar](const std::string& text) {
            const auto message = jsoncons::ojson::parse(text);
            if (message["type"].as<std::string>() == "metascan_progress") {
                bar.show(message["progress"].as<int>(), message["text"].as<std::string>());
            }
        });
        const auto started = std::chrono::steady_clock::now();
        outcome.code = module_.meta_scan(
            sensor_id, 1,
            settings_buffer(metascan_kind, settings, secure_settings(credentials_), {}));
        outcome.elapsed_ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - started)
                                 .count();
        module_.on_message(nullptr);
    }
    outcome.messages = module_.take_messages();
    for (const auto& text : outcome.messages) {
        const auto message = jsoncons::ojson::parse(text);
        if (message["type"].as<std::string>() != "meta_scan_result") {
            continue;
        }
        outcome.has_result = true;
        outcome.response_code = message["response_code"].as<int>();
        outcome.message = message["message"].as<std::string>();
        for (const auto& entry : message["entries"].array_range()) {
            discovered_row row{entry["display"].as<std::string>(), {}};
            for (const auto& value : entry["values"].object_range()) {
                row.values[value.key()] = value.value().as<std::string>();
            }
            outcome.rows.push_back(std::move(row));
        }
    }
    return outcome;
}

}  // namespace zentrova::monitoring_modules::host
