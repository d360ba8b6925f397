// The reader of the token endpoint's answer. Input: the status code on the first line, the body
// after it.
#include <string>

#include "fuzz/fuzz_target.hpp"
#include "rest/exceptions.hpp"
#include "rest/impl/token_response.hpp"

namespace {

namespace rest = zentrova::monitoring_modules::rest;
using zentrova::monitoring_modules::fuzz::input_reader;
using zentrova::monitoring_modules::fuzz::require;

}  // namespace

MICROSOFTAZURE_FUZZ_TARGET(token_response) {
    input_reader input(data, size);
    rest::response answer;
    answer.status_code = input.status_line();
    answer.status_text = "Fuzzed";
    answer.headers["Content-Type"] = "application/json";
    answer.body = std::string(input.rest());
    try {
        const auto token = rest::impl::read_token_response(answer);
        require(answer.status_code >= 200 && answer.status_code <= 299,
                "a token was taken from a failed answer");
        require(!token.access_token.empty(), "an empty access token was taken");
        require(token.expires_in > 0, "a token without lifetime was taken");
    } catch (const rest::exceptions::authentication_failed& e) {
        // The text reaches a log line and the host's message: one line, and it says something.
        require(!e.details().empty(), "a refused token answer does not say why");
        require(e.details().find('\n') == std::string::npos, "a refused token answer spans lines");
    }
    return 0;
}
