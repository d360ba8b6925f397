#include "emulator/impl/identity_responder.hpp"

#include <algorithm>
#include <jsoncons/json.hpp>
#include <utility>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

// Azure AD reads the form body only; a JSON body or a query string carries no fields for it.
header_list form_fields(const incoming_request& request) {
    if (!istarts_with(request.header("Content-Type"), "application/x-www-form-urlencoded")) {
        return {};
    }
    return parse_form(request.body);
}

const std::string* field(const header_list& fields, std::string_view name) {
    for (const auto& [key, value] : fields) {
        if (key == name) {
            return &value;
        }
    }
    return nullptr;
}

std::string strip_trailing_slashes(std::string text) {
    while (!text.empty() && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

void add_identity_headers(http_answer& answer) {
    answer.set_header("Cache-Control", "no-store, no-cache");
    answer.set_header("Pragma", "no-cache");
    answer.set_header("x-ms-request-id", random_guid());
}

}  // namespace

identity_responder::identity_responder(const token_service& tokens, std::string login_url,
                                       std::vector<std::string> audiences)
    : tokens_(tokens), login_url_(std::move(login_url)), audiences_(std::move(audiences)) {}

bool identity_responder::is_audience(const std::string& resource) const {
    const std::string bare = strip_trailing_slashes(resource);
    return std::any_of(audiences_.begin(), audiences_.end(),
                       [&](const std::string& a) { return iequals(a, bare); });
}

http_answer identity_responder::error(int status, const std::string& error, int aadsts,
                                      const std::string& message, bool v2, system_time now) const {
    const std::string trace_id = random_guid();
    const std::string correlation_id = random_guid();
    const std::string timestamp = aad_timestamp(now);
    const std::string prefix = aadsts != 0 ? "AADSTS" + std::to_string(aadsts) + ": " : "";
    ojson body(jsoncons::json_object_arg);
    body["error"] = error;
    body["error_description"] = prefix + message + "\r\nTrace ID: " + trace_id +
                                "\r\nCorrelation ID: " + correlation_id +
                                "\r\nTimestamp: " + timestamp;
    ojson codes(jsoncons::json_array_arg);
    if (aadsts != 0) {
        codes.push_back(aadsts);
    }
    body["error_codes"] = std::move(codes);
    body["timestamp"] = timestamp;
    body["trace_id"] = trace_id;
    body["correlation_id"] = correlation_id;
    if (v2 && aadsts != 0) {
        body["error_uri"] = login_url_ + "/error?code=" + std::to_string(aadsts);
    }
    http_answer answer;
    answer.status = status;
    body.dump(answer.body);
    add_identity_headers(answer);
    return answer;
}

http_answer identity_responder::respond(const route_match& route, const incoming_request& request,
                                        const scenario& world, system_time now) const {
    switch (route.id) {
        case route_id::token:
            return token(route, request, world, now, false);
        case route_id::token_v2:
            return token(route, request, world, now, true);
        default:
            break;
    }
    const std::string& tenant_name = route.capture("tenant");
    const tenant* t = world.find_tenant(tenant_name);
    if (t == nullptr) {
        return error(400, "invalid_tenant", 90002,
                     "Tenant '" + tenant_name +
                         "' not found. Check the tenant id in the emulator's scenario.",
                     true, now);
    }
    if (route.id == route_id::openid_configuration) {
        return openid_configuration(*t);
    }
    // Tokens are signed with a shared secret, so there is no public key to publish.
    http_answer answer;
    answer.body = R"({"keys":[]})";
    add_identity_headers(answer);
    return answer;
}

http_answer identity_responder::token(const route_match& route, const incoming_request& request,
                                      const scenario& world, system_time now, bool v2) const {
    const std::string& tenant_name = route.capture("tenant");
    const tenant* t = world.find_tenant(tenant_name);
    if (t == nullptr) {
        return error(400, "invalid_request", 90002,
                     "Tenant '" + tenant_name +
                         "' not found. Check to make sure you have the correct tenant ID and are "
                         "signing into the correct cloud.",
                     v2, now);
    }
    const header_list fields = form_fields(request);
    auto missing = [&](const char* name) {
        return error(
            400, "invalid_request", 900144,
            std::string("The request body must contain the following parameter: '") + name + "'.",
            v2, now);
    };
    const std::string* grant_type = field(fields, "grant_type");
    if (grant_type == nullptr) {
        return missing("grant_type");
    }
    if (*grant_type != "client_credentials") {
        return error(400, "unsupported_grant_type", 70003,
                     "The app requested an unsupported grant type '" + *grant_type +
                         "'; the emulator serves client_credentials only.",
                     v2, now);
    }
    const std::string* client_id = field(fields, "client_id");
    if (client_id == nullptr) {
        return missing("client_id");
    }
    const application* app = t->find_application(*client_id);
    if (app == nullptr) {
        return error(400, "unauthorized_client", 700016,
                     "Application with identifier '" + *client_id +
                         "' was not found in the directory '" + t->id +
                         "'. Check the client id, and that the request went to the right tenant.",
                     v2, now);
    }
    const std::string* secret = field(fields, "client_secret");
    if (secret == nullptr) {
        return missing("client_secret");
    }
    if (*secret != app->client_secret) {
        return error(401, "invalid_client", 7000215,
                     "Invalid client secret provided. Ensure the secret being sent is the client "
                     "secret value of app '" +
                         app->client_id + "'.",
                     v2, now);
    }
    const std::string* requested = field(fields, v2 ? "scope" : "resource");
    if (requested == nullptr) {
        return missing(v2 ? "scope" : "resource");
    }
    std::string resource = *requested;
    if (v2) {
        if (!iends_with(resource, "/.default")) {
            return error(400, "invalid_scope", 1002012,
                         "The provided value for scope " + resource +
                             " is not valid. Client credential flows must have a scope value with "
                             "/.default suffixed to the resource identifier.",
                         true, now);
        }
        resource.resize(resource.size() - 9);
    }
    if (!is_audience(resource)) {
        return error(400, "invalid_resource", 500011,
                     "The resource principal named " + resource +
                         " was not found in the tenant named " + t->id +
                         ". The emulator issues tokens for its own Resource Manager endpoint only.",
                     v2, now);
    }

    const std::int64_t issued = unix_seconds(now);
    const std::int64_t lifetime = world.token_lifetime_seconds;
    token_claims claims;
    claims.tenant_id = t->id;
    claims.client_id = app->client_id;
    claims.object_id = app->object_id;
    claims.audience = strip_trailing_slashes(resource);
    claims.issuer = login_url_ + "/" + t->id + (v2 ? "/v2.0" : "/");
    claims.version = v2 ? "2.0" : "1.0";
    claims.issued_at = issued;
    claims.expires_on = issued + lifetime;
    const std::string access_token = tokens_.issue(claims);

    ojson body(jsoncons::json_object_arg);
    body["token_type"] = "Bearer";
    if (v2) {
        body["expires_in"] = lifetime;
        body["ext_expires_in"] = lifetime;
    } else {
        // The v1 endpoint writes its numbers as strings.
        body["expires_in"] = std::to_string(lifetime);
        body["ext_expires_in"] = std::to_string(lifetime);
        body["expires_on"] = std::to_string(claims.expires_on);
        body["not_before"] = std::to_string(issued);
        body["resource"] = *requested;
    }
    body["access_token"] = access_token;
    http_answer answer;
    body.dump(answer.body);
    add_identity_headers(answer);
    return answer;
}

http_answer identity_responder::openid_configuration(const tenant& t) const {
    const std::string root = login_url_ + "/" + t.id;
    const std::string host = login_url_.substr(login_url_.find("://") + 3);
    auto strings = [](std::initializer_list<const char*> items) {
        ojson array(jsoncons::json_array_arg);
        for (const char* item : items) {
            array.push_back(item);
        }
        return array;
    };
    ojson doc(jsoncons::json_object_arg);
    doc["token_endpoint"] = root + "/oauth2/v2.0/token";
    doc["token_endpoint_auth_methods_supported"] =
        strings({"client_secret_post", "private_key_jwt", "client_secret_basic"});
    doc["jwks_uri"] = root + "/discovery/v2.0/keys";
    doc["response_modes_supported"] = strings({"query", "fragment", "form_post"});
    doc["subject_types_supported"] = strings({"pairwise"});
    doc["id_token_signing_alg_values_supported"] = strings({"RS256"});
    doc["response_types_supported"] =
        strings({"code", "id_token", "code id_token", "id_token token"});
    doc["scopes_supported"] = strings({"openid", "profile", "email", "offline_access"});
    doc["issuer"] = root + "/v2.0";
    doc["request_uri_parameter_supported"] = false;
    doc["authorization_endpoint"] = root + "/oauth2/v2.0/authorize";
    doc["device_authorization_endpoint"] = root + "/oauth2/v2.0/devicecode";
    doc["http_logout_supported"] = true;
    doc["frontchannel_logout_supported"] = true;
    doc["end_session_endpoint"] = root + "/oauth2/v2.0/logout";
    doc["claims_supported"] = strings({"sub", "iss", "aud", "exp", "iat", "nbf", "tid", "ver"});
    doc["tenant_region_scope"] = "EU";
    doc["cloud_instance_name"] = host;
    doc["cloud_graph_host_name"] = host;
    doc["msgraph_host"] = host;
    doc["rbac_url"] = login_url_;
    http_answer answer;
    doc.dump(answer.body);
    add_identity_headers(answer);
    return answer;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
