#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zentrova::monitoring_modules::emulator::impl {

// What an access token says about its holder.
struct token_claims {
    std::string tenant_id;
    std::string client_id;
    std::string object_id;
    std::string audience;
    std::string issuer;
    std::string version;  // "1.0" or "2.0"
    std::int64_t issued_at = 0;
    std::int64_t expires_on = 0;
};

// Issues and checks the emulator's access tokens: JWT-shaped (header.claims.signature, base64url)
// and signed with HMAC-SHA256 under a key drawn per emulator, so a token needs no server-side
// store and one from another emulator instance is rejected. Immutable after construction.
class token_service {
public:
    enum class outcome { valid, missing, malformed, expired };
    struct verdict {
        outcome result = outcome::missing;
        token_claims claims;
    };

    token_service();

    std::string issue(const token_claims& claims) const;
    // `authorization` is the whole header value ("Bearer <token>").
    verdict verify(std::string_view authorization, std::int64_t now) const;

private:
    std::string sign(std::string_view data) const;

    std::string key_;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
