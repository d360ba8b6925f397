// Load from many host threads at once: 200 sensors of every kind created, checked for a bounded
// number of rounds and destroyed from 8 threads, with meta scans in between, through the
// exports against the emulator. CI runs it under ThreadSanitizer (make test-tsan).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <jsoncons/json.hpp>

#include "tests/reliability/kinds_under_test.hpp"
#include "tests/reliability/process_threads.hpp"
#include "tests/support/azure_harness.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

constexpr int sensor_count = 200;
constexpr int thread_count = 8;
constexpr int rounds = 3;

// Runs `work(thread index)` on every thread at once and waits for all of them.
template <typename Work>
void on_every_thread(Work work) {
    std::vector<std::thread> threads;
    threads.reserve(thread_count);
    for (int t = 0; t < thread_count; ++t) {
        threads.emplace_back(work, t);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST(Concurrency, TwoHundredSensorsOfEveryKindFromEightHostThreads) {
    const std::size_t threads_before = process_threads();
    {
        azure_harness harness;
        host::module_library& module = harness.module();

        // Sensor i is of kind i mod (number of sensor kinds), spread over each kind's variants.
        const auto sensors = sensor_kinds();
        const auto scans = metascan_kinds();
        std::vector<std::string> settings(sensor_count);
        for (int i = 0; i < sensor_count; ++i) {
            const auto& kind = sensors[static_cast<std::size_t>(i) % sensors.size()];
            settings[i] = kind.settings(harness.settings(kind.name), harness.subscription_id(),
                                        static_cast<std::size_t>(i) / sensors.size())
                              .to_json();
        }
        std::vector<std::string> scan_settings;
        for (const auto& kind : scans) {
            scan_settings.push_back(
                kind.settings(harness.settings(kind.name), harness.subscription_id(), 0).to_json());
        }

        std::atomic<int> failed_calls{0};
        const auto expect_zero = [&failed_calls](int code) {
            if (code != 0) {
                ++failed_calls;
            }
        };
        // Thread t owns the sensors t, t + 8, t + 16, ...: the host never runs two calls for one
        // sensor at once, but every thread works on the shared module.
        on_every_thread([&](int t) {
            for (int i = t; i < sensor_count; i += thread_count) {
                expect_zero(module.create_sensor(i + 1, settings[i]));
            }
        });
        EXPECT_EQ(failed_calls.load(), 0);
        module.take_messages();

        on_every_thread([&](int t) {
            for (int round = 0; round < rounds; ++round) {
                for (int i = t; i < sensor_count; i += thread_count) {
                    expect_zero(module.check(i + 1, settings[i]));
                }
                const unsigned scan_id = static_cast<unsigned>(round * thread_count + t + 1);
                expect_zero(module.meta_scan(1000 + t, scan_id,
                                             scan_settings[scan_id % scan_settings.size()]));
            }
        });
        EXPECT_EQ(failed_calls.load(), 0);

        // What the host received: every sensor's results and every meta scan's, all with code 0.
        std::map<std::string, std::vector<int>> codes;
        std::map<std::string, std::vector<int>> expected;
        for (const auto& text : module.take_messages()) {
            const auto message = jsoncons::ojson::parse(text);
            const auto type = message["type"].as<std::string>();
            if (type == "sensor_scan_result" || type == "meta_scan_result") {
                codes[type == "sensor_scan_result" ? "sensor " + message["sensor_id"].to_string()
                                                   : "scan " + message["scan_id"].to_string()]
                    .push_back(message["response_code"].as<int>());
            }
        }
        for (int id = 1; id <= sensor_count; ++id) {
            expected["sensor " + std::to_string(id)] = std::vector<int>(rounds, 0);
        }
        for (int id = 1; id <= rounds * thread_count; ++id) {
            expected["scan " + std::to_string(id)] = {0};
        }
        EXPECT_EQ(codes, expected);

        on_every_thread([&](int t) {
            for (int i = t; i < sensor_count; i += thread_count) {
                expect_zero(module.destroy_sensor(i + 1));
            }
        });
        EXPECT_EQ(failed_calls.load(), 0);
        // All of them share one token.
        EXPECT_EQ(harness.emulator().counters().token_requests, 1U);
    }
    EXPECT_EQ(process_threads(), threads_before) << "threads were left behind";
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
