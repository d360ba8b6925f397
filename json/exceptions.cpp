#include "json/exceptions.hpp"

#include <utility>

namespace zentrova::monitoring_modules::json::exceptions {

exception::exception(std::string message, std::string details)
    : message_(std::move(message)), details_(std::move(details)) {}

const char* exception::what() const noexcept {
    return message_.c_str();
}

std::string exception::full_message() const {
    if (details_.empty()) {
        return message_;
    }
    return message_ + ": " + details_;
}

conversion_error::conversion_error(std::string details)
    : exception(messages::conversion_error, std::move(details)) {}

empty_result::empty_result(std::string details)
    : exception(messages::empty_result, std::move(details)) {}

parse_error::parse_error(std::string details)
    : exception(messages::parse_error, std::move(details)) {}

too_many_values::too_many_values(std::string details)
    : exception(messages::too_many_values, std::move(details)) {}

query_error::query_error(std::string details)
    : exception(messages::query_error, std::move(details)) {}

unexpected_type_error::unexpected_type_error(std::string details)
    : exception(messages::unexpected_type_error, std::move(details)) {}

unexpected_array_error::unexpected_array_error(std::string details)
    : exception(messages::unexpected_array_error, std::move(details)) {}

invalid_content_type::invalid_content_type(std::string details)
    : exception(messages::invalid_content_type, std::move(details)) {}

}  // namespace zentrova::monitoring_modules::json::exceptions
