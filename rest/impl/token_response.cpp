#include "rest/impl/token_response.hpp"

#include <memory>
#include <optional>

#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"
#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

constexpr const char* check_endpoint = "check the login endpoint (MICROSOFTAZURE_LOGIN_ENDPOINT)";

std::optional<std::string> optional_string(const json::parser_interface& document,
                                           const std::string& path) {
    try {
        return document.get_string(path);
    } catch (const json::exceptions::exception&) {
        return std::nullopt;
    }
}

// Azure AD's descriptions run over several lines (trace and correlation ids); failure texts end
// up in one log line and one message, so line breaks become blanks.
std::string single_line(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    for (const char character : text) {
        if (character == '\r' || character == '\n') {
            if (!line.empty() && line.back() != ' ') {
                line += ' ';
            }
        } else {
            line += character;
        }
    }
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

std::string status_of(const response& answer) {
    std::string status = "HTTP " + std::to_string(answer.status_code);
    if (!answer.status_text.empty()) {
        status += " " + answer.status_text;
    }
    return status;
}

// The OAuth2 error ("error", "error_description"), or the { "error": { "code", "message" } }
// envelope that gateways in front of the endpoint use.
std::optional<std::string> error_of(const json::parser_interface& document) {
    auto code = optional_string(document, "/error");
    std::optional<std::string> description;
    if (code) {
        description = optional_string(document, "/error_description");
    } else {
        code = optional_string(document, "/error/code");
        description = optional_string(document, "/error/message");
    }
    if (!code) {
        return std::nullopt;
    }
    return description ? *code + ": " + *description : *code;
}

}  // namespace

token_response read_token_response(const response& answer) {
    const bool success = answer.status_code >= 200 && answer.status_code <= 299;
    std::unique_ptr<json::parser_interface> document;
    try {
        document = json::create_jsonpointer_parser(answer.body);
    } catch (const json::exceptions::exception&) {
        throw exceptions::authentication_failed("the token endpoint answered " + status_of(answer) +
                                                " with a body that is not JSON; " + check_endpoint);
    }
    if (const auto error = error_of(*document)) {
        throw exceptions::authentication_failed(single_line(*error));
    }
    if (!success) {
        throw exceptions::authentication_failed("the token endpoint answered " + status_of(answer) +
                                                " without saying why; " + check_endpoint);
    }
    token_response token;
    try {
        token.access_token = document->get_string("/access_token");
    } catch (const json::exceptions::exception&) {
        throw exceptions::authentication_failed(
            "the token endpoint's answer holds no access_token");
    }
    try {
        token.expires_in = document->get_int("/expires_in");
    } catch (const json::exceptions::exception& error) {
        const std::string reason = error.details().empty() ? error.what() : error.details();
        throw exceptions::authentication_failed(
            "the token endpoint's answer holds no usable expires_in (" + reason + ")");
    }
    if (token.expires_in <= 0) {
        throw exceptions::authentication_failed(
            "the token endpoint's answer holds no usable expires_in (" +
            std::to_string(token.expires_in) + " seconds)");
    }
    return token;
}

}  // namespace zentrova::monitoring_modules::rest::impl
