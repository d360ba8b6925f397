// What every HTTP engine under the REST client must do alike, run against each engine of the
// build: what goes on the wire (headers, cookies, methods, the target), what comes back (status,
// headers, cookies), failures at each step and time-outs, TLS refusal with and without a CA
// bundle, and connection reuse. The server echoes each request, so the checks read what the
// server received from the answer itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "rest/exceptions.hpp"
#include "rest/impl/rest_impl.hpp"
#include "tests/rest/conformance/engines_under_test.hpp"
#include "tests/support/failure_text.hpp"

namespace zentrova::monitoring_modules::rest::testing {
namespace {

using monitoring_modules::testing::failure_text;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// The request as the server received it, read back from the echo.
struct echoed_request {
    std::string request_line;
    std::vector<std::string> header_lines;  // without the transport's own (see below)
    std::string host;
    std::string content_length;  // empty when the header was not sent
    std::string body;
    std::string connection;  // the server's id of the connection it came on
};

echoed_request read_echo(const response& answer) {
    echoed_request echoed;
    const auto head_end = answer.body.find("\r\n\r\n");
    echoed.body = head_end == std::string::npos ? "" : answer.body.substr(head_end + 4);
    std::istringstream lines(answer.body.substr(0, head_end));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (echoed.request_line.empty()) {
            echoed.request_line = line;
            continue;
        }
        const auto colon = line.find(':');
        std::string name = line.substr(0, colon);
        std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
        value.erase(0, value.find_first_not_of(' '));
        value.erase(value.find_last_not_of(' ') + 1);
        std::string key = name;
        std::transform(key.begin(), key.end(), key.begin(),
                       [](unsigned char character) { return std::tolower(character); });
        // Host, Content-Length and connection management belong to the transport; an engine
        // may place them where it likes.
        if (key == "host") {
            echoed.host = value;
        } else if (key == "content-length") {
            echoed.content_length = value;
        } else if (key != "connection") {
            echoed.header_lines.push_back(name.append(": ").append(value));
        }
    }
    const auto connection = answer.headers.find("X-Connection");
    echoed.connection = connection == answer.headers.end() ? "" : connection->second;
    return echoed;
}

rest_helper_settings settings_for(std::string base_url, std::uint32_t timeout = 10) {
    rest_helper_settings settings;
    settings.base_url = std::move(base_url);
    settings.timeout = timeout;
    return settings;
}

request get() {
    return {};
}

// A marker no other request carries, to ask the server whether a request got through.
// Unique per process too: a conformance server outside the test process (Wine) outlives it.
std::string unique_marker(const std::string& name) {
    static const std::string run = std::to_string(std::random_device{}());
    static std::atomic<int> counter{0};
    return "marker-" + name + "-" + run + "-" + std::to_string(counter++);
}

// A provider that counts how often it was asked.
class counting_provider : public authentication_provider_interface {
public:
    std::pair<std::string, std::string> get_authorization_header(const std::string& url) override {
        ++calls;
        last_url = url;
        if (refuse) {
            throw exceptions::authentication_failed("invalid_client: no");
        }
        return {"Authorization", "Bearer counted"};
    }
    int calls = 0;
    bool refuse = false;
    std::string last_url;
};

class engine_conformance : public ::testing::TestWithParam<engine_under_test> {
protected:
    const server_description& server = server_under_test();
    std::shared_ptr<impl::connection_pool_interface> pool = GetParam().make_pool({});

    std::shared_ptr<impl::connection_pool_interface> pool_trusting(
        const std::string& ca_file) const {
        return GetParam().make_pool({ca_file, 32});
    }

    std::unique_ptr<rest_interface> client(
        rest_helper_settings settings,
        const std::shared_ptr<impl::connection_pool_interface>& with_pool = nullptr) {
        return std::make_unique<impl::rest_impl>(std::move(settings),
                                                 (with_pool ? with_pool : pool)->make_engine());
    }

    // How many requests whose target held `marker` reached the server.
    int seen(const std::string& marker) {
        return std::stoi(client(settings_for(server.plain_url()))
                             ->send_request_path("seen?" + marker, get())
                             .body);
    }

