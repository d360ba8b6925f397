#include "microsoftazure/response_check.hpp"

#include <cstdint>

#include "framework/logging/log_text.hpp"
#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"
#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

constexpr const char* json_media_type = "application/json";
constexpr std::size_t json_media_type_length = 16;

}  // namespace

void check_status(const rest::response& answer) {
    // 200..299 in one unsigned comparison: converted before subtracting, so that anything below
    // 200 wraps round to a large number, even the lowest codes, where int would overflow.
    if (static_cast<std::uint32_t>(answer.status_code) - 200U <= 99U) {
        return;
    }
    throw rest::exceptions::request_failed(
        "HTTP request was not successful: " + std::to_string(answer.status_code) + ": " +
        answer.status_text);
}

std::unique_ptr<json::parser_interface> parse_json_response(const rest::response& answer) {
    const std::string content_type = rest::get_header(answer, "Content-Type");
    if (content_type.compare(0, json_media_type_length, json_media_type) != 0) {
        throw json::exceptions::invalid_content_type(
            "REST response did not return 'application/json' as Content-Type.");
    }
    return json::create_jsonpointer_parser(answer.body);
}

std::unique_ptr<json::parser_interface> read_json_response(const rest::response& answer,
                                                           const std::string& label,
                                                           framework::logging::log_interface& log) {
    if (log.enabled()) {
        log.write(framework::logging::debug,
                  label + framework::logging::clipped_for_log(answer.body));
    }
    check_status(answer);
    return parse_json_response(answer);
}

}  // namespace zentrova::monitoring_modules::microsoftazure
