#include "emulator/impl/http_exchange.hpp"

#include <jsoncons/json.hpp>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

std::string find_value(const header_list& list, std::string_view name) {
    for (const auto& [key, value] : list) {
        if (iequals(key, name)) {
            return value;
        }
    }
    return {};
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string form_decode(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            out.push_back(' ');
        } else if (text[i] == '%' && i + 2 < text.size() && hex_value(text[i + 1]) >= 0 &&
                   hex_value(text[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hex_value(text[i + 1]) * 16 + hex_value(text[i + 2])));
            i += 2;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

}  // namespace

header_list parse_form(std::string_view text) {
    header_list fields;
    for (const auto& pair : split(text, '&')) {
        if (pair.empty()) {
            continue;
        }
        const std::size_t eq = pair.find('=');
        fields.emplace_back(
            form_decode(pair.substr(0, eq)),
            eq == std::string::npos ? std::string() : form_decode(pair.substr(eq + 1)));
    }
    return fields;
}

bool incoming_request::has_param(std::string_view name) const {
    for (const auto& p : params) {
        if (iequals(p.first, name)) {
            return true;
        }
    }
    return false;
}

std::string incoming_request::param(std::string_view name) const {
    return find_value(params, name);
}

std::string incoming_request::header(std::string_view name) const {
    return find_value(headers, name);
}

void http_answer::set_header(std::string name, std::string value) {
    for (auto& [key, v] : headers) {
        if (iequals(key, name)) {
            v = std::move(value);
            return;
        }
    }
    headers.emplace_back(std::move(name), std::move(value));
}

std::string reason_phrase(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 201:
            return "Created";
        case 202:
            return "Accepted";
        case 204:
            return "No Content";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 408:
            return "Request Timeout";
        case 409:
            return "Conflict";
        case 412:
            return "Precondition Failed";
        case 413:
            return "Payload Too Large";
        case 422:
            return "Unprocessable Entity";
        case 429:
            return "Too Many Requests";
        case 500:
            return "Internal Server Error";
        case 501:
            return "Not Implemented";
        case 502:
            return "Bad Gateway";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        default:
            return "Unknown";
    }
}

std::string default_error_code(int status) {
    switch (status) {
        case 400:
            return "BadRequest";
        case 401:
            return "AuthenticationFailed";
        case 403:
            return "AuthorizationFailed";
        case 404:
            return "ResourceNotFound";
        case 408:
            return "RequestTimeout";
        case 409:
            return "Conflict";
        case 429:
            return "TooManyRequests";
        case 500:
            return "InternalServerError";
        case 502:
            return "BadGateway";
        case 503:
            return "ServiceUnavailable";
        case 504:
            return "GatewayTimeout";
        default:
            return status >= 500 ? "InternalServerError" : "BadRequest";
    }
}

http_answer arm_error(int status, const std::string& code, const std::string& message) {
    jsoncons::ojson error(jsoncons::json_object_arg);
    error["code"] = code;
    error["message"] = message;
    jsoncons::ojson envelope(jsoncons::json_object_arg);
    envelope["error"] = std::move(error);
    http_answer answer;
    answer.status = status;
    envelope.dump(answer.body);
    answer.set_header("x-ms-failure-cause", status >= 500 ? "service" : "gateway");
    return answer;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
