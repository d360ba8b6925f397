#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "json/parser_interface.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The table of a Cost Management answer (query or forecast): "properties.columns", each with
// its "name", and "properties.rows", one array of cells per row in column order. A missing or
// empty "rows" is a table without rows. Reads from the parsed answer, which it must not outlive.
class cost_table {
public:
    // Throws the JSON layer's errors when "properties" is missing or a column has no name.
    explicit cost_table(const json::parser_interface& answer);

    // The index of each named column (exact names), in the order asked. Throws
    // std::runtime_error "Required columns are not found inside the JSON response." when any
    // of them is missing.
    std::vector<std::size_t> require_columns(const std::vector<std::string>& names) const;

    std::size_t row_count() const { return rows_.size(); }
    // A cell as text: strings as they stand (the empty string included), numbers in their JSON
    // form. Throws json::exceptions::empty_result when the row is shorter than that.
    const std::string& text(std::size_t row, std::size_t column) const;
    // A cell as a number (numbers, or strings that begin with one).
    double number(std::size_t row, std::size_t column) const;

private:
    // The cell's JSON Pointer below "properties".
    static std::string cell_path(std::size_t row, std::size_t column);

    std::unique_ptr<json::parser_interface> properties_;
    std::vector<std::string> column_names_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
