#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::host {

// One setting of a meta scan's table, in the order the module defines it.
struct table_column {
    std::string key;      // full key: section.group.setting
    std::string display;  // the column title
    bool shown = true;    // false for columns the module keeps out of the table
};

// What the module says about itself (its definition and display texts), read the way a probe
// reads them: kinds, settings, lookups, and the English text behind every key.
class module_documents {
public:
    // Parses the module_information message; throws host_error when it is not one.
    explicit module_documents(const std::string& module_information_message);
    module_documents(const module_documents&) = delete;
    module_documents& operator=(const module_documents&) = delete;
    ~module_documents();

    std::vector<std::string> sensor_kinds() const;
    std::vector<std::string> metascan_kinds() const;
    std::string display_name(const std::string& kind) const;
    // The shortest interval between two checks the module allows a sensor kind, in seconds.
    double minimum_interval(const std::string& sensor_kind) const;
    // The meta scan a sensor kind is created from, if any.
    std::optional<std::string> first_meta_step(const std::string& sensor_kind) const;
    // The settings a kind reads beyond the credentials: full key, title and default.
    struct setting {
        std::string key;
        std::string display;
        std::string default_value;
        std::vector<std::string> options;  // empty for text settings
    };
    std::vector<setting> sensor_settings(const std::string& sensor_kind) const;
    std::vector<table_column> metascan_columns(const std::string& metascan_kind) const;

    // "#:key[args]" or "key[args]" in English, with "%s" filled and "%%" as "%"; plain text
    // comes back as it is.
    std::string resolve(const std::string& reference) const;
    // The display text of a lookup value ("Running (Billed)"), or the number itself.
    std::string lookup_text(const std::string& lookup, long long value) const;
    // A readable unit for a channel's unit number and custom unit text.
    static std::string unit_text(const std::string& unit, const std::string& custom_unit);

    // The raw documents, for --format json.
    std::string definition_json() const;

private:
    struct documents;
    std::unique_ptr<documents> docs_;
};

}  // namespace zentrova::monitoring_modules::host
