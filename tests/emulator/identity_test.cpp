// The Azure AD side of the emulator and the bearer check of Resource Manager routes.

#include <gtest/gtest.h>

#include <chrono>
#include <jsoncons/json.hpp>

#include "emulator/azure_emulator.hpp"
#include "tests/emulator/https_client.hpp"

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

using jsoncons::json;

constexpr const char* form = "application/x-www-form-urlencoded";

class identity_test : public ::testing::Test {
protected:
    azure_emulator emu;
    https_client client{emu.ca_file()};

    std::string token_url(const std::string& tenant = tenant_id, const char* version = "") const {
        return emu.login_url() + "/" + tenant + "/oauth2/" + version + "token";
    }
    std::string vm_list_url(const std::string& subscription = subscription_id) const {
        return emu.base_url() + "subscriptions/" + subscription +
               "/providers/Microsoft.Compute/virtualMachines?api-version=2019-12-01";
    }
};

TEST_F(identity_test, v1_token_carries_azure_ad_fields_as_strings_and_opens_resource_manager) {
    const auto before = std::chrono::system_clock::now();
    const http_result r = client.post(token_url(), token_form(emu.login_url() + "/"), form);
    ASSERT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(r.header("Content-Type"), "application/json; charset=utf-8");
    const json body = json::parse(r.body);
    EXPECT_EQ(body["token_type"].as<std::string>(), "Bearer");
    EXPECT_EQ(body["expires_in"].as<std::string>(), "3599");
    EXPECT_EQ(body["ext_expires_in"].as<std::string>(), "3599");
    EXPECT_EQ(body["resource"].as<std::string>(), emu.login_url() + "/");
    const long long now =
        std::chrono::duration_cast<std::chrono::seconds>(before.time_since_epoch()).count();
    EXPECT_NEAR(std::stoll(body["expires_on"].as<std::string>()), now + 3599, 5);
    EXPECT_NEAR(std::stoll(body["not_before"].as<std::string>()), now, 5);

    const http_result list = client.get(
        vm_list_url(), {{"Authorization", "Bearer " + body["access_token"].as<std::string>()}});
    EXPECT_EQ(list.status, 200) << list.body;
}

struct token_failure {
    const char* name;
    std::string tenant;
    std::string body;  // "$R" stands for the emulator's resource
    long status;
    const char* error;
    int code;
};

TEST_F(identity_test, token_failures_answer_with_azure_ad_error_bodies) {
    const std::vector<token_failure> cases{
        {"unknown tenant", "00000000-0000-0000-0000-000000000000", token_form("$R"), 400,
         "invalid_request", 90002},
        {"unknown client", tenant_id, token_form("$R", client_secret, "someone-else"), 400,
         "unauthorized_client", 700016},
        {"wrong secret", tenant_id, token_form("$R", "not-the-secret"), 401, "invalid_client",
         7000215},
        {"missing grant type", tenant_id,
         "client_id=" + client_id + "&client_secret=" + client_secret + "&resource=$R", 400,
         "invalid_request", 900144},
        {"missing secret", tenant_id,
         "grant_type=client_credentials&client_id=" + client_id + "&resource=$R", 400,
         "invalid_request", 900144},
        {"missing resource", tenant_id,
         "grant_type=client_credentials&client_id=" + client_id + "&client_secret=" + client_secret,
         400, "invalid_request", 900144},
        {"other grant", tenant_id,
         "grant_type=password&client_id=" + client_id + "&client_secret=" + client_secret, 400,
         "unsupported_grant_type", 70003},
        {"foreign resource", tenant_id, token_form("https://management.example"), 400,
         "invalid_resource", 500011},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string body = c.body;
        if (const auto at = body.find("$R"); at != std::string::npos) {
            body.replace(at, 2, emu.login_url());
        }
        const http_result r = client.post(token_url(c.tenant), body, form);
        ASSERT_EQ(r.status, c.status) << r.body;
        const json error = json::parse(r.body);
        EXPECT_EQ(error["error"].as<std::string>(), c.error);
        EXPECT_EQ(error["error_description"].as<std::string>().rfind(
                      "AADSTS" + std::to_string(c.code) + ": ", 0),
                  0u)
            << error["error_description"].as<std::string>();
        EXPECT_EQ(error["error_codes"][0].as<int>(), c.code);
        for (const char* field : {"timestamp", "trace_id", "correlation_id"}) {
            EXPECT_FALSE(error[field].as<std::string>().empty()) << field;
        }
    }
    // A JSON body is not a form: Azure AD sees no fields at all.
    const http_result json_body =
        client.post(token_url(), R"({"grant_type":"x"})", "application/json");
    EXPECT_EQ(json_body.status, 400);
}

