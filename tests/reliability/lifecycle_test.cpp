// Lifecycle abuse through the exports: calls in the wrong state, clean-up with live sensors, ids
// that were never made or are gone, kinds asked for in the wrong role. Each gets a clear code
// and a log line, and nothing crashes; leaks are the sanitizer build's part (make test-asan).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "tests/reliability/kinds_under_test.hpp"
#include "tests/support/azure_harness.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int not_initialised = 3;
constexpr int not_found = 4;
constexpr int unknown_kind = 4;

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

settings_buffer first_variant(const azure_harness& harness, const kind_under_test& kind) {
    return kind.settings(harness.settings(kind.name), harness.subscription_id(), 0);
}

// Every forwarding export, as a call that returns the export's code.
std::vector<std::pair<std::string, std::function<int(host::module_library&)>>> forwarding_calls(
    const std::string& sensor_settings, const std::string& scan_settings) {
    return {
        {"CreateSensorInstance",
         [=](host::module_library& m) { return m.create_sensor(1, sensor_settings); }},
        {"ExecuteCheck", [=](host::module_library& m) { return m.check(1, sensor_settings); }},
        {"ExecuteMetaScan",
         [=](host::module_library& m) { return m.meta_scan(1, 1, scan_settings); }},
        {"ExecuteSensorScan", [](host::module_library& m) { return m.sensor_scan(1); }},
        {"DestroySensorInstance", [](host::module_library& m) { return m.destroy_sensor(1); }},
    };
}

TEST(LifecycleAbuse, EveryExportAfterCleanupAnswersNotInitialisedAndSendsNothing) {
    azure_harness harness;
    const auto sensor = first_variant(harness, sensor_kinds().front());
    const auto scan = first_variant(harness, metascan_kinds().front());
    ASSERT_EQ(harness.create(1, sensor).code, 0);
    ASSERT_EQ(harness.module().cleanup(), 0);
    harness.module().take_messages();

    for (const auto& [name, call] : forwarding_calls(sensor.to_json(), scan.to_json())) {
        EXPECT_EQ(call(harness.module()), not_initialised) << name;
    }
    harness.module().module_information(true);
    EXPECT_EQ(harness.module().api_level(), 5);
    EXPECT_EQ(harness.module().cleanup(), 0);
    EXPECT_THAT(harness.module().take_messages(), IsEmpty());
}

TEST(LifecycleAbuse, CleanupWithLiveSensorsOfEveryKindReleasesThemAll) {
    azure_harness harness;
    const auto sensors = sensor_kinds();
    int id = 1;
    for (int round = 0; round < 2; ++round) {
        for (const auto& kind : sensors) {
            // Half of them checked, so that they hold a REST client and a token.
            const auto settings = first_variant(harness, kind);
            if (round == 0) {
                EXPECT_EQ(harness.create_and_check(id, settings).response_code, 0) << kind.name;
            } else {
                EXPECT_EQ(harness.create(id, settings).code, 0) << kind.name;
            }
            ++id;
        }
    }
    for (const auto& kind : metascan_kinds()) {
        EXPECT_EQ(harness.discover(first_variant(harness, kind), id).response_code, 0);
    }

    ASSERT_EQ(harness.module().cleanup(), 0);
    for (int sensor = 1; sensor < id; ++sensor) {
        const std::string log = harness.sensor_log(sensor);
        EXPECT_EQ(occurrences(log, "#################### Initializing ####################"),
                  occurrences(log, "#################### Cleaning Up  ####################"))
            << "sensor " << sensor;
    }

    // A new module knows none of the old sensors, and says so.
    ASSERT_EQ(harness.module().initialize(), 0);
    const auto settings = first_variant(harness, sensors.front());
    EXPECT_EQ(harness.check(1, settings).code, not_found);
    EXPECT_EQ(harness.module().sensor_scan(2), not_found);
    EXPECT_EQ(harness.module().destroy_sensor(1), not_found);
    const std::string log = harness.runtime_log();
    EXPECT_THAT(log, HasSubstr("Cannot check sensor 1: no sensor has this id; create it with "
                               "CreateSensorInstance first"));
    EXPECT_THAT(log, HasSubstr("Cannot destroy sensor 1: no sensor has this id"));
    EXPECT_EQ(harness.create_and_check(1, settings).response_code, 0);
}

