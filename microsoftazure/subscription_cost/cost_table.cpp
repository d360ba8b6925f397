#include "microsoftazure/subscription_cost/cost_table.hpp"

#include <stdexcept>

#include "json/exceptions.hpp"
#include "microsoftazure/discovery_rows.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

cost_table::cost_table(const json::parser_interface& answer)
    : properties_(answer.get_object("/properties")) {
    for (const auto& column : object_rows(*properties_, "/columns")) {
        column_names_.push_back(column->get_string("/name"));
    }
    // Rows are arrays of cells, read whole so that an empty text cell (a cost without resource
    // group, say) stays an empty key. The rows end where an index leads nowhere.
    for (std::size_t row = 0;; ++row) {
        auto cells = properties_->get_string_array("/rows/" + std::to_string(row));
        if (cells.empty()) {
            break;
        }
        rows_.push_back(std::move(cells));
    }
}

std::vector<std::size_t> cost_table::require_columns(const std::vector<std::string>& names) const {
    std::vector<std::size_t> indices;
    indices.reserve(names.size());
    for (const auto& name : names) {
        std::size_t index = 0;
        while (index < column_names_.size() && column_names_[index] != name) {
            ++index;
        }
        if (index == column_names_.size()) {
            throw std::runtime_error("Required columns are not found inside the JSON response.");
        }
        indices.push_back(index);
    }
    return indices;
}

const std::string& cost_table::text(std::size_t row, std::size_t column) const {
    const auto& cells = rows_.at(row);
    if (column >= cells.size()) {
        throw json::exceptions::empty_result("/properties" + cell_path(row, column));
    }
    return cells[column];
}

double cost_table::number(std::size_t row, std::size_t column) const {
    return properties_->get_double(cell_path(row, column));
}

std::string cost_table::cell_path(std::size_t row, std::size_t column) {
    return "/rows/" + std::to_string(row) + "/" + std::to_string(column);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
