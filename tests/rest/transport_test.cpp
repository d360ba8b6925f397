// The client over the real HTTP engine, against servers on 127.0.0.1: what goes on the wire,
// what comes back, TLS trust, failures at each step, and connection reuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "rest/exceptions.hpp"
#include "rest/rest_factory.hpp"
#include "tests/rest/failure_text.hpp"
#include "tests/rest/raw_http_server.hpp"
#include "tests/rest/test_https_server.hpp"

namespace rest = zentrova::monitoring_modules::rest;
namespace emulator = zentrova::monitoring_modules::emulator;
using rest::testing::failure_text;
using rest::testing::raw_http_server;
using rest::testing::test_https_server;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

rest::rest_helper_settings settings_for(std::string base_url, std::uint32_t timeout = 10) {
    rest::rest_helper_settings settings;
    settings.base_url = std::move(base_url);
    settings.timeout = timeout;
    return settings;
}

std::shared_ptr<rest::connection_pool> pool_trusting(const std::string& ca_file) {
    return std::make_shared<rest::connection_pool>(rest::connection_pool_options{ca_file, 32});
}

rest::request get() {
    return {};
}

// The header lines of a raw request, without the request line.
std::vector<std::string> header_lines(const std::string& raw) {
    std::vector<std::string> lines;
    std::istringstream stream(raw.substr(0, raw.find("\r\n\r\n")));
    std::string line;
    std::getline(stream, line);
    while (std::getline(stream, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> header_names(const std::string& raw) {
    std::vector<std::string> names;
    for (const auto& line : header_lines(raw)) {
        names.push_back(line.substr(0, line.find(':')));
    }
    return names;
}

std::string request_line(const std::string& raw) {
    return raw.substr(0, raw.find("\r\n"));
}

// A provider that counts how often it was asked.
class counting_provider : public rest::authentication_provider_interface {
public:
    std::pair<std::string, std::string> get_authorization_header(const std::string& url) override {
        ++calls;
        last_url = url;
        if (refuse) {
            throw rest::exceptions::authentication_failed("invalid_client: no");
        }
        return {"Authorization", "Bearer counted"};
    }
    int calls = 0;
    bool refuse = false;
    std::string last_url;
};

class wire_test : public ::testing::Test {
protected:
    raw_http_server server{[](const std::string&) {
        return raw_http_server::reply("HTTP/1.1 200 OK", {"Content-Type: application/json"}, "{}");
    }};
    std::shared_ptr<rest::connection_pool> pool = std::make_shared<rest::connection_pool>();

    std::unique_ptr<rest::rest_interface> client(rest::rest_helper_settings settings) {
        return rest::create_rest_client(std::move(settings), pool);
    }
};

TEST_F(wire_test, sends_user_agent_then_default_then_request_headers_then_cookies) {
    auto settings = settings_for(server.url() + "/base");
    settings.default_headers = {{"X-Default", "d"}};
    settings.default_cookies = {{"a", "1"}};
    auto sender = client(settings);
    rest::request request;
    request.headers = {{"X-Request", "r"}};
    request.cookies = {{"b", "2"}};
    sender->send_request_path("items?x=1", request);

    ASSERT_EQ(server.requests().size(), 1U);
    const std::string raw = server.requests().front();
    EXPECT_EQ(request_line(raw), "GET /base/items?x=1 HTTP/1.1");
    EXPECT_THAT(header_lines(raw),
                ElementsAre(StartsWith("Host: 127.0.0.1:"), "User-Agent: TARV/0.22.2.7441",
                            "X-Default: d", "X-Request: r", "Cookie: a=1; b=2"));
}

TEST_F(wire_test, a_later_header_replaces_an_earlier_one_of_the_same_name) {
    auto settings = settings_for(server.url());
    settings.default_headers = {{"Accept", "text/plain"}};
    rest::request request;
    request.headers = {{"accept", "application/json"}, {"user-agent", "custom"}};
    client(settings)->send_request(request);
    EXPECT_THAT(
        header_lines(server.requests().front()),
        ElementsAre(StartsWith("Host: "), "User-Agent: custom", "Accept: application/json"));
}

TEST_F(wire_test, joins_the_path_to_the_base_url) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"items", "GET /api/items HTTP/1.1"},
        {"/items", "GET /api/items HTTP/1.1"},
        {"", "GET /api HTTP/1.1"},
        {"?q=1", "GET /api/?q=1 HTTP/1.1"},
        {"a b", "GET /api/a%20b HTTP/1.1"},
    };
    auto sender = client(settings_for(server.url() + "/api"));
    for (const auto& [path, expected] : cases) {
        sender->send_request_path(path, get());
        EXPECT_EQ(request_line(server.requests().back()), expected) << "path '" << path << "'";
    }
    client(settings_for(server.url()))->send_request(get());
    EXPECT_EQ(request_line(server.requests().back()), "GET / HTTP/1.1");
}

