// Authentication providers and the token cache, against the emulator's token endpoint.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "rest/exceptions.hpp"
#include "rest/impl/azuread_provider_impl.hpp"
#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/endpoint_configuration.hpp"
#include "rest/impl/rest_impl.hpp"
#include "rest/impl/token_cache.hpp"
#include "rest/rest_factory.hpp"
#include "tests/support/failure_text.hpp"

namespace rest = zentrova::monitoring_modules::rest;
namespace emulator = zentrova::monitoring_modules::emulator;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using zentrova::monitoring_modules::testing::failure_text;

namespace {

// Special characters in the secret prove that the form is encoded.
constexpr const char* secret = "s3cr&t=+ /?%~value";
constexpr const char* encoded_secret = "s3cr%26t%3D%2B%20%2F%3F%25~value";

// Two tenants; client-1 is known to both, client-2 to the first only.
std::string scenario() {
    const std::string application =
        R"({"client_id":"client-1","client_secret":")" + std::string(secret) + "\"}";
    return R"({"token_lifetime_seconds":3600,"tenants":[{"id":"tenant-1","applications":[)" +
           application + R"(,{"client_id":"client-2","client_secret":")" + secret +
           R"("}]},{"id":"tenant-2","applications":[)" + application +
           R"(]}],"subscriptions":[{"id":"subscription-1"}]})";
}

class token_endpoint_test : public ::testing::Test {
protected:
    std::shared_ptr<rest::impl::azuread_provider_impl> provider(
        const std::string& client_secret = secret, const std::string& tenant = "tenant-1",
        const std::string& client_id = "client-1") {
        return std::make_shared<rest::impl::azuread_provider_impl>(
            client_id, client_secret, tenant,
            rest::impl::azuread_provider_options{emu.login_url(), token_clients, tokens,
                                                 token_timeout});
    }

    // What a provider of the same credentials with `timeout` gets once `start` is ready: its
    // header, or its failure's text.
    std::future<std::string> ask(std::uint32_t timeout,
                                 const std::shared_future<void>& start = {}) {
        token_timeout = timeout;
        return std::async(std::launch::async, [azure = provider(), start, this] {
            if (start.valid()) {
                start.wait();
            }
            try {
                return authorization(*azure, resource + "/");
            } catch (const rest::exceptions::authentication_failed& failure) {
                return std::string(failure.what());
            }
        });
    }

    static std::string authorization(rest::authentication_provider_interface& source,
                                     const std::string& url) {
        const auto [name, value] = source.get_authorization_header(url);
        EXPECT_EQ(name, "Authorization");
        return value;
    }

    std::uint64_t token_requests() const { return emu.counters().token_requests; }
    emulator::recorded_request last_request() const { return emu.requests().back(); }

    emulator::azure_emulator emu{[] {
        emulator::emulator_options options;
        options.scenario_json = scenario();
        return options;
    }()};
    // The emulator's two names are two resources, each with a token of its own.
    std::string resource = emu.login_url();
    std::string other_resource = "https://localhost:" + std::to_string(emu.port());
    std::shared_ptr<rest::impl::connection_pool_interface> pool =
        rest::impl::make_connection_pool({emu.ca_file(), 32});
    rest::rest_client_factory token_clients = rest::impl::clients_over(pool);
    std::uint32_t token_timeout = 30;
    std::shared_ptr<rest::impl::token_cache> tokens = std::make_shared<rest::impl::token_cache>();
};

