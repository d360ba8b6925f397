#include "host/result_printer.hpp"

#include <algorithm>
#include <iomanip>
#include <jsoncons/json.hpp>
#include <sstream>

#include "host/channel_formatter.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

void print_table(std::ostream& out, const std::vector<std::string>& header,
                 const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths(header.size(), 0);
    for (size_t i = 0; i < header.size(); ++i) {
        widths[i] = header[i].size();
        for (const auto& row : rows) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    auto line = [&](const std::vector<std::string>& cells) {
        out << " ";
        for (size_t i = 0; i < cells.size(); ++i) {
            out << " " << std::left << std::setw(static_cast<int>(widths[i])) << cells[i];
        }
        out << "\n";
    };
    line(header);
    std::vector<std::string> rule;
    rule.reserve(widths.size());
    for (const auto w : widths) {
        rule.emplace_back(w, '-');
    }
    line(rule);
    for (const auto& row : rows) {
        line(row);
    }
}

}  // namespace

result_printer::result_printer(std::ostream& out, const module_documents& documents)
    : out_(out), documents_(documents) {}

void result_printer::module_info(const std::string& module_path, int api_level) const {
    out_ << "Module " << module_path << " (API level " << api_level << ")\n\nSensors:\n";
    for (const auto& kind : documents_.sensor_kinds()) {
        out_ << "  " << kind << "  \"" << documents_.display_name(kind) << "\"";
        if (const auto first = documents_.first_meta_step(kind)) {
            out_ << "  (created from rows of " << *first << ")";
        }
        out_ << "\n";
        for (const auto& setting : documents_.sensor_settings(kind)) {
            out_ << "      --set " << setting.key.substr(setting.key.rfind('.') + 1) << "=";
            if (setting.options.empty()) {
                out_ << "TEXT";
            } else {
                std::string options;
                for (const auto& option : setting.options) {
                    options += (options.empty() ? "" : "|") + option;
                }
                out_ << options << "  (default " << setting.default_value << ")";
            }
            out_ << "  " << setting.display << "\n";
        }
    }
    out_ << "\nMeta scans:\n";
    for (const auto& kind : documents_.metascan_kinds()) {
        out_ << "  " << kind << "  columns:";
        for (const auto& column : documents_.metascan_columns(kind)) {
            out_ << " \"" << column.display << "\"";
        }
        out_ << "\n";
    }
}

void result_printer::discovery(const std::string& metascan_kind,
                               const std::vector<discovered_row>& rows,
                               long long elapsed_ms) const {
    std::vector<std::string> header{"#"};
    const auto columns = documents_.metascan_columns(metascan_kind);
    for (const auto& column : columns) {
        if (column.shown) {
            header.push_back(column.display);
        }
    }
    std::vector<std::vector<std::string>> table;
    for (size_t i = 0; i < rows.size(); ++i) {
        std::vector<std::string> cells{std::to_string(i + 1)};
        for (const auto& column : columns) {
            if (column.shown) {
                const auto found = rows[i].values.find(column.key);
                cells.push_back(found == rows[i].values.end() ? "" : found->second);
            }
        }
        table.push_back(std::move(cells));
    }
    out_ << documents_.display_name(metascan_kind) << ": " << rows.size() << " found in "
         << elapsed_ms << " ms\n";
    print_table(out_, header, table);
}

void result_printer::discovery_failure(int response_code, const std::string& message) const {
    out_ << "Discovery failed (response code " << response_code
         << "): " << documents_.resolve(message) << "\n";
}

void result_printer::check_result(const std::string& sensor_kind, int sensor_id,
                                  long long elapsed_ms, const std::string& result_message,
                                  const sensor_state& sensor) const {
    const auto result = jsoncons::ojson::parse(result_message);
    out_ << documents_.display_name(sensor_kind) << " (sensor " << sensor_id << "), checked in "
         << elapsed_ms << " ms\n";
    std::vector<std::vector<std::string>> rows;
    for (const auto& line : channel_formatter(documents_).lines(result_message, sensor.channels)) {
        rows.push_back({std::to_string(line.id), line.name, line.value});
    }
    print_table(out_, {"Id", "Channel", "Value"}, rows);
    const int response = result["response_code"].as<int>();
    const std::string message = result["message"].as<std::string>();
    out_ << "  Result:  "
         << (response == 0 ? "OK" : "failed (response code " + std::to_string(response) + ")")
         << "\n";
    if (!message.empty()) {
        out_ << "  Message: " << documents_.resolve(message) << "\n";
    }
}

void result_printer::messages(const std::vector<std::string>& texts) const {
    jsoncons::ojson list(jsoncons::json_array_arg);
    for (const auto& text : texts) {
        list.push_back(jsoncons::ojson::parse(text));
    }
    out_ << jsoncons::pretty_print(list) << "\n";
}

}  // namespace zentrova::monitoring_modules::host