TEST(LifecycleAbuse, IdsThatWereNeverMadeOrAreGoneAnswerNotFound) {
    azure_harness harness;
    const auto settings = first_variant(harness, sensor_kinds().front());
    for (const int id : {0, -1, 77, INT_MAX, INT_MIN}) {
        const auto checked = harness.check(id, settings);
        EXPECT_EQ(checked.code, not_found) << id;
        EXPECT_THAT(checked.messages, IsEmpty()) << id;
        EXPECT_EQ(harness.module().sensor_scan(id), not_found) << id;
        EXPECT_EQ(harness.module().destroy_sensor(id), not_found) << id;
    }
    EXPECT_THAT(harness.runtime_log(), HasSubstr("Cannot scan sensor " + std::to_string(INT_MIN) +
                                                 ": no sensor has this id"));

    // Extreme ids are ids like any other.
    for (const int id : {INT_MAX, INT_MIN, 0}) {
        EXPECT_EQ(harness.create_and_check(id, settings).response_code, 0) << id;
        EXPECT_EQ(harness.module().destroy_sensor(id), 0) << id;
        EXPECT_EQ(harness.module().destroy_sensor(id), not_found) << id;
        EXPECT_EQ(harness.check(id, settings).code, not_found) << id;
    }
}

TEST(LifecycleAbuse, KindsAskedForInTheWrongRoleAreRefusedByName) {
    azure_harness harness;
    for (const auto& kind : sensor_kinds()) {
        const auto found = harness.discover(first_variant(harness, kind), 1, 1);
        EXPECT_EQ(found.code, unknown_kind) << kind.name;
        EXPECT_THAT(found.messages, IsEmpty());
        EXPECT_THAT(harness.runtime_log(),
                    HasSubstr("\"" + kind.name + "\" is a sensor, not a meta scan"));
    }
    for (const auto& kind : metascan_kinds()) {
        const auto settings = first_variant(harness, kind);
        EXPECT_EQ(harness.create(2, settings).code, unknown_kind) << kind.name;
        EXPECT_THAT(harness.runtime_log(),
                    HasSubstr("\"" + kind.name + "\" is a meta scan, not a sensor"));
        EXPECT_EQ(harness.check(2, settings).code, not_found);
    }
}

TEST(LifecycleAbuse, MakingAnIdAgainReplacesTheSensorAndReleasesTheOldOne) {
    azure_harness harness;
    for (const auto& kind : sensor_kinds()) {
        const auto settings = first_variant(harness, kind);
        const int id = 5;
        for (int time = 0; time < 3; ++time) {
            EXPECT_EQ(harness.create_and_check(id, settings).response_code, 0) << kind.name;
        }
        EXPECT_EQ(harness.module().destroy_sensor(id), 0);
        const std::string log = harness.sensor_log(id);
        EXPECT_EQ(occurrences(log, "Initializing"), occurrences(log, "Cleaning Up")) << kind.name;
    }
}

TEST(LifecycleAbuse, RepeatedInitialisationAndCleanupWithWorkInBetween) {
    azure_harness harness;
    for (int cycle = 0; cycle < 4; ++cycle) {
        int id = 1;
        for (const auto& kind : kinds_under_test()) {
            const auto settings = first_variant(harness, kind);
            if (kind.metascan) {
                EXPECT_EQ(harness.discover(settings, id).response_code, 0) << kind.name;
            } else {
                EXPECT_EQ(harness.create_and_check(id, settings).response_code, 0) << kind.name;
            }
            ++id;
        }
        EXPECT_EQ(harness.module().initialize(), 1);  // still the same module
        ASSERT_EQ(harness.module().cleanup(), 0);
        ASSERT_EQ(harness.module().initialize(), 0);
    }
    // One token per module life at most: the token cache goes with the module.
    EXPECT_LE(harness.emulator().counters().token_requests, 4U);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