    std::string url(std::uint16_t port, const std::string& scheme = "http") const {
        return scheme + "://" + server.host + ":" + std::to_string(port);
    }
};

TEST_P(engine_conformance, sends_user_agent_then_default_then_request_headers_then_cookies) {
    auto settings = settings_for(server.plain_url() + "/base");
    settings.default_headers = {{"X-Default", "d"}};
    settings.default_cookies = {{"a", "1"}};
    request with_extras;
    with_extras.headers = {{"X-Request", "r"}};
    with_extras.cookies = {{"b", "2"}};
    const auto echoed = read_echo(client(settings)->send_request_path("items?x=1", with_extras));
    EXPECT_EQ(echoed.request_line, "GET /base/items?x=1 HTTP/1.1");
    EXPECT_EQ(echoed.host, server.host + ":" + std::to_string(server.plain_port));
    EXPECT_THAT(echoed.header_lines, ElementsAre("User-Agent: TARV/0.22.2.7441", "X-Default: d",
                                                 "X-Request: r", "Cookie: a=1; b=2"));
    EXPECT_EQ(echoed.content_length, "");
}

TEST_P(engine_conformance, a_later_header_replaces_an_earlier_one_of_the_same_name) {
    auto settings = settings_for(server.plain_url());
    settings.default_headers = {{"Accept", "text/plain"}};
    request replacing;
    replacing.headers = {{"accept", "application/json"}, {"user-agent", "custom"}};
    EXPECT_THAT(read_echo(client(settings)->send_request(replacing)).header_lines,
                ElementsAre("User-Agent: custom", "Accept: application/json"));
}

TEST_P(engine_conformance, joins_the_path_to_the_base_url) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"items", "GET /api/items HTTP/1.1"},
        {"/items", "GET /api/items HTTP/1.1"},
        {"", "GET /api HTTP/1.1"},
        {"?q=1", "GET /api/?q=1 HTTP/1.1"},
        {"a b", "GET /api/a%20b HTTP/1.1"},
        {"x?$filter=a%20eq%201", "GET /api/x?$filter=a%20eq%201 HTTP/1.1"},
        {"//double", "GET /api//double HTTP/1.1"},
    };
    auto sender = client(settings_for(server.plain_url() + "/api"));
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(read_echo(sender->send_request_path(path, get())).request_line, expected)
            << "path '" << path << "'";
    }
    EXPECT_EQ(read_echo(client(settings_for(server.plain_url()))->send_request(get())).request_line,
              "GET / HTTP/1.1");
}

TEST_P(engine_conformance, sends_a_body_only_with_post) {
    auto sender = client(settings_for(server.plain_url()));
    request post;
    post.method = request_method::POST;
    post.headers = {{"Content-Type", "application/json"}};
    post.body = R"({"type":"ActualCost","grüße":1})";
    const auto posted = read_echo(sender->send_request(post));
    EXPECT_EQ(posted.request_line, "POST / HTTP/1.1");
    EXPECT_THAT(posted.header_lines,
                ElementsAre("User-Agent: TARV/0.22.2.7441", "Content-Type: application/json"));
    EXPECT_EQ(posted.content_length, std::to_string(post.body.size()));
    EXPECT_EQ(posted.body, post.body);

    request empty_post;
    empty_post.method = request_method::POST;
    const auto empty = read_echo(sender->send_request(empty_post));
    EXPECT_EQ(empty.content_length, "0");
    EXPECT_THAT(empty.header_lines, ElementsAre("User-Agent: TARV/0.22.2.7441"));

    const std::string marker = unique_marker("body");
    for (const auto method : {request_method::GET, request_method::HEAD}) {
        request wrong;
        wrong.method = method;
        wrong.body = "x";
        EXPECT_EQ(failure_text<exceptions::invalid_method>(
                      [&] { sender->send_request_path(marker, wrong); }),
                  "Invalid Request method: Request method is not POST, but a POST body has been "
                  "set for the request.");
    }
    EXPECT_EQ(seen(marker), 0);

    request head;
    head.method = request_method::HEAD;
    const auto answer = sender->send_request(head);
    EXPECT_EQ(answer.status_code, 200);
    EXPECT_EQ(answer.body, "");
    EXPECT_NE(answer.headers.find("X-Connection"), answer.headers.end());
}

TEST_P(engine_conformance, refuses_headers_that_would_break_the_request) {
    auto sender = client(settings_for(server.plain_url()));
    const std::string marker = unique_marker("headers");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"X-Injected", "a\r\nEvil: yes"}, {"X Spaced", "v"}, {"X-Colon:", "v"}, {"", "v"}};
    for (const auto& [name, value] : cases) {
        request refused;
        refused.headers = {{name, value}};
        EXPECT_THAT(failure_text<exceptions::add_header_failed>(
                        [&] { sender->send_request_path(marker, refused); }),
                    StartsWith("Adding header '" + name + "' failed: "));
    }
    request bad_cookie;
    bad_cookie.cookies = {{"c", "1\nEvil: yes"}};
    EXPECT_THROW(sender->send_request_path(marker, bad_cookie), exceptions::add_header_failed);
    EXPECT_EQ(seen(marker), 0);
}

