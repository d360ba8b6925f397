#include "host/host_state.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <jsoncons/json.hpp>
#include <sstream>

#include "host/host_error.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

std::map<std::string, std::string> texts(const jsoncons::ojson& object) {
    std::map<std::string, std::string> values;
    for (const auto& member : object.object_range()) {
        values[member.key()] = member.value().as<std::string>();
    }
    return values;
}

jsoncons::ojson to_object(const std::map<std::string, std::string>& values) {
    jsoncons::ojson object(jsoncons::json_object_arg);
    for (const auto& [key, value] : values) {
        object.insert_or_assign(key, value);
    }
    return object;
}

}  // namespace

void sensor_state::remember(const std::string& message) {
    jsoncons::ojson decoded;
    try {
        decoded = jsoncons::ojson::parse(message);
    } catch (const std::exception& e) {
        throw host_error(std::string("The module sent a message that is not JSON: ") + e.what());
    }
    const auto type = decoded["type"].as<std::string>();
    if (type == "dynamic_channel") {
        const auto& o = decoded["options"];
        channels[decoded["channel_id"].as<int>()] = {
            o["name"].as<std::string>(), o["value_kind"].as<std::string>(),
            o["unit"].as<std::string>(), o["custom_unit"].as<std::string>(),
            o["lookup"].as<std::string>()};
    } else if (type == "persistent_data") {
        persistent_data[decoded["key"].as<std::string>()] = decoded["value"].as<std::string>();
    }
}

host_state host_state::load(const std::string& path) {
    host_state state;
    std::ifstream in(path);
    if (!in) {
        if (std::filesystem::exists(path)) {
            throw host_error("Cannot read the state file " + path + ": check its permissions");
        }
        return state;
    }
    std::stringstream text;
    text << in.rdbuf();
    try {
        const auto root = jsoncons::ojson::parse(text.str());
        for (const auto& entry : root.at("sensors").object_range()) {
            sensor_state sensor;
            sensor.kind = entry.value().at("kind").as<std::string>();
            sensor.settings = texts(entry.value().at("settings"));
            for (const auto& channel : entry.value().at("channels").object_range()) {
                const auto& o = channel.value();
                sensor.channels[std::stoi(channel.key())] = {
                    o.at("name").as<std::string>(), o.at("value_kind").as<std::string>(),
                    o.at("unit").as<std::string>(), o.at("custom_unit").as<std::string>(),
                    o.at("lookup").as<std::string>()};
            }
            sensor.persistent_data = texts(entry.value().at("persistent_data"));
            state.sensors[std::stoi(entry.key())] = std::move(sensor);
        }
        for (const auto& scan : root.at("discoveries").object_range()) {
            auto& rows = state.discoveries[scan.key()];
            for (const auto& row : scan.value().array_range()) {
                rows.push_back({row.at("display").as<std::string>(), texts(row.at("values"))});
            }
        }
    } catch (const std::exception& e) {
        throw host_error(
            "The state file " + path + " is damaged (" + e.what() +
            "). Remove it to start afresh; sensors then declare their channels again.");
    }
    return state;
}

void host_state::save(const std::string& path) const {
    jsoncons::ojson root(jsoncons::json_object_arg);
    jsoncons::ojson sensors_json(jsoncons::json_object_arg);
    for (const auto& [id, sensor] : sensors) {
        jsoncons::ojson channels(jsoncons::json_object_arg);
        for (const auto& [channel_id, c] : sensor.channels) {
            channels.insert_or_assign(std::to_string(channel_id),
                                      to_object({{"name", c.name},
                                                 {"value_kind", c.value_kind},
                                                 {"unit", c.unit},
                                                 {"custom_unit", c.custom_unit},
                                                 {"lookup", c.lookup}}));
        }
        jsoncons::ojson entry(jsoncons::json_object_arg);
        entry.insert_or_assign("kind", sensor.kind);
        entry.insert_or_assign("settings", to_object(sensor.settings));
        entry.insert_or_assign("channels", std::move(channels));
        entry.insert_or_assign("persistent_data", to_object(sensor.persistent_data));
        sensors_json.insert_or_assign(std::to_string(id), std::move(entry));
    }
    jsoncons::ojson discoveries_json(jsoncons::json_object_arg);
    for (const auto& [scan, rows] : discoveries) {
        jsoncons::ojson list(jsoncons::json_array_arg);
        for (const auto& row : rows) {
            jsoncons::ojson r(jsoncons::json_object_arg);
            r.insert_or_assign("display", row.display);
            r.insert_or_assign("values", to_object(row.values));
            list.push_back(std::move(r));
        }
        discoveries_json.insert_or_assign(scan, std::move(list));
    }
    root.insert_or_assign("sensors", std::move(sensors_json));
    root.insert_or_assign("discoveries", std::move(discoveries_json));

    const std::string temporary = path + ".tmp";
    const auto folder = std::filesystem::path(path).parent_path();
    std::error_code unmade;
    if (!folder.empty()) {
        std::filesystem::create_directories(folder, unmade);  // the user's state folder, at first
    }
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << jsoncons::pretty_print(root) << "\n";
        if (!out) {
            throw host_error("Cannot write the state file " + temporary +
                             (unmade ? ": its folder cannot be made (" + unmade.message() + ")"
                                     : std::string(": check the folder and free space")) +
                             "; pass --state FILE to keep it elsewhere");
        }
    }
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) {
        throw host_error("Cannot replace the state file " + path + ": " + error.message());
    }
}

}  // namespace zentrova::monitoring_modules::host
