// 1,000 GET requests of a 2 KB JSON body over one kept-alive TLS connection to a server on
// 127.0.0.1: once through rest_interface, once with bare libcurl, in the same run, repetitions
// interleaved. Both clients are made once and live through every repetition, as a sensor's
// client does. Compare the medians; the client's overhead should stay within 10% of bare
// libcurl. A third benchmark shows the client's own work per request with no network at all.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/http_engine_interface.hpp"
#include "rest/impl/rest_impl.hpp"
#include "bench/rest/test_https_server.hpp"

namespace rest = zentrova::monitoring_modules::rest;

namespace {

constexpr int requests_per_run = 1000;

std::string json_body_of_2_kilobytes() {
    std::string body = R"({"value":[)";
    for (int index = 0; body.size() < 2000; ++index) {
        if (index > 0) {
            body += ',';
        }
        body +=
            R"({"name":"vm-)" + std::to_string(index) + R"(","location":"westeurope","cpu":12.5})";
    }
    body += "]}";
    return body;
}

size_t collect(char* data, size_t size, size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

// libcurl used directly: one handle, the same TLS trust and HTTP version as the client.
class bare_client {
public:
    explicit bare_client(const rest::testing::test_https_server& server)
        : handle_(curl_easy_init(), &curl_easy_cleanup), url_(server.url() + "/data") {
        CURL* handle = handle_.get();
        curl_easy_setopt(handle, CURLOPT_URL, url_.c_str());
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_CAINFO, server.ca_file().c_str());
        curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        curl_easy_setopt(handle, CURLOPT_USERAGENT, "TARV/0.22.2.7441");
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &collect);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body_);
    }

    long get() {
        body_.clear();
        long status = 0;
        if (curl_easy_perform(handle_.get()) != CURLE_OK ||
            curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK) {
            return 0;
        }
        benchmark::DoNotOptimize(body_);
        return status;
    }

private:
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
    std::string url_;
    std::string body_;
};

template <typename request_function>
void run_requests(benchmark::State& state, const rest::testing::test_https_server& server,
                  const request_function& request) {
    const auto connections_before = server.connections();
    for (auto _ : state) {
        if (request() != 200) {
            state.SkipWithError("the server did not answer 200");
            break;
        }
    }
    state.counters["new_connections"] =
        static_cast<double>(server.connections() - connections_before);
}

// An engine that answers at once with what the server would send, so that the client's own work
// per request (URL parsing, headers, the response record) shows on its own.
class canned_engine final : public rest::impl::http_engine_interface {
public:
    explicit canned_engine(std::string body) : body_(std::move(body)) {}

    rest::impl::exchange_outcome exchange(const rest::impl::http_exchange& /*request*/,
                                          rest::impl::http_exchange_result& result) override {
        result.status_code = 200;
        result.reason = "OK";
        result.headers = {{"Content-Type", "application/json; charset=utf-8"},
                          {"Content-Length", std::to_string(body_.size())},
                          {"Keep-Alive", "timeout=5, max=100000"}};
        result.body = body_;
        return {};
    }
    const std::string& last_error() const override { return error_; }

private:
    std::string body_;
    std::string error_;
};

}  // namespace

int main(int argc, char** argv) {
    // Defaults that flags on the command line can override: seven repetitions, interleaved so
    // that a busy moment of the machine hits both clients alike.
    std::vector<char*> arguments(argv, argv + argc);
    std::string repetitions = "--benchmark_repetitions=7";
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, {repetitions.data(), interleave.data()});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    // The pool starts libcurl for the client; this keeps it started for the bare handle as well
    // (libcurl counts its starts).
    curl_global_init(CURL_GLOBAL_DEFAULT);
    rest::testing::test_https_server server;
    const std::string body = json_body_of_2_kilobytes();
    server.routes().Get("/data", [&body](const httplib::Request&, httplib::Response& response) {
        response.set_content(body, "application/json; charset=utf-8");
    });
    // Generous, so that the handshake also completes under a profiler that slows it down.
    server.routes().set_read_timeout(std::chrono::seconds(60));
    server.start();

    rest::rest_helper_settings settings;
    settings.base_url = server.url();
    auto client = rest::impl::clients_over(
        rest::impl::make_connection_pool({server.ca_file(), 32}))(settings);
    bare_client bare(server);
    // Connect and shake hands before anything is measured.
    const rest::request get;
    client->send_request_path("data", get);
    bare.get();

    const auto through_client = [&] { return client->send_request_path("data", get).status_code; };
    const auto through_bare = [&] { return bare.get(); };
    benchmark::RegisterBenchmark(
        "bare_libcurl_get_2kb",
        [&](benchmark::State& state) { run_requests(state, server, through_bare); })
        ->Iterations(requests_per_run)
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(
        "rest_interface_get_2kb",
        [&](benchmark::State& state) { run_requests(state, server, through_client); })
        ->Iterations(requests_per_run)
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);

    rest::impl::rest_impl offline(settings, std::make_unique<canned_engine>(body));
    benchmark::RegisterBenchmark("rest_interface_client_work_alone", [&](benchmark::State& state) {
        for (auto _ : state) {
            auto answer = offline.send_request_path("data", get);
            benchmark::DoNotOptimize(answer);
        }
    })->Unit(benchmark::kMicrosecond);

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    curl_global_cleanup();
    return 0;
}
