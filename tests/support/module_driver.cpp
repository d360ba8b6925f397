#include "tests/support/module_driver.hpp"

#include "tests/support/text_file.hpp"

#include <gtest/gtest.h>
#ifndef _WIN32
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <jsoncons/json.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace zentrova::monitoring_modules::testing {
namespace {

std::string fresh_log_dir() {
    static std::atomic<int> counter{0};
    const auto dir =
        std::filesystem::temp_directory_path() /
        ("module-driver-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::remove_all(dir);
    return dir.string();
}

}  // namespace

bool scan_outcome::has_value(int channel_id) const {
    return std::any_of(values.begin(), values.end(),
                       [&](const channel_value& v) { return v.id == channel_id; });
}

double scan_outcome::value(int channel_id) const {
    const auto found = std::find_if(values.begin(), values.end(),
                                    [&](const channel_value& v) { return v.id == channel_id; });
    if (found == values.end()) {
        ADD_FAILURE() << "channel " << channel_id << " has no value; message: " << message;
        return 0.0;
    }
    return found->value;
}

std::string scan_outcome::text() const {
    std::ostringstream out;
    out << "code " << code << ", response " << response_code << ", message \"" << message
        << "\"\ndeclared";
    for (const int id : declared_channels) {
        out << ' ' << id;
    }
    out << "\nstored";
    for (const auto& [key, value] : stored) {
        out << ' ' << key << '=' << value;
    }
    out << '\n' << std::setprecision(15);
    for (const auto& v : values) {
        out << "value " << v.id << (v.is_float ? " float " : " integer ") << v.value << '\n';
    }
    return out.str();
}

std::string discovery_outcome::table() const {
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += i < displays.size() ? displays[i] : "(no display)";
        for (const auto& [column, value] : rows[i]) {
            text += " " + column.substr(column.rfind('.') + 1) + "=" + value;
        }
        text += "\n";
    }
    return text;
}

module_driver::module_driver(azure_world world)
    : world_(std::move(world)), log_dir_(fresh_log_dir()) {
    ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", world_.arm_endpoint.c_str(), 1);
    ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", world_.login_endpoint.c_str(), 1);
    ::setenv("MICROSOFTAZURE_CA_BUNDLE", world_.ca_bundle.c_str(), 1);
    ::setenv("MICROSOFTAZURE_LOG_DIR", log_dir_.c_str(), 1);
    module_ = std::make_unique<host::module_library>(MICROSOFTAZURE_MODULE_PATH);
    if (module_->initialize() != 0) {
        throw std::runtime_error("InitializeModule failed; see " + log_dir_);
    }
}

module_driver::~module_driver() {
    module_.reset();
    for (const char* name : {"MICROSOFTAZURE_ARM_ENDPOINT", "MICROSOFTAZURE_LOGIN_ENDPOINT",
                             "MICROSOFTAZURE_CA_BUNDLE", "MICROSOFTAZURE_LOG_DIR"}) {
        ::unsetenv(name);
    }
    std::error_code ignored;
    std::filesystem::remove_all(log_dir_, ignored);
}

settings_buffer module_driver::settings(const std::string& kind) const {
    auto buffer = settings_buffer::with_credentials(kind, world_.client_secret);
    const std::string prefix = "azure_credentials_section.credentials_group.";
    buffer.settings[prefix + "tenant_id"] = world_.tenant_id;
    buffer.settings[prefix + "client_id"] = world_.client_id;
    buffer.settings[prefix + "subscription_id"] = world_.subscription_id;
    return buffer;
}

settings_buffer module_driver::with_state(int sensor_id, settings_buffer settings) const {
    const auto found = states_.find(sensor_id);
    if (found != states_.end()) {
        for (const auto& [id, channel] : found->second.channels) {
            settings.channels[id] = channel.name;
        }
        for (const auto& [key, value] : found->second.persistent_data) {
            settings.persistent_data[key] = value;
        }
    }
    return settings;
}

scan_outcome module_driver::run(int sensor_id, const settings_buffer& settings, bool create) {
    const std::string buffer = with_state(sensor_id, settings).to_json();
    scan_outcome outcome;
    outcome.code =
        create ? module_->create_sensor(sensor_id, buffer) : module_->check(sensor_id, buffer);
    for (const auto& text : module_->take_messages()) {
        auto& state = states_[sensor_id];
        state.remember(text);
        all_messages_.push_back(text);
        outcome.messages.push_back(text);
        const auto message = jsoncons::ojson::parse(text);
        const auto type = message["type"].as<std::string>();
        if (type == "dynamic_channel") {
            outcome.declared_channels.push_back(message["channel_id"].as<int>());
        } else if (type == "persistent_data") {
            outcome.stored[message["key"].as<std::string>()] = message["value"].as<std::string>();
        } else if (type == "sensor_scan_result") {
            outcome.response_code = message["response_code"].as<int>();
            outcome.message = message["message"].as<std::string>();
            for (const auto& channel : message["channels"].array_range()) {
                channel_value v;
                v.id = channel["id"].as<int>();
                v.is_float = channel["kind"].as<std::string>() == "float";
                // Values JSON cannot hold come as "NaN", "Infinity" or "-Infinity".
                v.value = channel["value"].is_string()
                              ? std::stod(channel["value"].as<std::string>())
                              : channel["value"].as<double>();
                outcome.values.push_back(v);
            }
        }
    }
    return outcome;
}

scan_outcome module_driver::create(int sensor_id, const settings_buffer& settings) {
    return run(sensor_id, settings, true);
}

scan_outcome module_driver::check(int sensor_id, const settings_buffer& settings) {
    return run(sensor_id, settings, false);
}

scan_outcome module_driver::create_and_check(int sensor_id, const settings_buffer& settings) {
    const auto created = create(sensor_id, settings);
    EXPECT_EQ(created.code, 0) << runtime_log();
    auto checked = check(sensor_id, settings);
    checked.declared_channels.insert(checked.declared_channels.begin(),
                                     created.declared_channels.begin(),
                                     created.declared_channels.end());
    return checked;
}

discovery_outcome module_driver::discover(const settings_buffer& settings, int sensor_id,
                                          unsigned scan_id) {
    discovery_outcome outcome;
    outcome.code = module_->meta_scan(sensor_id, scan_id, settings.to_json());
    for (const auto& text : module_->take_messages()) {
        all_messages_.push_back(text);
        outcome.messages.push_back(text);
        const auto message = jsoncons::ojson::parse(text);
        const auto type = message["type"].as<std::string>();
        if (type == "metascan_progress") {
            outcome.progress.push_back(message["progress"].as<int>());
        } else if (type == "meta_scan_result") {
            outcome.response_code = message["response_code"].as<int>();
            outcome.message = message["message"].as<std::string>();
            for (const auto& entry : message["entries"].array_range()) {
                outcome.displays.push_back(entry["display"].as<std::string>());
                std::map<std::string, std::string> row;
                for (const auto& value : entry["values"].object_range()) {
                    row[value.key()] = value.value().as<std::string>();
                }
                outcome.rows.push_back(std::move(row));
            }
        }
    }
    return outcome;
}

std::string module_driver::channels_text(int sensor_id) const {
    std::string text;
    const auto found = states_.find(sensor_id);
    if (found == states_.end()) {
        return text;
    }
    for (const auto& [id, c] : found->second.channels) {
        std::string line = "channel " + std::to_string(id) + " " + c.name + " " + c.value_kind +
                           " " + c.unit + " " + c.custom_unit + " " + c.lookup;
        text += line.erase(line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

std::string module_driver::sensor_log(int sensor_id) const {
    return read_text_file(std::filesystem::path(log_dir_) /
                          ("sensor_" + std::to_string(sensor_id) + ".log"));
}

std::string module_driver::runtime_log() const {
    return read_text_file(std::filesystem::path(log_dir_) / "MicrosoftAzure.log");
}

}  // namespace zentrova::monitoring_modules::testing
