// Authentication providers and the token cache, with the token endpoint served on 127.0.0.1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "rest/exceptions.hpp"
#include "rest/impl/azuread_provider_impl.hpp"
#include "rest/impl/basic_authentication_provider.hpp"
#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/endpoint_configuration.hpp"
#include "rest/impl/rest_impl.hpp"
#include "rest/impl/token_cache.hpp"
#include "rest/rest_factory.hpp"
#include "tests/rest/failure_text.hpp"
#include "tests/rest/raw_http_server.hpp"
#include "tests/rest/test_https_server.hpp"

namespace rest = zentrova::monitoring_modules::rest;
using rest::testing::failure_text;
using rest::testing::test_https_server;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// Special characters in the secret prove that the form is encoded.
constexpr const char* secret = "s3cr&t=+ /?%~value";
constexpr const char* encoded_secret = "s3cr%26t%3D%2B%20%2F%3F%25~value";

struct seen_token_request {
    std::string tenant;
    std::string client_id;
    std::string client_secret;
    std::string grant_type;
    std::string resource;
    std::string content_type;
    std::string body;
};

class token_endpoint_test : public ::testing::Test {
protected:
    using answer_function = std::function<std::pair<int, std::string>(const seen_token_request&)>;

    void SetUp() override {
        server.routes().Post(R"(/([^/]+)/oauth2/token)", [this](const httplib::Request& request,
                                                                httplib::Response& response) {
            const std::lock_guard<std::mutex> guard(mutex);
            seen.push_back({request.matches[1], request.get_param_value("client_id"),
                            request.get_param_value("client_secret"),
                            request.get_param_value("grant_type"),
                            request.get_param_value("resource"),
                            request.get_header_value("Content-Type"), request.body});
            if (answer) {
                const auto [status, body] = answer(seen.back());
                response.status = status;
                response.set_content(body, "application/json");
                return;
            }
            response.set_content(
                R"({"token_type":"Bearer","expires_in":")" + std::to_string(lifetime_seconds) +
                    R"(","access_token":"token-)" + std::to_string(seen.size()) + "\"}",
                "application/json");
        });
        server.routes().Get("/subscriptions", [](const httplib::Request& request,
                                                 httplib::Response& response) {
            const bool authorized = request.get_header_value("Authorization") == "Bearer token-1";
            response.status = authorized ? 200 : 401;
            response.set_content(R"({"value":[]})", "application/json");
        });
        server.start();
    }

    std::shared_ptr<rest::impl::azuread_provider_impl> provider(
        const std::string& client_secret = secret, const std::string& tenant = "tenant-1",
        const std::string& client_id = "client-1") {
        return std::make_shared<rest::impl::azuread_provider_impl>(
            client_id, client_secret, tenant,
            rest::impl::azuread_provider_options{server.url(), rest::impl::clients_over(pool),
                                                 tokens});
    }

    // The module's factory, with this test's token endpoint as its login endpoint.
    rest::rest_factory factory() {
        rest::impl::endpoint_configuration endpoints;
        endpoints.login_endpoint = server.url();
        endpoints.ca_bundle = server.ca_file();
        return rest::rest_factory(endpoints);
    }

    std::string authorization(rest::authentication_provider_interface& source,
                              const std::string& url) {
        const auto [name, value] = source.get_authorization_header(url);
        EXPECT_EQ(name, "Authorization");
        return value;
    }

    std::size_t token_requests() {
        const std::lock_guard<std::mutex> guard(mutex);
        return seen.size();
    }

    seen_token_request last_token_request() {
        const std::lock_guard<std::mutex> guard(mutex);
        return seen.back();
    }

    test_https_server server;
    std::shared_ptr<rest::impl::connection_pool_interface> pool =
        rest::impl::make_connection_pool({server.ca_file(), 32});
    std::chrono::steady_clock::time_point now{};
    std::shared_ptr<rest::impl::token_cache> tokens =
        std::make_shared<rest::impl::token_cache>([this] { return now; });
    int lifetime_seconds = 3600;
    answer_function answer;
    std::mutex mutex;
    std::vector<seen_token_request> seen;
};

