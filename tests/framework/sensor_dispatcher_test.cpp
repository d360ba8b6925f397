// The dispatcher's own work that the exports cannot see: channel declarations and stored values
// sent once while the host has not applied them yet, a failure escaping a scan turned into a
// fresh error result, and the first registration of a name staying.
#include "framework/module/sensor_dispatcher.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include "framework/sensors/sensor_base.hpp"
#include "framework/sensors/sensor_interface.hpp"
#include "tests/framework/capture.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::framework {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

// The settings record of the test kinds: one required setting.
struct probe_settings {
    std::string target;
    explicit probe_settings(const settings::sensor_data_wrapper& settings)
        : target(settings.get_value("target")) {}
};

// A sensor that reports its target's length, declares one channel and stores one value; a
// target of "fail" makes its scan throw after adding a value.
class probe_sensor final : public sensors::sensor_base<probe_settings> {
public:
    probe_sensor(std::shared_ptr<module::service_container> container, int sensor_id,
                 const settings::sensor_data_wrapper& settings)
        : sensor_base(std::move(container), sensor_id, settings, "Probe", "1.2.3") {
        channels::dynamic_channel_options options;
        options.name = "length";
        options.kind = channels::value_kind::floating_point;
        declare_channel(0, options);
    }

protected:
    void scan(responses::sensor_scan_result& result) override {
        result.add_float(0, static_cast<double>(settings().target.size()));
        store_persistent("seen", settings().target);
        if (settings().target == "fail") {
            throw std::runtime_error("the probe failed");
        }
    }

    std::string failure_message(const std::exception_ptr& failure) override {
        try {
            std::rethrow_exception(failure);
        } catch (const std::exception& e) {
            log(e.what(), logging::error);
        }
        return "#:error.generic";
    }
};

// A sensor whose check throws past any handling of its own.
class throwing_sensor final : public sensors::sensor_interface {
public:
    throwing_sensor(const std::shared_ptr<module::service_container>& /*container*/,
                    int /*sensor_id*/, const settings::sensor_data_wrapper& /*settings*/) {}
    void execute_check(const settings::sensor_data_wrapper& /*settings*/) override {
        throw std::runtime_error("no host to answer");
    }
    void execute_sensor_scan() override {}
};

class SensorDispatcherTest : public ::testing::Test {
protected:
    SensorDispatcherTest() : dispatcher(host.container) {
        dispatcher.register_sensor_kind<probe_sensor>("probe_sensor");
    }

    static std::string buffer(const std::string& kind, const std::string& target,
                              std::map<int, std::string> channels = {},
                              std::map<std::string, std::string> persistent = {}) {
        testing::settings_buffer b;
        b.kind = kind;
        b.settings = {{"target", target}, {"logging", "enabled"}};
        b.channels = std::move(channels);
        b.persistent_data = std::move(persistent);
        return b.to_json();
    }

    static settings::sensor_data_wrapper wrap(const std::string& text) {
        return settings::sensor_data_wrapper(text.data(), text.size());
    }

    std::vector<jsoncons::ojson> messages() {
        std::vector<jsoncons::ojson> decoded;
        for (const auto& text : host.take_messages()) {
            decoded.push_back(jsoncons::ojson::parse(text));
        }
        return decoded;
    }

    static std::vector<std::string> types(const std::vector<jsoncons::ojson>& decoded) {
        std::vector<std::string> names;
        for (const auto& m : decoded) {
            names.push_back(m["type"].as<std::string>());
        }
        return names;
    }

    test_support::capture_container host;
    module::sensor_dispatcher dispatcher;
};

TEST_F(SensorDispatcherTest, ChannelsAreDeclaredOnceAndValuesStoredOnce) {
    ASSERT_EQ(dispatcher.create_sensor_instance(3, wrap(buffer("probe_sensor", "abcd"))),
              responses::sensor_create_response_code::success);
    EXPECT_EQ(types(messages()), std::vector<std::string>{"dynamic_channel"});

    // The host has not yet applied the declaration or the stored value: nothing goes twice.
    ASSERT_EQ(dispatcher.execute_check(3, wrap(buffer("probe_sensor", "abcd"))),
              responses::check_response_code::success);
    auto first = messages();
    EXPECT_EQ(types(first), (std::vector<std::string>{"persistent_data", "sensor_scan_result"}));
    EXPECT_DOUBLE_EQ(first[1]["channels"][0]["value"].as<double>(), 4.0);
    ASSERT_EQ(dispatcher.execute_check(3, wrap(buffer("probe_sensor", "abcd"))),
              responses::check_response_code::success);
    EXPECT_EQ(types(messages()), std::vector<std::string>{"sensor_scan_result"});
    EXPECT_EQ(dispatcher.execute_sensor_scan(3), responses::sensor_scan_response_code::success);
    EXPECT_EQ(types(messages()), std::vector<std::string>{"sensor_scan_result"});

    // A sensor made anew with the host's map and data declares and stores nothing.
    ASSERT_EQ(dispatcher.create_sensor_instance(
                  4, wrap(buffer("probe_sensor", "abcd", {{0, "length"}}, {{"seen", "abcd"}}))),
              responses::sensor_create_response_code::success);
    dispatcher.execute_check(
        4, wrap(buffer("probe_sensor", "abcd", {{0, "length"}}, {{"seen", "abcd"}})));
    EXPECT_EQ(types(messages()), std::vector<std::string>{"sensor_scan_result"});
    EXPECT_THAT(host.sensors->all(),
                AllOf(HasSubstr("#################### Initializing ####################"),
                      HasSubstr("Probe version is: 1.2.3\n")));
}

TEST_F(SensorDispatcherTest, AnEscapedFailureBecomesAFreshErrorResult) {
    ASSERT_EQ(dispatcher.create_sensor_instance(6, wrap(buffer("probe_sensor", "fail"))),
              responses::sensor_create_response_code::success);
    messages();
    EXPECT_EQ(dispatcher.execute_check(6, wrap(buffer("probe_sensor", "fail"))),
              responses::check_response_code::success);
    const auto sent = messages();
    ASSERT_EQ(types(sent), (std::vector<std::string>{"persistent_data", "sensor_scan_result"}));
    EXPECT_EQ(sent[1]["response_code"].as<int>(), 3);
    EXPECT_EQ(sent[1]["message"].as<std::string>(), "#:error.generic");
    EXPECT_EQ(sent[1]["channels"].size(), 0U);
    EXPECT_THAT(host.sensors->all(), HasSubstr("the probe failed"));
}

TEST_F(SensorDispatcherTest, ACheckThatThrowsIsReportedAsFailedAndLogged) {
    dispatcher.register_sensor_kind<throwing_sensor>("throwing_sensor");
    ASSERT_EQ(dispatcher.create_sensor_instance(7, wrap(buffer("throwing_sensor", "x"))),
              responses::sensor_create_response_code::success);
    EXPECT_EQ(dispatcher.execute_check(7, wrap(buffer("throwing_sensor", "x"))),
              responses::check_response_code::check_failed);
    EXPECT_THAT(host.runtime->all(), HasSubstr("Checking sensor 7 failed: no host to answer"));
}

TEST_F(SensorDispatcherTest, FirstRegistrationOfANameStays) {
    EXPECT_FALSE(dispatcher.register_sensor(
        "probe_sensor", [](auto, int, const auto&) { throw std::logic_error("x"); }));
    EXPECT_EQ(dispatcher.create_sensor_instance(9, wrap(buffer("probe_sensor", "x"))),
              responses::sensor_create_response_code::success);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework
