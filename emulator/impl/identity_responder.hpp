#pragma once

#include <string>
#include <vector>

#include "emulator/impl/http_exchange.hpp"
#include "emulator/impl/route_table.hpp"
#include "emulator/impl/scenario.hpp"
#include "emulator/impl/support.hpp"
#include "emulator/impl/token_service.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Answers as Azure AD does: the v1 and v2.0 client-credentials token endpoints and the v2.0
// OpenID metadata. Tokens are issued only for the emulator's own Resource Manager audience.
// Immutable after construction; safe for concurrent use.
class identity_responder {
public:
    // `login_url`: scheme, host and port without a trailing "/". `audiences`: the resource
    // identifiers a token may be asked for, without trailing "/".
    identity_responder(const token_service& tokens, std::string login_url,
                       std::vector<std::string> audiences);

    http_answer respond(const route_match& route, const incoming_request& request,
                        const scenario& world, system_time now) const;

    // Azure AD's error body. `aadsts` 0 leaves the AADSTS code out.
    http_answer error(int status, const std::string& error, int aadsts, const std::string& message,
                      bool v2, system_time now) const;

    bool is_audience(const std::string& resource) const;

private:
    http_answer token(const route_match& route, const incoming_request& request,
                      const scenario& world, system_time now, bool v2) const;
    http_answer openid_configuration(const tenant& t) const;

    const token_service& tokens_;
    std::string login_url_;
    std::vector<std::string> audiences_;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