TEST_F(token_endpoint_test, two_requests_to_one_host_need_one_token) {
    auto azure = provider();
    EXPECT_EQ(authorization(*azure, "https://management.example.com/subscriptions?x=1"),
              "Bearer token-1");
    EXPECT_EQ(authorization(*azure, "https://management.example.com/other"), "Bearer token-1");
    ASSERT_EQ(token_requests(), 1U);

    const auto request = last_token_request();
    EXPECT_EQ(request.tenant, "tenant-1");
    EXPECT_EQ(request.client_id, "client-1");
    EXPECT_EQ(request.client_secret, secret);
    EXPECT_EQ(request.grant_type, "client_credentials");
    EXPECT_EQ(request.resource, "https://management.example.com");
    EXPECT_EQ(request.content_type, "application/x-www-form-urlencoded");
    EXPECT_EQ(request.body,
              std::string("client_id=client-1&client_secret=") + encoded_secret +
                  "&grant_type=client_credentials&resource=https%3A%2F%2Fmanagement.example.com");
}

TEST_F(token_endpoint_test, another_host_gets_a_token_of_its_own) {
    auto azure = provider();
    EXPECT_EQ(authorization(*azure, "https://management.example.com/x"), "Bearer token-1");
    EXPECT_EQ(authorization(*azure, "https://other.example:8443/y"), "Bearer token-2");
    EXPECT_EQ(last_token_request().resource, "https://other.example:8443");
    // Both tokens stay valid and cached, each for its own resource.
    EXPECT_EQ(authorization(*azure, "https://management.example.com/z"), "Bearer token-1");
    EXPECT_EQ(token_requests(), 2U);
}

TEST_F(token_endpoint_test, a_token_is_reused_while_at_least_30_seconds_are_left) {
    const std::vector<std::pair<int, std::size_t>> cases = {
        {0, 1}, {3569, 1}, {3570, 1}, {3571, 2}, {3600, 2}};
    for (const auto& [elapsed, expected_requests] : cases) {
        // Each case starts from a fresh cache with a token fetched at time 0.
        tokens = std::make_shared<rest::impl::token_cache>([this] { return now; });
        {
            const std::lock_guard<std::mutex> guard(mutex);
            seen.clear();
        }
        now = std::chrono::steady_clock::time_point{};
        auto azure = provider();
        authorization(*azure, "https://management.example.com/");
        now += std::chrono::seconds(elapsed);
        authorization(*azure, "https://management.example.com/");
        EXPECT_EQ(token_requests(), expected_requests) << elapsed << " s after the fetch";
    }
}

TEST_F(token_endpoint_test, providers_with_the_same_credentials_share_one_token) {
    const auto shared = factory();
    const auto azure = [&](const std::string& client_id, const std::string& client_secret,
                           const std::string& tenant) {
        return shared.azuread_provider(client_id, client_secret, tenant);
    };
    const std::string url = "https://management.example.com/subscriptions";
    EXPECT_EQ(authorization(*azure("client-1", secret, "tenant-1"), url), "Bearer token-1");
    EXPECT_EQ(authorization(*azure("client-1", secret, "tenant-1"), url), "Bearer token-1");
    EXPECT_EQ(token_requests(), 1U);
    // A different secret, tenant or client must never borrow that token.
    EXPECT_EQ(authorization(*azure("client-1", "wrong", "tenant-1"), url), "Bearer token-2");
    EXPECT_EQ(authorization(*azure("client-1", secret, "tenant-2"), url), "Bearer token-3");
    EXPECT_EQ(last_token_request().tenant, "tenant-2");
    EXPECT_EQ(authorization(*azure("client-2", secret, "tenant-1"), url), "Bearer token-4");
    EXPECT_EQ(token_requests(), 4U);
}

TEST_F(token_endpoint_test, many_threads_wanting_one_token_cause_one_fetch) {
    constexpr int threads = 8;
    std::promise<void> go;
    const std::shared_future<void> start = go.get_future().share();
    std::vector<std::future<std::string>> headers;
    for (int thread = 0; thread < threads; ++thread) {
        auto azure = provider();
        headers.push_back(std::async(std::launch::async, [azure, start, this] {
            start.wait();
            return authorization(*azure, "https://management.example.com/");
        }));
    }
    go.set_value();
    for (auto& header : headers) {
        EXPECT_EQ(header.get(), "Bearer token-1");
    }
    EXPECT_EQ(token_requests(), 1U);
}