TEST_F(wire_test, sends_a_body_only_with_post) {
    auto sender = client(settings_for(server.url()));
    rest::request post;
    post.method = rest::request_method::POST;
    post.headers = {{"Content-Type", "application/json"}};
    post.body = R"({"type":"ActualCost","grüße":1})";
    sender->send_request(post);
    const std::string posted = server.requests().back();
    EXPECT_EQ(request_line(posted), "POST / HTTP/1.1");
    EXPECT_THAT(header_lines(posted),
                ElementsAre(StartsWith("Host: "), "User-Agent: TARV/0.22.2.7441",
                            "Content-Type: application/json",
                            "Content-Length: " + std::to_string(post.body.size())));
    EXPECT_EQ(posted.substr(posted.find("\r\n\r\n") + 4), post.body);

    rest::request empty_post;
    empty_post.method = rest::request_method::POST;
    sender->send_request(empty_post);
    EXPECT_THAT(header_names(server.requests().back()),
                ElementsAre("Host", "User-Agent", "Content-Length"));

    for (const auto method : {rest::request_method::GET, rest::request_method::HEAD}) {
        rest::request wrong;
        wrong.method = method;
        wrong.body = "x";
        EXPECT_EQ(
            failure_text<rest::exceptions::invalid_method>([&] { sender->send_request(wrong); }),
            "Invalid Request method: Request method is not POST, but a POST body has been "
            "set for the request.");
    }
    EXPECT_EQ(server.requests().size(), 2U);

    rest::request head;
    head.method = rest::request_method::HEAD;
    const auto answer = sender->send_request(head);
    EXPECT_EQ(request_line(server.requests().back()), "HEAD / HTTP/1.1");
    EXPECT_EQ(answer.status_code, 200);
    EXPECT_EQ(answer.body, "");
}

TEST_F(wire_test, refuses_headers_that_would_break_the_request) {
    auto sender = client(settings_for(server.url()));
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"X-Injected", "a\r\nEvil: yes"}, {"X Spaced", "v"}, {"X-Colon:", "v"}, {"", "v"}};
    for (const auto& [name, value] : cases) {
        rest::request request;
        request.headers = {{name, value}};
        EXPECT_THAT(failure_text<rest::exceptions::add_header_failed>(
                        [&] { sender->send_request(request); }),
                    StartsWith("Adding header '" + name + "' failed: "));
    }
    rest::request bad_cookie;
    bad_cookie.cookies = {{"c", "1\nEvil: yes"}};
    EXPECT_THROW(sender->send_request(bad_cookie), rest::exceptions::add_header_failed);
    EXPECT_TRUE(server.requests().empty());
    rest::request empty_value;
    empty_value.headers = {{"X-Empty", ""}};
    sender->send_request(empty_value);
    EXPECT_THAT(header_lines(server.requests().back()),
                ElementsAre(StartsWith("Host: "), "User-Agent: TARV/0.22.2.7441", "X-Empty:"));
}