TEST_P(engine_conformance, authorization_comes_from_the_url_or_the_provider_never_both) {
    const std::string with_login =
        "http://user:pw@" + server.host + ":" + std::to_string(server.plain_port);
    EXPECT_THAT(read_echo(client(settings_for(with_login))->send_request(get())).header_lines,
                ::testing::Contains("Authorization: Basic dXNlcjpwdw=="));

    auto provider = std::make_shared<counting_provider>();
    auto settings = settings_for(server.plain_url() + "/api");
    settings.authentication_provider = provider;
    EXPECT_THAT(read_echo(client(settings)->send_request_path("x?y=1", get())).header_lines,
                ElementsAre("User-Agent: TARV/0.22.2.7441", "Authorization: Bearer counted"));
    EXPECT_EQ(provider->last_url, server.plain_url() + "/api/x?y=1");

    settings.base_url = with_login;
    EXPECT_EQ(failure_text<exceptions::multiple_authentication_methods>(
                  [&] { client(settings)->send_request(get()); }),
              "Multiple authentication methods specified");
    EXPECT_EQ(provider->calls, 1);

    const std::string marker = unique_marker("provider");
    provider->refuse = true;
    settings.base_url = server.plain_url();
    EXPECT_EQ(failure_text<exceptions::authentication_failed>(
                  [&] { client(settings)->send_request_path(marker, get()); }),
              "Authentication failed: invalid_client: no");
    EXPECT_EQ(seen(marker), 0);
}

TEST_P(engine_conformance, keeps_status_reason_headers_and_cookies_as_received) {
    auto sender = client(settings_for(server.plain_url()));
    const auto answer = sender->send_request_path("teapot", get());
    EXPECT_EQ(answer.status_code, 418);
    EXPECT_EQ(answer.status_text, "I'm a teapot");
    EXPECT_EQ(answer.get_header("X-Custom-Header"), "spaced value");
    EXPECT_EQ(answer.get_header("Content-Type"), "application/json; charset=utf-8");
    EXPECT_EQ(answer.get_header("Vary"), "Accept, Origin");
    EXPECT_EQ(answer.cookies, (cookie_map{{"sid", "abc"}, {"theme", "dark"}}));
    EXPECT_EQ(answer.body, R"({"error":{"code":"Teapot"}})");
    for (const auto& [status, reason] : std::vector<std::pair<int, std::string>>{
             {204, "No Content"}, {503, "Service Unavailable"}}) {
        const auto plain = sender->send_request_path("status/" + std::to_string(status), get());
        EXPECT_EQ(plain.status_code, status);
        EXPECT_EQ(plain.status_text, reason);
        EXPECT_EQ(plain.body, status == 204 ? "" : "status 503");
    }
}

TEST_P(engine_conformance, follows_no_redirect_and_keeps_no_cookie) {
    auto sender = client(settings_for(server.plain_url()));
    const auto moved = sender->send_request_path("redirect", get());
    EXPECT_EQ(moved.status_code, 302);
    EXPECT_EQ(moved.get_header("Location"), "/echo/redirected");
    EXPECT_EQ(moved.body, "moved");

    EXPECT_EQ(sender->send_request_path("set-cookie", get()).cookies,
              (cookie_map{{"session", "s3cr3t"}}));
    // Only the caller's cookies go out; the engine does not replay what a server set.
    const auto next = read_echo(sender->send_request_path("echo", get()));
    EXPECT_THAT(next.header_lines, ElementsAre("User-Agent: TARV/0.22.2.7441"));
}

TEST_P(engine_conformance, no_connection_is_a_connection_failure) {
    const std::string port = std::to_string(server.refusing_port);
    for (const auto* scheme : {"http", "https"}) {
        EXPECT_THAT(
            failure_text<exceptions::connection_failed>([&] {
                client(settings_for(url(server.refusing_port, scheme)))->send_request(get());
            }),
            AllOf(StartsWith("Connection failed: "), HasSubstr(port)))
            << scheme;
    }
    EXPECT_THAT(failure_text<exceptions::connection_failed>(
                    [&] { client(settings_for("gopher://localhost/x"))->send_request(get()); }),
                HasSubstr("no port"));
}

