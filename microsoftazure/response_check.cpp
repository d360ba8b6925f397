#include "microsoftazure/response_check.hpp"

#include <cctype>
#include <cstdint>
#include <map>
#include <string_view>

#include "framework/logging/log_text.hpp"
#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"
#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

constexpr const char* json_media_type = "application/json";
constexpr std::size_t json_media_type_length = 16;

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) {
        return false;
    }
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) {
            return false;
        }
    }
    return true;
}

// Retry-After and Azure's quota headers (x-ms-ratelimit-..., Cost Management's qpu ones
// included), by name, as "name: value" joined by "; ".
std::string throttling_headers(const rest::header_map& headers) {
    std::map<std::string, std::string> found;
    for (const auto& [name, value] : headers) {
        if ((name.size() == 11 && starts_with_ignoring_case(name, "retry-after")) ||
            starts_with_ignoring_case(name, "x-ms-ratelimit-")) {
            found.emplace(name, value);
        }
    }
    std::string text;
    for (const auto& [name, value] : found) {
        text.append(text.empty() ? "" : "; ").append(name).append(": ").append(value);
    }
    return text;
}

// The first page's link to the next one, or "" when the list ends on this page. Azure writes
// "nextLink": null on a last page.
std::string next_link(const rest::response& answer, const json::parser_interface& body) {
    if (answer.body.find("\"nextLink\"") == std::string::npos) {
        return {};
    }
    for (const char* path : {"/nextLink", "/properties/nextLink"}) {
        try {
            return body.get_string(path);
        } catch (const json::exceptions::exception&) {  // not there, null or empty
        }
    }
    return {};
}

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

void log_answer(const rest::response& answer, const std::string& label,
                framework::logging::log_interface& log) {
    if (!log.enabled()) {
        return;
    }
    log.write(framework::logging::debug, label + framework::logging::clipped_for_log(answer.body));
    if (answer.status_code != 429) {
        return;
    }
    const std::string headers = throttling_headers(answer.headers);
    log.write(framework::logging::warning,
              "Azure throttled the request (429 Too Many Requests); " +
                  (headers.empty() ? std::string("it sent no Retry-After or quota header")
                                   : framework::logging::clipped_for_log(headers, 1024)) +
                  ". Nothing is retried: the next check or discovery asks again. If this "
                  "recurs, lengthen the sensors' intervals or spread them "
                  "(docs/azure-in-practice.md, \"Quotas and 429\").");
}

void log_unread_pages(const rest::response& answer, const json::parser_interface& body,
                      const std::string& label, framework::logging::log_interface& log) {
    if (!log.enabled()) {
        return;
    }
    const std::string link = next_link(answer, body);
    if (!link.empty()) {
        log.write(framework::logging::info,
                  label + "later pages not read: only the first page counts; Azure's nextLink is " +
                      framework::logging::clipped_for_log(link, 1024));
    }
}

std::unique_ptr<json::parser_interface> read_json_response(const rest::response& answer,
                                                           const std::string& label,
                                                           framework::logging::log_interface& log) {
    log_answer(answer, label, log);
    check_status(answer);
    auto body = parse_json_response(answer);
    log_unread_pages(answer, *body, label, log);
    return body;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
