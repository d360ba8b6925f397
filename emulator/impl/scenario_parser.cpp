#include "emulator/impl/scenario_parser.hpp"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "emulator/impl/scenario_copies.hpp"
#include "emulator/impl/scenario_cost_reader.hpp"
#include "emulator/impl/scenario_fault_reader.hpp"
#include "emulator/impl/scenario_identity_reader.hpp"
#include "emulator/impl/scenario_node.hpp"
#include "emulator/impl/scenario_resource_reader.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

constexpr std::int64_t int_max = std::numeric_limits<int>::max();
// Ten thousand copies of a small world already hold more machines than a subscription may.
constexpr std::int64_t max_copies = 10000;

ojson parse_json(const std::string& text, const std::string& origin) {
    try {
        return ojson::parse(text);
    } catch (const jsoncons::ser_error& e) {
        throw scenario_error(origin + ": not valid JSON: " + e.what());
    }
}

subscription read_subscription(const scenario_node& n, const std::string& default_location) {
    scenario_object o(n, {"id", "display_name", "currency", "resource_groups", "virtual_machines",
                          "sql_servers", "billing_periods", "forecast", "budgets"});
    subscription sub;
    sub.id = o.text("id");
    sub.display_name = o.text("display_name", "Emulated subscription");
    sub.currency = o.text("currency", "EUR");
    scenario_resource_reader::read_resources(o, sub, default_location);
    scenario_cost_reader::read_costs(o, sub);
    return sub;
}

region read_region(const scenario_node& n) {
    scenario_object o(
        n, {"name", "display_name", "regional_display_name", "geography_group", "physical_location",
            "latitude", "longitude", "paired_region", "region_type", "region_category"});
    region r;
    r.name = o.text("name");
    r.display_name = o.text("display_name");
    r.geography_group = o.text("geography_group", "");
    r.regional_display_name =
        o.text("regional_display_name", r.geography_group.empty()
                                            ? r.display_name
                                            : "(" + r.geography_group + ") " + r.display_name);
    r.physical_location = o.text("physical_location", "");
    r.latitude = o.text("latitude", "");
    r.longitude = o.text("longitude", "");
    r.paired_region = o.text("paired_region", "");
    r.region_type = o.text("region_type", "Physical");
    r.region_category = o.text("region_category", "Recommended");
    return r;
}

quota_rules read_quotas(const scenario_object& root) {
    quota_rules rules;
    if (!root.has("quotas")) {
        return rules;
    }
    scenario_object o(root.child("quotas"), {"subscription_reads", "cost_management"});
    if (o.has("subscription_reads")) {
        scenario_object reads(o.child("subscription_reads"), {"bucket", "refill_per_second"});
        rules.read_bucket = reads.integer("bucket", 250, 1, int_max);
        rules.read_refill_per_second =
            static_cast<double>(reads.integer("refill_per_second", 25, 1, int_max));
    }
    o.each("cost_management", [&](const scenario_node& n) {
        scenario_object w(n, {"name", "unit", "scope", "limit", "seconds"});
        quota_window window;
        window.name = w.text("name");
        const std::string unit = w.text("unit", "qpu");
        const std::string scope = w.text("scope", "tenant");
        if (unit != "qpu" && unit != "requests") {
            w.child("unit").fail(R"(expected "qpu" or "requests", found ")" + unit + "\"");
        }
        if (scope != "tenant" && scope != "entity") {
            w.child("scope").fail(R"(expected "tenant" or "entity", found ")" + scope + "\"");
        }
        window.qpu = unit == "qpu";
        window.per_tenant = scope == "tenant";
        window.limit = w.child("limit").integer(1, int_max);
        window.seconds = static_cast<double>(w.child("seconds").integer(1, 86400));
        rules.cost_management.push_back(std::move(window));
    });
    return rules;
}

}  // namespace

scenario scenario_parser::parse(const std::string& json_text, const std::string& origin,
                                std::size_t copies) {
    const ojson doc = parse_json(json_text, origin);
    scenario_object root(
        scenario_node(doc, "$", origin),
        {"description", "token_lifetime_seconds", "page_size", "copies", "default_aggregation",
         "billing_period_type", "quotas", "tenants", "regions", "subscriptions", "faults"});
    scenario world;
    root.text("description", "");  // free text, but it must be text
    world.token_lifetime_seconds =
        static_cast<int>(root.integer("token_lifetime_seconds", 3599, 0, 30LL * 86400));
    world.page_size = static_cast<std::size_t>(root.integer("page_size", 0, 0, int_max));
    const std::string aggregation = root.text("default_aggregation", "average");
    if (aggregation != "average" && aggregation != "primary") {
        root.child("default_aggregation")
            .fail(R"(expected "average" or "primary", found ")" + aggregation + "\"");
    }
    world.primary_aggregations = aggregation == "primary";
    world.billing_period_type = root.text("billing_period_type", world.billing_period_type);
    world.quotas = read_quotas(root);
    root.each("regions", [&](const scenario_node& r) {
        region reg = read_region(r);
        if (world.find_region(reg.name) != nullptr) {
            r.fail("a region \"" + reg.name + "\" already exists");
        }
        world.regions.push_back(std::move(reg));
    });
    const std::string default_location =
        world.regions.empty() ? "westeurope" : world.regions.front().name;
    root.each("subscriptions", [&](const scenario_node& s) {
        subscription sub = read_subscription(s, default_location);
        if (world.find_subscription(sub.id) != nullptr) {
            s.fail("a subscription \"" + sub.id + "\" already exists");
        }
        world.subscriptions.push_back(std::move(sub));
    });
    scenario_identity_reader::read_tenants(root, world);
    if (root.has("faults")) {
        world.faults = scenario_fault_reader::read_faults(root.child("faults"));
    }
    const auto own_copies = static_cast<std::size_t>(root.integer("copies", 1, 1, max_copies));
    scenario_copies::multiply(world, copies > 0 ? copies : own_copies, origin);
    return world;
}

scenario scenario_parser::parse_file(const std::string& path, std::size_t copies) {
    const std::string origin = "scenario file '" + path + "'";
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        throw scenario_error(
            origin + ": " +
            (std::filesystem::exists(path, ec) ? "is not a regular file" : "does not exist") +
            "; check the path");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw scenario_error(origin + ": cannot be read: " + std::strerror(errno));
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parse(text.str(), origin, copies);
}

std::vector<fault> scenario_parser::parse_faults(const std::string& json_text,
                                                 const std::string& origin) {
    const ojson doc = parse_json(json_text, origin);
    return scenario_fault_reader::read_faults(scenario_node(doc, "$", origin));
}

}  // namespace zentrova::monitoring_modules::emulator::impl
