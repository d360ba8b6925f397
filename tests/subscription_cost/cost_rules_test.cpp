// The pure rules of the cost readings where the end-to-end suite cannot reach every case: number
// texts in any process locale, stored channel ids, the choice of the most expensive group. The
// filled query templates are the end-to-end suite's (it compares every query body).
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "microsoftazure/subscription_cost/cost_rules.hpp"
#include "microsoftazure/subscription_cost/most_expensive_service.hpp"
#include "tests/support/failure_text.hpp"
#include "tests/support/process_locale.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

using monitoring_modules::testing::failure_text;

TEST(FixedText, WritesPlainDecimalsWhateverTheProcessLocale) {
    const monitoring_modules::testing::process_locale german_like;
    struct example {
        double value;
        int decimals;
        const char* expected;
    };
    const std::vector<example> examples{
        {1234.5, 2, "1234.50"},   {1234567.891, 2, "1234567.89"},
        {0.005, 2, "0.01"},  // 0.005 lies just above its decimal text
        {0.0, 2, "0.00"},         {987.65, 6, "987.650000"},
        {-12.5, 6, "-12.500000"}, {1e20, 6, "100000000000000000000.000000"},
    };
    for (const auto& e : examples) {
        EXPECT_EQ(fixed_text(e.value, e.decimals), e.expected) << e.value;
    }
}

TEST(ParseChannelId, ReadsLikeTheStandardStringToInt) {
    EXPECT_EQ(parse_channel_id("3"), 3);
    EXPECT_EQ(parse_channel_id("  12"), 12);
    EXPECT_EQ(parse_channel_id("+7"), 7);
    EXPECT_EQ(parse_channel_id("-4"), -4);
    EXPECT_EQ(parse_channel_id("15abc"), 15);
    EXPECT_EQ(parse_channel_id("2147483647"), std::numeric_limits<int>::max());

    for (const char* text : {"", "abc", " x1", "-"}) {
        EXPECT_EQ(failure_text<std::invalid_argument>([&] { parse_channel_id(text); }),
                  "invalid stoi argument")
            << text;
    }
    for (const char* text : {"2147483648", "-2147483649", "99999999999999999999999"}) {
        EXPECT_EQ(failure_text<std::out_of_range>([&] { parse_channel_id(text); }),
                  "stoi argument out of range")
            << text;
    }
}

TEST(MostExpensive, TheFirstKeyWinsAmongEqualCostsAndMinusOneNeverWins) {
    struct example {
        const char* what;
        cost_values costs;
        const char* name;
        double cost;
    };
    const std::vector<example> examples{
        {"largest", {{"a", 1.0}, {"b", 3.0}, {"c", 2.0}}, "b", 3.0},
        {"equal costs", {{"Storage", 50.0}, {"Backup", 50.0}, {"Compute", 10.0}}, "Backup", 50.0},
        {"zeros only", {{"y", 0.0}, {"x", 0.0}}, "x", 0.0},
        {"negative above -1", {{"credit", -0.5}}, "credit", -0.5},
        {"minus one or less", {{"a", -1.0}, {"b", -7.0}}, "", -1.0},
        {"nothing", {}, "", -1.0},
        {"empty key wins", {{"", 9.0}, {"a", 1.0}}, "", 9.0},
        {"byte order", {{"b", 5.0}, {"B", 5.0}}, "B", 5.0},
    };
    for (const auto& e : examples) {
        const cost_leader best = most_expensive(e.costs);
        EXPECT_EQ(best.name, e.name) << e.what;
        EXPECT_DOUBLE_EQ(best.cost, e.cost) << e.what;
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::microsoftazure