TEST_F(token_endpoint_test, the_token_authorizes_requests_over_the_shared_connection) {
    const auto shared = factory();
    rest::rest_helper_settings settings;
    settings.base_url = server.url();
    settings.authentication_provider = shared.azuread_provider("client-1", secret, "tenant-1");
    auto client = shared.make_client(settings);
    EXPECT_EQ(client->send_request_path("subscriptions", {}).status_code, 200);
    EXPECT_EQ(client->send_request_path("subscriptions", {}).status_code, 200);
    EXPECT_EQ(last_token_request().resource, server.url());
    EXPECT_EQ(token_requests(), 1U);
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(token_endpoint_test, an_error_answer_says_what_the_endpoint_said) {
    answer = [](const seen_token_request&) {
        return std::make_pair(
            401,
            std::string(
                R"({"error":"invalid_client","error_description":"AADSTS7000215: Invalid client secret provided.","error_codes":[7000215]})"));
    };
    EXPECT_EQ(
        failure_text<rest::exceptions::authentication_failed>(
            [&] { authorization(*provider(), "https://management.example.com/"); }),
        "Authentication failed: invalid_client: AADSTS7000215: Invalid client secret provided.");
}

TEST_F(token_endpoint_test, the_secret_never_reaches_an_error_text) {
    const std::vector<answer_function> echoes = {
        [](const seen_token_request& request) {
            return std::make_pair(400, R"({"error":"invalid_request","error_description":"got )" +
                                           request.body + "\"}");
        },
        [](const seen_token_request& request) {
            return std::make_pair(400,
                                  R"({"error":"invalid_request","error_description":"secret )" +
                                      request.client_secret + "\"}");
        },
    };
    for (const auto& echo : echoes) {
        answer = echo;
        EXPECT_THAT(
            failure_text<rest::exceptions::authentication_failed>(
                [&] { authorization(*provider(), "https://management.example.com/"); }),
            AllOf(HasSubstr("********"), Not(HasSubstr(secret)), Not(HasSubstr(encoded_secret))));
    }
}

TEST_F(token_endpoint_test, a_failed_fetch_is_tried_again_on_the_next_request) {
    answer = [](const seen_token_request&) {
        return std::make_pair(503, std::string("<html>busy</html>"));
    };
    auto azure = provider();
    EXPECT_THAT(failure_text<rest::exceptions::authentication_failed>(
                    [&] { authorization(*azure, "https://management.example.com/"); }),
                HasSubstr("HTTP 503"));
    answer = nullptr;
    EXPECT_EQ(authorization(*azure, "https://management.example.com/"), "Bearer token-2");
    EXPECT_EQ(token_requests(), 2U);
}

TEST(azuread_provider, an_unreachable_token_endpoint_is_a_connection_failure) {
    const rest::testing::refusing_port refusing;
    rest::impl::azuread_provider_impl azure(
        "client-1", secret, "tenant-1",
        {"https://127.0.0.1:" + std::to_string(refusing.port()), {}, {}});
    EXPECT_THAT(failure_text<rest::exceptions::connection_failed>(
                    [&] { azure.get_authorization_header("https://management.example.com/"); }),
                AllOf(HasSubstr(std::to_string(refusing.port())), Not(HasSubstr(secret))));
    EXPECT_THROW(
        rest::impl::azuread_provider_impl("c", "s", "t", {"https://login.example:port", {}, {}})
            .get_authorization_header("https://management.example.com/"),
        rest::exceptions::invalid_url);
    EXPECT_THROW(azure.get_authorization_header("https:///no-host"), rest::exceptions::invalid_url);
}

TEST(token_cache, keeps_nothing_of_a_failed_fetch_and_drops_expired_tokens) {
    std::chrono::steady_clock::time_point now{};
    rest::impl::token_cache cache([&] { return now; });
    const rest::impl::token_cache::token_request first{"https://login/t/oauth2/token", "c",
                                                       rest::impl::token_cache::secret_digest("s"),
                                                       "https://a"};
    EXPECT_THROW(cache.get(first,
                           []() -> rest::impl::token_cache::fetched_token {
                               throw rest::exceptions::authentication_failed("no");
                           }),
                 rest::exceptions::authentication_failed);
    int fetches = 0;
    const auto fetch = [&] {
        ++fetches;
        return rest::impl::token_cache::fetched_token{"t" + std::to_string(fetches),
                                                      std::chrono::seconds(60)};
    };
    EXPECT_EQ(cache.get(first, fetch), "t1");
    EXPECT_EQ(cache.get(first, fetch), "t1");
    now += std::chrono::seconds(61);
    auto second = first;
    second.resource = "https://b";
    EXPECT_EQ(cache.get(second, fetch), "t2");
    EXPECT_EQ(cache.size(), 1U);
}

TEST(basic_provider, sends_user_and_password_in_base64) {
    rest::impl::basic_authentication_provider basic("u", "p");
    EXPECT_EQ(basic.get_authorization_header("ignored"),
              std::make_pair(std::string("Authorization"), std::string("Basic dTpw")));
}

}  // namespace