TEST_F(token_endpoint_test, one_token_per_resource_fetched_with_an_encoded_form) {
    auto azure = provider();
    const std::string first = authorization(*azure, resource + "/subscriptions?x=1");
    EXPECT_THAT(first, ::testing::StartsWith("Bearer ey"));
    EXPECT_EQ(authorization(*azure, resource + "/other"), first);
    ASSERT_EQ(token_requests(), 1U);
    const auto request = last_request();
    EXPECT_EQ(request.target, "/tenant-1/oauth2/token");
    EXPECT_EQ(request.header("Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(request.body,
              std::string("client_id=client-1&client_secret=") + encoded_secret +
                  "&grant_type=client_credentials&resource=https%3A%2F%2F127.0.0.1%3A" +
                  std::to_string(emu.port()));

    // Another resource gets a token of its own; both stay cached.
    const std::string second = authorization(*azure, other_resource + "/y");
    EXPECT_NE(second, first);
    EXPECT_THAT(last_request().body, HasSubstr("resource=https%3A%2F%2Flocalhost%3A"));
    EXPECT_EQ(authorization(*azure, resource + "/z"), first);
    EXPECT_EQ(authorization(*azure, other_resource + "/z"), second);
    EXPECT_EQ(token_requests(), 2U);
}

TEST_F(token_endpoint_test, providers_with_the_same_credentials_share_one_token) {
    rest::impl::endpoint_configuration endpoints;
    endpoints.login_endpoint = emu.login_url();
    endpoints.ca_bundle = emu.ca_file();
    const rest::rest_factory module_factory(endpoints);
    const auto factory = [&](const std::string& client_id, const std::string& client_secret,
                             const std::string& tenant) {
        return module_factory.azuread_provider(client_id, client_secret, tenant, 30);
    };
    const std::string url = resource + "/subscriptions";
    const std::string shared = authorization(*factory("client-1", secret, "tenant-1"), url);
    EXPECT_EQ(authorization(*factory("client-1", secret, "tenant-1"), url), shared);
    EXPECT_EQ(token_requests(), 1U);
    // A different secret, tenant or client must never borrow that token: each asks the endpoint,
    // which refuses the wrong secret.
    EXPECT_THROW(authorization(*factory("client-1", "wrong", "tenant-1"), url),
                 rest::exceptions::authentication_failed);
    EXPECT_NE(authorization(*factory("client-1", secret, "tenant-2"), url), shared);
    EXPECT_EQ(last_request().target, "/tenant-2/oauth2/token");
    EXPECT_NE(authorization(*factory("client-2", secret, "tenant-1"), url), shared);
    EXPECT_EQ(token_requests(), 4U);
}

// A failing token endpoint costs every sensor of the credentials one failure together, not one
// each in turn: the waiters take the failure of the fetch they waited for. A silent one costs
// them one time-out; one that fails before their time-outs, its one answer.
TEST_F(token_endpoint_test, the_waiters_of_a_failed_fetch_share_its_failure) {
    const std::vector<std::tuple<std::string, std::uint32_t, std::string>> cases = {
        {R"({"route": "token", "delay_ms": 4000})", 2, "the token request to https://127.0.0.1:"},
        {R"({"route": "token", "status": 500, "delay_ms": 1000})", 10, "temporarily_unavailable"},
    };
    std::uint64_t expected_requests = 0;
    for (const auto& [faults, timeout, failure] : cases) {
        emu.set_faults_json(faults);
        std::promise<void> go;
        const std::shared_future<void> at_once = go.get_future().share();
        std::vector<std::future<std::string>> answers(4);
        for (auto& answer : answers) {
            answer = ask(timeout, at_once);
        }
        go.set_value();
        for (auto& answer : answers) {
            EXPECT_THAT(answer.get(),
                        AllOf(::testing::StartsWith("Authentication failed: "), HasSubstr(failure)))
                << faults;
        }
        EXPECT_EQ(token_requests(), ++expected_requests) << faults;
    }
    // A later request is no waiter of that fetch: it tries again.
    emu.clear_faults();
    EXPECT_THAT(authorization(*provider(), resource + "/"), ::testing::StartsWith("Bearer ey"));
    EXPECT_EQ(token_requests(), 3U);
}

// Each check waits for a token for its own time-out, whoever sent the request: that request
// lasts until the latest deadline of the checks waiting for it. Behind a check with 2 s, against
// an endpoint that answers in 3 s, a check with 8 s gets the token (and so does the first), and a
// check with 1 s leaves at its own time-out. Still one token request.
TEST_F(token_endpoint_test, each_check_waits_for_the_token_as_long_as_its_own_time_out) {
    emu.set_faults_json(R"({"route": "token", "delay_ms": 3000})");
    std::promise<void> sending;
    auto sent = sending.get_future();
    token_clients = [&, inner = token_clients](rest::rest_helper_settings settings) {
        sending.set_value();  // made for the one token request, as it is about to go out
        return inner(std::move(settings));
    };
    auto first = ask(2);
    sent.wait();
    auto longer = ask(8);
    auto shorter = ask(1);
    EXPECT_THAT(shorter.get(),
                AllOf(HasSubstr("timed out for this check"), HasSubstr("time-out of 1 s")));
    EXPECT_THAT(first.get(), ::testing::StartsWith("Bearer ey"));
    EXPECT_THAT(longer.get(), ::testing::StartsWith("Bearer ey"));
    EXPECT_EQ(token_requests(), 1U);
}

TEST_F(token_endpoint_test, the_secret_never_reaches_an_error_text) {
    // Endpoints that echo the form, or the secret itself, in their error description.
    for (const std::string& echoed :
         {std::string("client_id=client-1&client_secret=") + encoded_secret, std::string(secret)}) {
        emu.set_faults_json(R"({"route": "token", "status": 400, "body": "{\"error\":)"
                            R"(\"invalid_request\",\"error_description\":\"got )" +
                            echoed + R"(\"}"})");
        EXPECT_THAT(
            failure_text<rest::exceptions::authentication_failed>(
                [&] { authorization(*provider(), resource + "/"); }),
            AllOf(HasSubstr("********"), Not(HasSubstr(secret)), Not(HasSubstr(encoded_secret))));
    }
}

TEST(token_cache, keeps_nothing_of_a_failed_fetch_and_drops_expired_tokens) {
    std::chrono::steady_clock::time_point now{};
    rest::impl::token_cache cache([&] { return now; });
    const rest::impl::token_cache::token_request first{"https://login/t/oauth2/token", "c",
                                                       rest::impl::token_cache::secret_digest("s"),
                                                       "https://a"};
    EXPECT_THROW(cache.get(first, std::chrono::seconds(1),
                           [](const auto&) -> rest::impl::token_cache::fetched_token {
                               throw rest::exceptions::authentication_failed("no");
                           }),
                 rest::exceptions::authentication_failed);
    int fetches = 0;
    const auto fetch = [&](const auto& /*deadline*/) {
        ++fetches;
        return rest::impl::token_cache::fetched_token{"t" + std::to_string(fetches),
                                                      std::chrono::seconds(60)};
    };
    EXPECT_EQ(cache.get(first, std::chrono::seconds(1), fetch), "t1");
    EXPECT_EQ(cache.get(first, std::chrono::seconds(1), fetch), "t1");
    // A token's life starts when its request went out: a fetch that took 10 s leaves 29 s of a
    // 60 s token after 21 s more, less than the margin.
    now += std::chrono::seconds(61);
    const auto slow_fetch = [&](const auto& deadline) {
        now += std::chrono::seconds(10);
        return fetch(deadline);
    };
    EXPECT_EQ(cache.get(first, std::chrono::seconds(1), slow_fetch), "t2");
    now += std::chrono::seconds(21);
    EXPECT_EQ(cache.get(first, std::chrono::seconds(1), fetch), "t3");
    // Reused while at least 30 seconds are left, not a second longer.
    now += std::chrono::seconds(30);
    EXPECT_EQ(cache.get(first, std::chrono::seconds(1), fetch), "t3");
    now += std::chrono::seconds(1);
    EXPECT_EQ(cache.get(first, std::chrono::seconds(1), fetch), "t4");
    now += std::chrono::seconds(61);
    auto second = first;
    second.resource = "https://b";
    EXPECT_EQ(cache.get(second, std::chrono::seconds(1), fetch), "t5");
    EXPECT_EQ(cache.size(), 1U);
}

}  // namespace