TEST_F(wire_test, authorization_comes_from_the_url_or_the_provider_never_both) {
    const std::string with_login = "http://user:pw@127.0.0.1:" + std::to_string(server.port());
    client(settings_for(with_login))->send_request(get());
    EXPECT_THAT(header_lines(server.requests().back()),
                ::testing::Contains("Authorization: Basic dXNlcjpwdw=="));

    auto provider = std::make_shared<counting_provider>();
    auto settings = settings_for(server.url() + "/api");
    settings.authentication_provider = provider;
    client(settings)->send_request_path("x?y=1", get());
    EXPECT_EQ(provider->last_url, server.url() + "/api/x?y=1");
    EXPECT_THAT(header_lines(server.requests().back()),
                ElementsAre(StartsWith("Host: "), "User-Agent: TARV/0.22.2.7441",
                            "Authorization: Bearer counted"));

    settings.base_url = with_login;
    EXPECT_EQ(failure_text<rest::exceptions::multiple_authentication_methods>(
                  [&] { client(settings)->send_request(get()); }),
              "Multiple authentication methods specified");
    EXPECT_EQ(provider->calls, 1);

    // A provider's failure passes through unchanged, and nothing goes out.
    provider->refuse = true;
    settings.base_url = server.url();
    EXPECT_EQ(failure_text<rest::exceptions::authentication_failed>(
                  [&] { client(settings)->send_request(get()); }),
              "Authentication failed: invalid_client: no");
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST(response_reading, keeps_status_reason_headers_and_cookies_as_received) {
    raw_http_server server([](const std::string&) {
        return raw_http_server::reply(
            "HTTP/1.1 418 I'm a teapot",
            {"X-Custom-Header:  spaced value ", "Set-Cookie: sid=abc; Path=/; HttpOnly",
             "Set-Cookie: theme=dark", "Vary: Accept", "Vary: Origin",
             "Content-Type: application/json; charset=utf-8"},
            R"({"error":{"code":"Teapot"}})");
    });
    const auto answer =
        rest::create_rest_client(settings_for(server.url()), nullptr)->send_request(get());
    EXPECT_EQ(answer.status_code, 418);
    EXPECT_EQ(answer.status_text, "I'm a teapot");
    EXPECT_EQ(answer.get_header("X-Custom-Header"), "spaced value");
    EXPECT_EQ(answer.get_header("Content-Type"), "application/json; charset=utf-8");
    EXPECT_EQ(answer.get_header("Vary"), "Accept, Origin");
    EXPECT_EQ(answer.cookies, (rest::cookie_map{{"sid", "abc"}, {"theme", "dark"}}));
    EXPECT_EQ(answer.body, R"({"error":{"code":"Teapot"}})");
}

TEST(transport_failures, no_connection_is_a_connection_failure) {
    const rest::testing::refusing_port refusing;
    const std::string port = std::to_string(refusing.port());
    for (const auto& scheme : {"http", "https"}) {
        const auto url = std::string(scheme) + "://127.0.0.1:" + port;
        EXPECT_THAT(failure_text<rest::exceptions::connection_failed>([&] {
                        rest::create_rest_client(settings_for(url), nullptr)->send_request(get());
                    }),
                    AllOf(StartsWith("Connection failed: "), HasSubstr(port)));
    }
    EXPECT_THAT(failure_text<rest::exceptions::connection_failed>([] {
                    rest::create_rest_client(settings_for("gopher://127.0.0.1/x"), nullptr)
                        ->send_request(get());
                }),
                HasSubstr("no port"));
}

TEST(transport_failures, failures_after_connecting_are_request_failures) {
    struct failure_case {
        std::string name;
        rest::testing::scripted_reply reply;
        std::string details;
    };
    const std::vector<failure_case> cases = {
        {"closed mid-body",
         {"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"partial", true, false},
         "transfer closed"},
        {"closed without answer", {"", true, false}, "Empty reply"},
        {"no answer within the time-out", {"", false, true}, "timed out"},
        {"not HTTP", {"SSH-2.0-OpenSSH\r\n\r\n", true, false}, ""},
    };
    for (const auto& entry : cases) {
        raw_http_server server([&](const std::string&) { return entry.reply; });
        EXPECT_THAT(failure_text<rest::exceptions::request_failed>([&] {
                        rest::create_rest_client(settings_for(server.url(), 1), nullptr)
                            ->send_request(get());
                    }),
                    AllOf(StartsWith("Request failed: "), HasSubstr(entry.details)))
            << entry.name;
    }
}

TEST(transport_failures, a_client_keeps_working_after_a_failure) {
    int answered = 0;
    raw_http_server server([&](const std::string&) -> rest::testing::scripted_reply {
        if (answered++ == 0) {
            return {"", true, false};
        }
        return raw_http_server::reply("HTTP/1.1 204 No Content");
    });
    auto sender = rest::create_rest_client(settings_for(server.url()), nullptr);
    EXPECT_THROW(sender->send_request(get()), rest::exceptions::request_failed);
    EXPECT_EQ(sender->send_request(get()).status_code, 204);
}

class tls_test : public ::testing::Test {
protected:
    static void serve(test_https_server& server) {
        server.routes().Get(
            "/.*", [](const httplib::Request& request, httplib::Response& response) {
                response.set_content(R"({"path":")" + request.path + "\"}", "application/json");
            });
        server.start();
    }
};

TEST_F(tls_test, the_scheme_decides_whether_tls_is_used) {
    test_https_server tls_server;
    serve(tls_server);
    raw_http_server plain_server(
        [](const std::string&) { return raw_http_server::reply("HTTP/1.1 200 OK", {}, "plain"); });
    const auto pool = pool_trusting(tls_server.ca_file());
    const auto tls_port = std::to_string(tls_server.port());
    const auto plain_port = std::to_string(plain_server.port());
    for (const auto& scheme : {"https", "tls", "ssh"}) {
        const auto answer =
            rest::create_rest_client(
                settings_for(std::string(scheme) + "://127.0.0.1:" + tls_port + "/x"), pool)
                ->send_request(get());
        EXPECT_EQ(answer.body, R"({"path":"/x"})") << scheme;
        EXPECT_THROW(rest::create_rest_client(
                         settings_for(std::string(scheme) + "://127.0.0.1:" + plain_port), pool)
                         ->send_request(get()),
                     rest::exceptions::connection_failed)
            << scheme;
    }
    for (const auto& scheme : {"http", "ftp", "gopher"}) {
        EXPECT_EQ(rest::create_rest_client(
                      settings_for(std::string(scheme) + "://127.0.0.1:" + plain_port), pool)
                      ->send_request(get())
                      .body,
                  "plain")
            << scheme;
    }
}

TEST_F(tls_test, refuses_a_certificate_it_cannot_trust) {
    test_https_server server;
    serve(server);
    test_https_server other_server;  // only for its different CA
    const std::vector<std::pair<std::string, std::shared_ptr<rest::connection_pool>>> cases = {
        {"system trust store only", std::make_shared<rest::connection_pool>()},
        {"another CA", pool_trusting(other_server.ca_file())},
    };
    for (const auto& [name, pool] : cases) {
        EXPECT_THAT(
            failure_text<rest::exceptions::connection_failed>([&, &pool = pool] {
                rest::create_rest_client(settings_for(server.url()), pool)->send_request(get());
            }),
            HasSubstr("certificate"))
            << name;
    }
    EXPECT_EQ(server.requests(), 0U);
}

TEST_F(tls_test, refuses_a_certificate_for_another_host) {
    test_https_server server(emulator::tls_identity::generate({"elsewhere.invalid"}, {"10.0.0.1"}));
    serve(server);
    EXPECT_THAT(
        failure_text<rest::exceptions::connection_failed>([&] {
            rest::create_rest_client(settings_for(server.url()), pool_trusting(server.ca_file()))
                ->send_request(get());
        }),
        HasSubstr("no alternative certificate subject name matches target host name '127.0.0.1'"));
    EXPECT_EQ(server.requests(), 0U);
}

TEST(connection_pool_options_test, a_ca_bundle_without_certificates_is_refused) {
    rest::testing::temporary_directory directory;
    const std::string empty_file = directory.path() + "/empty.pem";
    std::ofstream(empty_file) << "not a certificate\n";
    for (const auto& path : {empty_file, directory.path() + "/missing.pem"}) {
        EXPECT_THAT(failure_text<std::invalid_argument>([&] {
                        rest::connection_pool pool({path, 32});
                    }),
                    HasSubstr(path));
    }
}

class reuse_test : public tls_test {
protected:
    void SetUp() override { serve(server); }
    test_https_server server;
};

TEST_F(reuse_test, a_client_keeps_its_connection_between_requests) {
    auto sender =
        rest::create_rest_client(settings_for(server.url()), pool_trusting(server.ca_file()));
    for (int index = 0; index < 20; ++index) {
        EXPECT_EQ(sender->send_request_path("n" + std::to_string(index), get()).status_code, 200);
    }
    EXPECT_EQ(server.requests(), 20U);
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(reuse_test, clients_of_one_pool_share_connections_and_separate_pools_do_not) {
    const auto shared = pool_trusting(server.ca_file());
    for (int client = 0; client < 10; ++client) {
        auto sender = rest::create_rest_client(settings_for(server.url()), shared);
        sender->send_request(get());
        sender->send_request(get());
    }
    EXPECT_EQ(server.connections(), 1U);
    EXPECT_EQ(shared->idle_connections(), 1U);

    rest::create_rest_client(settings_for(server.url()), pool_trusting(server.ca_file()))
        ->send_request(get());
    EXPECT_EQ(server.connections(), 2U);
}

TEST_F(reuse_test, clients_on_several_threads_need_no_more_connections_than_threads) {
    const auto shared = pool_trusting(server.ca_file());
    constexpr int threads = 4;
    constexpr int requests_per_thread = 25;
    std::vector<std::thread> workers;
    workers.reserve(threads);
    std::vector<int> successes(threads, 0);
    for (int thread = 0; thread < threads; ++thread) {
        workers.emplace_back([&, thread] {
            auto sender = rest::create_rest_client(settings_for(server.url()), shared);
            for (int index = 0; index < requests_per_thread; ++index) {
                if (sender->send_request(get()).status_code == 200) {
                    ++successes[thread];
                }
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    EXPECT_THAT(successes, ::testing::Each(requests_per_thread));
    EXPECT_LE(server.connections(), static_cast<std::size_t>(threads));
    EXPECT_LE(shared->idle_connections(), static_cast<std::size_t>(threads));
}

}  // namespace
