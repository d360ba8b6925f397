#include "host/module_documents.hpp"

#include <jsoncons/json.hpp>

#include "host/host_error.hpp"

namespace zentrova::monitoring_modules::host {

struct module_documents::documents {
    jsoncons::ojson definition;
    jsoncons::ojson translation;  // key -> {"Display": text}
};

namespace {

// Splits "key[a,b,c]" into the key and its arguments. A text needs as many arguments as it
// has "%s"; arguments are joined with "," without escaping, so extra commas belong to the
// first argument (a service or budget name may hold commas, amounts and currencies do not).
std::vector<std::string> split_arguments(const std::string& joined, size_t wanted) {
    std::vector<std::string> parts;
    std::string rest = joined;
    while (parts.size() + 1 < wanted) {
        const auto comma = rest.rfind(',');
        if (comma == std::string::npos) {
            break;
        }
        parts.insert(parts.begin(), rest.substr(comma + 1));
        rest.erase(comma);
    }
    parts.insert(parts.begin(), rest);
    return parts;
}

std::string fill(const std::string& text, const std::string& joined_arguments) {
    size_t placeholders = 0;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '%') {
            placeholders += text[i + 1] == 's' ? 1 : 0;
            ++i;
        }
    }
    const auto arguments = split_arguments(joined_arguments, placeholders);
    std::string out;
    size_t next = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') {
            out += '%';
            ++i;
        } else if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == 's') {
            out += next < arguments.size() ? arguments[next] : "";
            ++next;
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

}  // namespace

module_documents::module_documents(const std::string& module_information_message)
    : docs_(std::make_unique<documents>()) {
    try {
        const auto message = jsoncons::ojson::parse(module_information_message);
        if (message.at("type").as<std::string>() != "module_information") {
            throw host_error("expected the module_information message, got " +
                             message.at("type").as<std::string>());
        }
        docs_->definition = message.at("definition");
        if (!message.at("languages").empty()) {
            docs_->translation =
                message.at("languages")[0].at("Text").at("English").at("Translation");
        }
    } catch (const host_error&) {
        throw;
    } catch (const std::exception& e) {
        throw host_error(std::string("The module's information message cannot be read: ") +
                         e.what());
    }
}

module_documents::~module_documents() = default;

std::vector<std::string> module_documents::sensor_kinds() const {
    std::vector<std::string> kinds;
    for (const auto& sensor : docs_->definition["Sensors"].object_range()) {
        kinds.emplace_back(sensor.key());
    }
    return kinds;
}

std::vector<std::string> module_documents::metascan_kinds() const {
    std::vector<std::string> kinds;
    for (const auto& scan : docs_->definition["MetaScans"].object_range()) {
        kinds.emplace_back(scan.key());
    }
    return kinds;
}

std::string module_documents::display_name(const std::string& kind) const {
    const auto& sensors = docs_->definition["Sensors"];
    if (sensors.contains(kind)) {
        return sensors[kind]["Display"].as<std::string>();
    }
    return kind;
}

double module_documents::minimum_interval(const std::string& sensor_kind) const {
    const auto& sensors = docs_->definition["Sensors"];
    if (!sensors.contains(sensor_kind) || !sensors[sensor_kind].contains("MinimumInterval")) {
        return 60;  // a kind that names none is checked every minute
    }
    return sensors[sensor_kind]["MinimumInterval"].as<double>();
}

std::optional<std::string> module_documents::first_meta_step(const std::string& sensor_kind) const {
    const auto& sensors = docs_->definition["Sensors"];
    if (!sensors.contains(sensor_kind) || !sensors[sensor_kind].contains("FirstMetaStep")) {
        return std::nullopt;
    }
    return sensors[sensor_kind]["FirstMetaStep"].as<std::string>();
}

std::vector<module_documents::setting> module_documents::sensor_settings(
    const std::string& sensor_kind) const {
    std::vector<setting> settings;
    const auto& sensors = docs_->definition["Sensors"];
    if (!sensors.contains(sensor_kind)) {
        return settings;
    }
    for (const auto& section_name : sensors[sensor_kind]["Settings"]["Sections"].array_range()) {
        const auto& section = docs_->definition["Sections"][section_name.as<std::string>()];
        if (section["Scope"].as<std::string>() == "SettingSectionScopeCredentials") {
            continue;
        }
        for (const auto& group_name : section["Groups"].array_range()) {
            for (const auto& item :
                 docs_->definition["Groups"][group_name.as<std::string>()]["Items"].array_range()) {
                const auto& s = item["Setting"];
                setting entry{section_name.as<std::string>() + "." + group_name.as<std::string>() +
                                  "." + s["Name"].as<std::string>(),
                              s["Display"].as<std::string>(),
                              s["Default"].as<std::string>(),
                              {}};
                if (s.contains("Selection")) {
                    for (const auto& option : s["Selection"]["Options"].array_range()) {
                        entry.options.push_back(option["Value"].as<std::string>());
                    }
                }
                settings.push_back(std::move(entry));
            }
        }
    }
    return settings;
}

std::vector<table_column> module_documents::metascan_columns(
    const std::string& metascan_kind) const {
    std::vector<table_column> columns;
    const auto& scans = docs_->definition["MetaScans"];
    if (!scans.contains(metascan_kind)) {
        return columns;
    }
    const std::string section_name = scans[metascan_kind]["Section"].as<std::string>();
    for (const auto& group_name :
         docs_->definition["Sections"][section_name]["Groups"].array_range()) {
        for (const auto& item :
             docs_->definition["Groups"][group_name.as<std::string>()]["Items"].array_range()) {
            const auto& s = item["Setting"];
            bool shown = true;
            for (const auto& flag : s["Flags"].array_range()) {
                shown =
                    shown && flag.as<std::string>() != "SettingFlagVisibilityNotInMetascanTable";
            }
            columns.push_back({section_name + "." + group_name.as<std::string>() + "." +
                                   s["Name"].as<std::string>(),
                               s["Display"].as<std::string>(), shown});
        }
    }
    return columns;
}

std::string module_documents::resolve(const std::string& reference) const {
    std::string text = reference;
    const bool is_key = text.rfind("#:", 0) == 0;
    if (is_key) {
        text.erase(0, 2);
    }
    std::string key = text;
    std::string arguments;
    const auto open = text.find('[');
    if (open != std::string::npos && text.back() == ']') {
        key = text.substr(0, open);
        arguments = text.substr(open + 1, text.size() - open - 2);
    }
    if (!docs_->translation.contains(key)) {
        return reference;
    }
    return fill(docs_->translation[key]["Display"].as<std::string>(), arguments);
}

std::string module_documents::lookup_text(const std::string& lookup, long long value) const {
    const auto& lookups = docs_->definition["Lookups"];
    if (lookups.contains(lookup)) {
        for (const auto& entry : lookups[lookup]["LookupValues"].array_range()) {
            if (entry["Value"].as<long long>() == value) {
                return entry["Display"].as<std::string>();
            }
        }
    }
    return std::to_string(value);
}

std::string module_documents::unit_text(const std::string& unit, const std::string& custom_unit) {
    if (unit == "5") {
        return "%";
    }
    if (unit == "8") {
        return custom_unit;
    }
    if (unit == "3") {
        return "bytes";
    }
    return "";  // counts and channels without a unit
}

std::string module_documents::definition_json() const {
    return docs_->definition.to_string();
}

}  // namespace zentrova::monitoring_modules::host
