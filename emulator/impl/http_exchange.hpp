#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::emulator::impl {

inline constexpr const char* json_content_type = "application/json; charset=utf-8";

using header_list = std::vector<std::pair<std::string, std::string>>;

// One request as the responders see it, independent of the HTTP server library.
struct incoming_request {
    std::string method;
    std::string target;  // as received
    std::string path;    // decoded, runs of "/" collapsed
    header_list params;  // query parameters, decoded
    header_list headers;
    std::string body;

    bool has_param(std::string_view name) const;     // names compared without case
    std::string param(std::string_view name) const;  // "" when absent
    std::string header(std::string_view name) const;
};

// One answer before it goes on the wire.
struct http_answer {
    int status = 200;
    std::string reason;  // empty: the standard phrase
    std::string content_type = json_content_type;
    header_list headers;
    std::string body;

    void set_header(std::string name, std::string value);
};

// Name-value pairs of a query string or form body, decoded ("+" is a blank).
header_list parse_form(std::string_view text);

std::string reason_phrase(int status);

// Azure Resource Manager's error envelope: {"error":{"code":...,"message":...}}.
http_answer arm_error(int status, const std::string& code, const std::string& message);

// The error code Azure uses for a status when nothing more specific applies.
std::string default_error_code(int status);

}  // namespace zentrova::monitoring_modules::emulator::impl
