// The checks every ARM response passes: status, content type, body. Input: the status code on
// the first line, the Content-Type value on the second (an empty line: no such header), the body
// after them.
#include <string>

#include "fuzz/fuzz_target.hpp"
#include "json/exceptions.hpp"
#include "microsoftazure/response_check.hpp"
#include "rest/exceptions.hpp"

namespace {

namespace json = zentrova::monitoring_modules::json;
namespace microsoftazure = zentrova::monitoring_modules::microsoftazure;
namespace rest = zentrova::monitoring_modules::rest;
using zentrova::monitoring_modules::fuzz::input_reader;
using zentrova::monitoring_modules::fuzz::require;

}  // namespace

MICROSOFTAZURE_FUZZ_TARGET(response_check) {
    input_reader input(data, size);
    rest::response answer;
    answer.status_code = input.status_line();
    answer.status_text = "Fuzzed";
    const std::string_view content_type = input.line();
    if (!content_type.empty()) {
        answer.headers["Content-Type"] = std::string(content_type);
    }
    answer.body = std::string(input.rest());

    const bool success = answer.status_code >= 200 && answer.status_code <= 299;
    try {
        microsoftazure::check_status(answer);
        require(success, "a failed status passed the check");
    } catch (const rest::exceptions::request_failed& e) {
        require(!success, "a success status failed the check");
        require(std::string(e.what()).find(std::to_string(answer.status_code)) != std::string::npos,
                "a failed status is not named in the failure");
    }

    try {
        const auto parser = microsoftazure::parse_json_response(answer);
        require(content_type.substr(0, 16) == "application/json",
                "a body not declared as JSON was parsed");
        parser->get_string_array("/value");
    } catch (const rest::exceptions::header_not_found&) {
        require(content_type.empty(), "a Content-Type that was there went unseen");
    } catch (const json::exceptions::invalid_content_type&) {
        require(content_type.substr(0, 16) != "application/json", "a JSON body was refused");
    } catch (const json::exceptions::exception&) {
        // Not JSON, or "/value" is not an array of scalars.
    }
    return 0;
}
