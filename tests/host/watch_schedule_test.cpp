// The watch's schedule without a module: when each sensor's checks are due, and that the
// runner keeps each sensor on one thread, never starts a check early and lets running checks
// end when stopped.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "host/watch_runner.hpp"
#include "host/watch_schedule.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

using std::chrono::milliseconds;
using clock = watch_schedule::clock;

double seconds(clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

TEST(WatchSchedule, SpreadsSensorsOfAnIntervalEvenlyAndDealsThemToTheThreads) {
    // Four sensors at a minute, two at four hours, on four threads.
    const watch_schedule schedule({60, 60, 60, 60, 14400, 14400}, 4);
    const std::vector<double> offsets{0, 15, 30, 45, 0, 7200};
    for (std::size_t sensor = 0; sensor < offsets.size(); ++sensor) {
        EXPECT_DOUBLE_EQ(seconds(schedule.first_offset(sensor)), offsets[sensor]) << sensor;
        EXPECT_EQ(schedule.thread_of(sensor), sensor % 4) << sensor;
    }
    EXPECT_EQ(watch_schedule({60, 60}, 8).threads(), 2U);  // no thread without a sensor

    // On time or late by less than an interval: the next slot. Late by whole intervals: the
    // latest slot missed, run once rather than once per missed check.
    const auto due = clock::time_point{} + std::chrono::hours(1);
    const std::vector<std::pair<double, double>> next{{0, 60}, {59, 60}, {150, 120}, {180, 180}};
    for (const auto& [late, expected] : next) {
        const auto started =
            due + std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(late));
        EXPECT_DOUBLE_EQ(seconds(schedule.next_due(0, due, started) - due), expected) << late;
    }
}

TEST(WatchRunner, RunsEachSensorOnItsOwnThreadNeverEarlyAndLetsRunningChecksEnd) {
    // Six sensors every 300 ms on three threads; each check takes 20 ms.
    const watch_schedule schedule(std::vector<double>(6, 0.3), 3);
    struct check {
        std::size_t sensor;
        std::thread::id thread;
        clock::time_point due;
        clock::time_point started;
    };
    std::mutex mutex;
    std::condition_variable enough;
    std::vector<check> checks;
    std::atomic<int> running{0};
    watch_runner runner(schedule, [&](std::size_t sensor, std::size_t thread, auto due) {
        EXPECT_EQ(thread, schedule.thread_of(sensor));
        ++running;
        const auto started = clock::now();
        std::this_thread::sleep_for(milliseconds(20));  // the check's own work
        {
            const std::lock_guard<std::mutex> lock(mutex);
            checks.push_back({sensor, std::this_thread::get_id(), due, started});
        }
        enough.notify_all();
        --running;
    });
    const auto start = clock::now();
    runner.start(start);
    {
        // Four rounds take 1.2 s; a loaded machine gets 30.
        std::unique_lock<std::mutex> lock(mutex);
        enough.wait_for(lock, std::chrono::seconds(30), [&] { return checks.size() >= 24; });
    }
    runner.stop();
    EXPECT_EQ(running.load(), 0);

    const std::lock_guard<std::mutex> lock(mutex);
    ASSERT_GE(checks.size(), 24U);
    std::map<std::size_t, std::thread::id> thread_of_sensor;
    std::map<std::size_t, int> count;
    for (const auto& c : checks) {
        thread_of_sensor.emplace(c.sensor, c.thread);
        EXPECT_EQ(thread_of_sensor[c.sensor], c.thread) << "sensor " << c.sensor << " moved";
        EXPECT_GE(c.started, c.due) << "sensor " << c.sensor << " checked early";
        // Slots stay on the grid of the sensor's offset and interval, however late a check ran.
        const double slot = (seconds(c.due - start) - 0.05 * static_cast<double>(c.sensor)) / 0.3;
        EXPECT_NEAR(slot, std::round(slot), 1e-6) << "sensor " << c.sensor;
        ++count[c.sensor];
    }
    EXPECT_NE(thread_of_sensor[0], thread_of_sensor[1]);
    EXPECT_EQ(thread_of_sensor[0], thread_of_sensor[3]);
    for (const auto& [sensor, n] : count) {
        EXPECT_GE(n, 3) << "sensor " << sensor;  // a fair share for every sensor
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::host
