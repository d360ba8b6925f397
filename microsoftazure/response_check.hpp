#pragma once

#include <memory>
#include <string>

#include "framework/logging/log_interface.hpp"
#include "json/parser_interface.hpp"
#include "rest/rest_interface.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Returns for a 2xx status; otherwise throws rest::exceptions::request_failed whose details are
// "HTTP request was not successful: " + status + ": " + the reason phrase.
void check_status(const rest::response& answer);

// Checks that the body is declared as JSON ("Content-Type" beginning with "application/json",
// parameters allowed, letter case exact) and parses it. Throws rest::exceptions::header_not_found
// without the header, json::exceptions::invalid_content_type for another type, and
// json::exceptions::parse_error for a body that is not JSON.
std::unique_ptr<json::parser_interface> parse_json_response(const rest::response& answer);

// Logs an answer before it is checked: its body after `label` (built only when the log keeps
// lines: bodies are large), so that a failing answer can still be read there, and for a 429 a
// line with Retry-After and the quota headers Azure sent, which say when to ask again and which
// quota ran out.
void log_answer(const rest::response& answer, const std::string& label,
                framework::logging::log_interface& log);

// Logs, after `label`, that the parsed answer has later pages ("nextLink", or Cost Management's
// "properties.nextLink") that are not read: only the first page of a list counts.
void log_unread_pages(const rest::response& answer, const json::parser_interface& body,
                      const std::string& label, framework::logging::log_interface& log);

// What is done with every answer that is read: log_answer, check_status, parse_json_response,
// then log_unread_pages.
std::unique_ptr<json::parser_interface> read_json_response(const rest::response& answer,
                                                           const std::string& label,
                                                           framework::logging::log_interface& log);

}  // namespace zentrova::monitoring_modules::microsoftazure
