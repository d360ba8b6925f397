#include "host/channel_formatter.hpp"

#include <array>
#include <iomanip>
#include <jsoncons/json.hpp>
#include <sstream>

#include "host/host_error.hpp"
#include "host/module_documents.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

std::string format_value(const jsoncons::ojson& channel) {
    if (channel["value"].is_string()) {
        return channel["value"].as<std::string>();  // NaN and infinities travel as text
    }
    if (channel["kind"].as<std::string>() == "integer") {
        return std::to_string(channel["value"].as<long long>());
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << channel["value"].as<double>();
    return text.str();
}

// 5368709120 bytes as "5.00 GiB".
std::string readable_bytes(double bytes) {
    constexpr std::array<const char*, 5> units{"bytes", "KiB", "MiB", "GiB", "TiB"};
    size_t unit = 0;
    while (bytes >= 1024.0 && unit + 1 < units.size()) {
        bytes /= 1024.0;
        ++unit;
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(unit == 0 ? 0 : 2) << bytes << " " << units[unit];
    return text.str();
}

}  // namespace

channel_formatter::channel_formatter(const module_documents& documents) : documents_(documents) {}

std::vector<channel_line> channel_formatter::lines(
    const std::string& result_message, const std::map<int, channel_definition>& channels) const {
    jsoncons::ojson result;
    try {
        result = jsoncons::ojson::parse(result_message);
    } catch (const std::exception& e) {
        throw host_error(std::string("The module sent a scan result that is not JSON: ") +
                         e.what());
    }
    std::vector<channel_line> lines;
    for (const auto& channel : result["channels"].array_range()) {
        const int id = channel["id"].as<int>();
        const auto found = channels.find(id);
        const channel_definition definition =
            found == channels.end() ? channel_definition{} : found->second;
        std::string value = format_value(channel);
        if (!definition.lookup.empty() && channel["kind"].as<std::string>() == "integer") {
            value = documents_.lookup_text(definition.lookup, channel["value"].as<long long>())
                        .append(" (")
                        .append(value)
                        .append(")");
        } else if (definition.unit == "3" && channel["value"].is_number()) {
            value = readable_bytes(channel["value"].as<double>());
        } else {
            const std::string unit =
                module_documents::unit_text(definition.unit, definition.custom_unit);
            value += unit.empty() ? "" : (unit == "%" ? "" : " ") + unit;
        }
        lines.push_back(
            {id, definition.name.empty() ? "(undeclared)" : documents_.resolve(definition.name),
             value});
    }
    return lines;
}

}  // namespace zentrova::monitoring_modules::host