TEST_F(identity_test, v2_token_and_openid_metadata_serve_sdk_clients) {
    const http_result metadata = client.get(
        emu.login_url() + "/emulated-tenant.example/v2.0/.well-known/openid-configuration");
    ASSERT_EQ(metadata.status, 200) << metadata.body;
    const json doc = json::parse(metadata.body);
    const std::string root = emu.login_url() + "/" + tenant_id;
    EXPECT_EQ(doc["issuer"].as<std::string>(), root + "/v2.0");
    EXPECT_EQ(doc["authorization_endpoint"].as<std::string>(), root + "/oauth2/v2.0/authorize");
    EXPECT_EQ(doc["token_endpoint"].as<std::string>(), root + "/oauth2/v2.0/token");
    EXPECT_EQ(doc["jwks_uri"].as<std::string>(), root + "/discovery/v2.0/keys");
    EXPECT_EQ(client.get(doc["jwks_uri"].as<std::string>()).status, 200);

    // SDKs write the ARM scope with a double slash before ".default".
    for (const std::string& scope :
         {emu.login_url() + "/.default", emu.login_url() + "//.default"}) {
        std::string body = "grant_type=client_credentials&client_id=" + client_id;
        body += "&client_secret=" + client_secret;
        body += "&scope=" + scope;
        const http_result r = client.post(doc["token_endpoint"].as<std::string>(), body, form);
        ASSERT_EQ(r.status, 200) << r.body;
        const json token = json::parse(r.body);
        EXPECT_EQ(token["expires_in"].as<int>(), 3599);
        EXPECT_EQ(client
                      .get(vm_list_url(),
                           {{"Authorization", "Bearer " + token["access_token"].as<std::string>()}})
                      .status,
                  200);
    }
    const http_result bad_scope =
        client.post(token_url(tenant_id, "v2.0/"),
                    "grant_type=client_credentials&client_id=" + client_id +
                        "&client_secret=" + client_secret + "&scope=" + emu.login_url(),
                    form);
    EXPECT_EQ(bad_scope.status, 400);
    EXPECT_EQ(json::parse(bad_scope.body)["error"].as<std::string>(), "invalid_scope");
    EXPECT_EQ(client.get(emu.login_url() + "/nobody/v2.0/.well-known/openid-configuration").status,
              400);
}

TEST_F(identity_test, resource_manager_refuses_missing_foreign_and_expired_tokens) {
    azure_emulator other;
    https_client other_client(other.ca_file());
    const std::string foreign = fetch_token(other_client, other);

    azure_emulator short_lived(with_scenario(
        R"({"token_lifetime_seconds": 0, "tenants": [{"id": "t", "applications": [
            {"client_id": "c", "client_secret": "s"}]}],
            "subscriptions": [{"id": "s1"}]})"));
    https_client short_client(short_lived.ca_file());
    const http_result issued =
        short_client.post(short_lived.login_url() + "/t/oauth2/token",
                          token_form(short_lived.login_url(), "s", "c"), form);
    ASSERT_EQ(issued.status, 200) << issued.body;
    const std::string expired = json::parse(issued.body)["access_token"].as<std::string>();
    const http_result expired_answer = short_client.get(
        short_lived.base_url() + "subscriptions/s1/locations?api-version=2020-01-01",
        {{"Authorization", "Bearer " + expired}});
    EXPECT_EQ(expired_answer.status, 401);
    EXPECT_EQ(json::parse(expired_answer.body)["error"]["code"].as<std::string>(),
              "ExpiredAuthenticationToken");

    const std::vector<std::pair<header_list, std::string>> cases{
        {{}, "AuthenticationFailed"},
        {{{"Authorization", "Bearer not-a-token"}}, "InvalidAuthenticationToken"},
        {{{"Authorization", "Basic dTpw"}}, "InvalidAuthenticationToken"},
        {{{"Authorization", "Bearer " + foreign}}, "InvalidAuthenticationToken"},
    };
    for (const auto& [headers, code] : cases) {
        const http_result r = client.get(vm_list_url(), headers);
        SCOPED_TRACE(code);
        EXPECT_EQ(r.status, 401);
        EXPECT_EQ(json::parse(r.body)["error"]["code"].as<std::string>(), code);
        EXPECT_EQ(r.header("WWW-Authenticate").rfind("Bearer authorization_uri=", 0), 0u);
    }
}

TEST_F(identity_test, subscriptions_outside_the_applications_reach_are_forbidden) {
    azure_emulator restricted(with_scenario(R"({
        "tenants": [{"id": "t", "applications": [
            {"client_id": "narrow", "client_secret": "s", "subscriptions": ["s1"]}]}],
        "subscriptions": [{"id": "s1"}, {"id": "s2"}]})"));
    https_client c(restricted.ca_file());
    const http_result issued = c.post(restricted.login_url() + "/t/oauth2/token",
                                      token_form(restricted.login_url(), "s", "narrow"), form);
    const header_list auth{
        {"Authorization", "Bearer " + json::parse(issued.body)["access_token"].as<std::string>()}};
    auto locations = [&](const std::string& sub) {
        return c.get(
            restricted.base_url() + "subscriptions/" + sub + "/locations?api-version=2020-01-01",
            auth);
    };
    EXPECT_EQ(locations("s1").status, 200);
    for (const char* sub : {"s2", "unknown"}) {
        const http_result r = locations(sub);
        EXPECT_EQ(r.status, 403) << sub;
        const std::string message = json::parse(r.body)["error"]["message"].as<std::string>();
        EXPECT_EQ(json::parse(r.body)["error"]["code"].as<std::string>(), "AuthorizationFailed");
        EXPECT_NE(message.find("Microsoft.Resources/subscriptions/locations/read"),
                  std::string::npos)
            << message;
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator::testing
