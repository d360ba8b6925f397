// The dispatcher's own work that the module's kinds cannot show: a check that throws past its
// sensor, and the first registration of a name staying. (Declarations and stored values sent
// once are the subscription cost sensor's end-to-end case.)
#include "framework/module/sensor_dispatcher.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/sensors/sensor_interface.hpp"
#include "tests/framework/capture.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::framework {
namespace {

using ::testing::HasSubstr;

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

TEST(SensorDispatcher, ACheckThatThrowsIsReportedAsFailedAndTheFirstRegistrationStays) {
    test_support::capture_container host;
    module::sensor_dispatcher dispatcher(host.container);
    ASSERT_TRUE(dispatcher.register_sensor_kind<throwing_sensor>("throwing_sensor"));
    testing::settings_buffer buffer;
    buffer.kind = "throwing_sensor";
    const std::string text = buffer.to_json();
    const settings::sensor_data_wrapper settings(text.data(), static_cast<unsigned>(text.size()));

    ASSERT_EQ(dispatcher.create_sensor_instance(7, settings),
              responses::sensor_create_response_code::success);
    EXPECT_EQ(dispatcher.execute_check(7, settings), responses::check_response_code::check_failed);
    EXPECT_THAT(host.runtime->all(), HasSubstr("Checking sensor 7 failed: no host to answer"));

    EXPECT_FALSE(dispatcher.register_sensor(
        "throwing_sensor", [](auto, int, const auto&) { throw std::logic_error("x"); }));
    EXPECT_EQ(dispatcher.create_sensor_instance(9, settings),
              responses::sensor_create_response_code::success);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework
