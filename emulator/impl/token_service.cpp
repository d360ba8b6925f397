#include "emulator/impl/token_service.hpp"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <array>
#include <jsoncons/json.hpp>
#include <stdexcept>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

std::string text_member(const jsoncons::ojson& claims, const char* name) {
    auto it = claims.find(name);
    return it != claims.object_range().end() && it->value().is_string()
               ? it->value().as<std::string>()
               : std::string();
}

std::int64_t number_member(const jsoncons::ojson& claims, const char* name) {
    auto it = claims.find(name);
    return it != claims.object_range().end() && it->value().is_int64()
               ? it->value().as<std::int64_t>()
               : 0;
}

}  // namespace

token_service::token_service() : key_(32, '\0') {
    if (RAND_bytes(reinterpret_cast<unsigned char*>(key_.data()), static_cast<int>(key_.size())) !=
        1) {
        throw std::runtime_error("emulator: cannot draw a token signing key from OpenSSL");
    }
}

std::string token_service::sign(std::string_view data) const {
    std::array<unsigned char, EVP_MAX_MD_SIZE> mac{};
    unsigned int length = 0;
    HMAC(EVP_sha256(), key_.data(), static_cast<int>(key_.size()),
         reinterpret_cast<const unsigned char*>(data.data()), data.size(), mac.data(), &length);
    return base64url_encode(std::string_view(reinterpret_cast<const char*>(mac.data()), length));
}

std::string token_service::issue(const token_claims& claims) const {
    jsoncons::ojson body(jsoncons::json_object_arg);
    body["aud"] = claims.audience;
    body["iss"] = claims.issuer;
    body["iat"] = claims.issued_at;
    body["nbf"] = claims.issued_at;
    body["exp"] = claims.expires_on;
    body["appid"] = claims.client_id;
    body["oid"] = claims.object_id;
    body["sub"] = claims.object_id;
    body["tid"] = claims.tenant_id;
    body["ver"] = claims.version;
    body["jti"] = random_guid();
    std::string json;
    body.dump(json);
    const std::string unsigned_token =
        base64url_encode(R"({"typ":"JWT","alg":"HS256"})") + "." + base64url_encode(json);
    return unsigned_token + "." + sign(unsigned_token);
}

token_service::verdict token_service::verify(std::string_view authorization,
                                             std::int64_t now) const {
    verdict v;
    if (authorization.empty()) {
        return v;
    }
    v.result = outcome::malformed;
    if (!istarts_with(authorization, "Bearer ")) {
        return v;
    }
    const std::string_view token = authorization.substr(7);
    const std::size_t first = token.find('.');
    const std::size_t second = first == std::string_view::npos ? first : token.find('.', first + 1);
    if (second == std::string_view::npos) {
        return v;
    }
    const std::string expected = sign(token.substr(0, second));
    const std::string_view signature = token.substr(second + 1);
    if (signature.size() != expected.size() ||
        CRYPTO_memcmp(signature.data(), expected.data(), expected.size()) != 0) {
        return v;
    }
    std::string json;
    if (!base64url_decode(token.substr(first + 1, second - first - 1), json)) {
        return v;
    }
    jsoncons::ojson claims;
    try {
        claims = jsoncons::ojson::parse(json);
    } catch (const jsoncons::ser_error&) {
        return v;
    }
    v.claims.audience = text_member(claims, "aud");
    v.claims.issuer = text_member(claims, "iss");
    v.claims.client_id = text_member(claims, "appid");
    v.claims.object_id = text_member(claims, "oid");
    v.claims.tenant_id = text_member(claims, "tid");
    v.claims.version = text_member(claims, "ver");
    v.claims.issued_at = number_member(claims, "iat");
    v.claims.expires_on = number_member(claims, "exp");
    v.result = now >= v.claims.expires_on ? outcome::expired : outcome::valid;
    return v;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
