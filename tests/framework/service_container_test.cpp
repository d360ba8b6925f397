#include "framework/module/service_container.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/failure_text.hpp"

namespace zentrova::monitoring_modules::framework::module {
namespace {

using monitoring_modules::testing::failure_text;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct greeter {
    explicit greeter(std::string n) : name(std::move(n)) {}
    std::string name;
};

struct unregistered {};

std::function<std::unique_ptr<greeter>()> making(const std::string& name) {
    return [name] { return std::make_unique<greeter>(name); };
}

TEST(ServiceContainer, SharesAnInstanceMakesFromAFactoryAndKeepsTheFirstRegistration) {
    service_container container;
    auto stored = std::make_shared<int>(42);
    container.add_instance<int>(stored);
    container.register_factory<greeter>(making("first"));
    EXPECT_EQ(container.get<int>(), stored);
    EXPECT_EQ(container.get<greeter>()->name, "first");
    EXPECT_NE(container.get<greeter>(), container.get<greeter>());

    EXPECT_THAT(failure_text<utils::exceptions::exception>(
                    [&] { container.register_factory<greeter>(making("second")); }),
                StartsWith("Already contains instance of: "));
    EXPECT_EQ(container.get<greeter>()->name, "first");
    EXPECT_THROW(container.add_instance<int>(std::make_shared<int>(2)),
                 utils::exceptions::exception);
    EXPECT_EQ(*container.get<int>(), 42);

    EXPECT_THAT(failure_text<utils::exceptions::exception>([&] { container.get<unregistered>(); }),
                AllOf(StartsWith("No instance available for: "), HasSubstr("unregistered")));
    EXPECT_EQ(container.find<unregistered>(), nullptr);
}

TEST(ServiceContainer, FactoryWithArgumentsReceivesThemAndRefusesOtherArguments) {
    service_container container;
    container.register_factory<greeter>(std::function<std::unique_ptr<greeter>(std::string)>(
        [](std::string name) { return std::make_unique<greeter>("hello " + name); }));

    const std::string name = "azure";
    EXPECT_EQ(container.create<greeter>(name)->name, "hello azure");
    EXPECT_THROW(container.create<greeter>(42), utils::exceptions::exception);
    // get() has no arguments to give, which is a mismatch too, not a silent empty result.
    EXPECT_THROW(container.get<greeter>(), utils::exceptions::exception);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework::module