// The time-out bounds the whole exchange, not each read: a server that sends a byte every
// 100 ms for a minute is left after the time-out, as one that sends nothing is. Each case ends
// long before its server would (a minute; the bound leaves room for a loaded machine).
TEST_P(engine_conformance, failures_after_connecting_are_request_failures) {
    struct failure_case {
        std::string path;
        std::string details;
        std::uint32_t timeout = 1;
    };
    const std::vector<failure_case> cases = {
        {"close-mid-body", ""},
        {"close-silently", ""},
        {"hold", "Operation timed out after"},
        {"trickle/600", "Operation timed out after"},
        {"not-http", ""},
        // Reading stops at the cap, long before the time-out.
        {"endless", "is larger than 32 MiB", 60},
    };
    for (const auto& entry : cases) {
        auto sender = client(settings_for(server.plain_url(), entry.timeout));
        const auto started = std::chrono::steady_clock::now();
        EXPECT_THAT(failure_text<exceptions::request_failed>(
                        [&] { sender->send_request_path(entry.path, get()); }),
                    AllOf(StartsWith("Request failed: "), HasSubstr(entry.details)))
            << entry.path;
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20))
            << entry.path;
        // The client keeps working after the failure.
        EXPECT_EQ(sender->send_request_path("status/204", get()).status_code, 204) << entry.path;
    }
}

TEST_P(engine_conformance, a_header_sent_a_byte_at_a_time_ends_at_the_time_out) {
    if (!GetParam().header_wait_gap.empty()) {
        GTEST_SKIP() << GetParam().header_wait_gap;
    }
    const auto started = std::chrono::steady_clock::now();
    EXPECT_THAT(failure_text<exceptions::request_failed>([&] {
                    client(settings_for(server.plain_url(), 1))
                        ->send_request_path("trickle-headers", get());
                }),
                HasSubstr("Operation timed out after"));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
}

// A deadline that others share (a token request's) may move later while the exchange runs: the
// exchange then lasts until the new one. The body takes 3 s to arrive; the first deadline, 2 s,
// is moved once the request has reached the server.
TEST_P(engine_conformance, a_deadline_moved_later_while_the_exchange_runs_holds) {
    const std::string marker = unique_marker("moved");
    request slow;
    const auto first = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    auto deadline = std::make_shared<request_deadline>(first);
    slow.deadline = deadline;
    auto answer = std::async(std::launch::async, [&] {
        return client(settings_for(server.plain_url()))
            ->send_request_path("trickle/30?" + marker, slow);
    });
    while (seen(marker) == 0 && std::chrono::steady_clock::now() < first) {
    }
    if (std::chrono::steady_clock::now() >= first) {
        answer.wait();
        GTEST_SKIP() << "the request took 2 s to reach the server: too slow to move its deadline";
    }
    deadline->extend_to(std::chrono::steady_clock::now() + std::chrono::seconds(30));
    const auto received = answer.get();
    EXPECT_EQ(received.status_code, 200);
    EXPECT_EQ(received.body, std::string(30, 'x'));
}

// A time-out of 0 would let a silent server hold a check for ever.
TEST(rest_client, a_zero_timeout_waits_thirty_seconds) {
    class recording_engine final : public impl::http_engine_interface {
    public:
        explicit recording_engine(std::vector<std::chrono::seconds>& seen) : seen_(seen) {}
        impl::exchange_outcome exchange(const impl::http_exchange& request,
                                        impl::http_exchange_result& result) override {
            seen_.push_back(
                std::chrono::round<std::chrono::seconds>(request.deadline->remaining()));
            result.status_code = 204;
            return {};
        }
        const std::string& last_error() const override { return error_; }

    private:
        std::vector<std::chrono::seconds>& seen_;
        std::string error_;
    };
    std::vector<std::chrono::seconds> seen;
    for (const std::uint32_t timeout : {0U, 7U}) {
        impl::rest_impl(settings_for("https://127.0.0.1:1", timeout),
                        std::make_unique<recording_engine>(seen))
            .send_request(get());
    }
    EXPECT_THAT(seen, ElementsAre(std::chrono::seconds(30), std::chrono::seconds(7)));
}

// Every other case speaks http to the plain port and https to the TLS one.
TEST_P(engine_conformance, https_to_a_plain_port_fails_to_connect) {
    EXPECT_THROW(
        client(settings_for(url(server.plain_port, "https")), pool_trusting(server.tls_ca_file))
            ->send_request(get()),
        exceptions::connection_failed);
}

TEST_P(engine_conformance, sends_nothing_to_a_server_whose_certificate_it_cannot_trust) {
    struct refusal_case {
        std::string name;
        std::uint16_t port;
        std::shared_ptr<impl::connection_pool_interface> pool;
        std::string details;
    };
    const std::vector<refusal_case> cases = {
        {"system trust store only", server.tls_port, GetParam().make_pool({}), "certificate"},
        {"a CA bundle that does not hold the server's CA", server.tls_port,
         pool_trusting(server.other_host_ca_file), "certificate"},
        {"a certificate for another host", server.other_host_port,
         pool_trusting(server.other_host_ca_file), "localhost"},
    };
    for (const auto& entry : cases) {
        const std::string marker = unique_marker("refused");
        request secret;
        secret.headers = {{"Authorization", "Bearer must-not-leave"}};
        EXPECT_THAT(failure_text<exceptions::connection_failed>([&] {
                        client(settings_for(url(entry.port, "https")), entry.pool)
                            ->send_request_path(marker, secret);
                    }),
                    AllOf(StartsWith("Connection failed: "), HasSubstr("certificate"),
                          HasSubstr(entry.details)))
            << entry.name;
        EXPECT_EQ(seen(marker), 0) << entry.name;
    }
}

TEST_P(engine_conformance, a_ca_bundle_without_certificates_is_refused) {
    const auto directory = std::filesystem::temp_directory_path() / unique_marker("bundle");
    std::filesystem::create_directories(directory);
    const std::string empty_file = (directory / "empty.pem").string();
    std::ofstream(empty_file) << "not a certificate\n";
    const std::string damaged_file = (directory / "damaged.pem").string();
    std::ofstream(damaged_file) << "-----BEGIN CERTIFICATE-----\nbm90IGEgY2VydGlmaWNhdGU=\n"
                                   "-----END CERTIFICATE-----\n";
    for (const auto& path : {empty_file, damaged_file, (directory / "missing.pem").string()}) {
        EXPECT_THAT(failure_text<std::invalid_argument>([&] {
                        GetParam().make_pool({path, 32});
                    }),
                    HasSubstr(path));
    }
    std::filesystem::remove_all(directory);
}

// A CA bundle is trusted, a client keeps its connection between requests, and the clients of one
// pool share it.
TEST_P(engine_conformance, clients_of_one_pool_share_connections) {
    const auto shared = pool_trusting(server.tls_ca_file);
    std::set<std::string> connections;
    for (int index = 0; index < 10; ++index) {
        auto sender = client(settings_for(server.tls_url()), shared);
        connections.insert(read_echo(sender->send_request(get())).connection);
        connections.insert(read_echo(sender->send_request(get())).connection);
    }
    EXPECT_EQ(connections.size(), 1U);
    EXPECT_THAT(*connections.begin(), ::testing::Not(IsEmpty()));
}

TEST_P(engine_conformance, clients_on_several_threads_need_no_more_connections_than_threads) {
    const auto shared = pool_trusting(server.tls_ca_file);
    constexpr int threads = 4;
    constexpr int requests_per_thread = 25;
    std::vector<std::vector<std::string>> seen_connections(threads);
    std::vector<std::thread> workers;
    workers.reserve(threads);
    for (int thread = 0; thread < threads; ++thread) {
        workers.emplace_back([&, thread] {
            auto sender = client(settings_for(server.tls_url()), shared);
            for (int index = 0; index < requests_per_thread; ++index) {
                const auto answer = sender->send_request(get());
                if (answer.status_code == 200) {
                    seen_connections[thread].push_back(read_echo(answer).connection);
                }
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    std::set<std::string> distinct;
    for (const auto& per_thread : seen_connections) {
        EXPECT_EQ(per_thread.size(), static_cast<std::size_t>(requests_per_thread));
        distinct.insert(per_thread.begin(), per_thread.end());
    }
    EXPECT_LE(distinct.size(), static_cast<std::size_t>(threads));
}

INSTANTIATE_TEST_SUITE_P(engines, engine_conformance, ::testing::ValuesIn(engines_under_test()),
                         [](const ::testing::TestParamInfo<engine_under_test>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace zentrova::monitoring_modules::rest::testing
