#include "emulator/impl/scenario_parser.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <jsoncons/json.hpp>
#include <limits>
#include <sstream>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

constexpr std::int64_t int_max = std::numeric_limits<int>::max();

std::string type_of(const ojson& v) {
    if (v.is_null()) {
        return "null";
    }
    if (v.is_bool()) {
        return "a boolean";
    }
    if (v.is_number()) {
        return "a number";
    }
    if (v.is_string()) {
        return "a string";
    }
    return v.is_array() ? "an array" : "an object";
}

// One JSON value and where it sits, for error messages that lead straight to the problem.
class node {
public:
    node(const ojson& value, std::string path, const std::string& origin)
        : value_(value), path_(std::move(path)), origin_(origin) {}

    const ojson& value() const { return value_; }
    const std::string& path() const { return path_; }
    const std::string& origin() const { return origin_; }

    [[noreturn]] void fail(const std::string& what) const {
        throw scenario_error(origin_ + ": at " + path_ + ": " + what);
    }
    [[noreturn]] void expected(const std::string& what) const {
        fail("expected " + what + ", found " + type_of(value_));
    }

    std::string text() const {
        if (!value_.is_string()) {
            expected("a string");
        }
        return value_.as<std::string>();
    }
    double number() const {
        if (!value_.is_number()) {
            expected("a number");
        }
        return value_.as<double>();
    }
    std::int64_t integer(std::int64_t min, std::int64_t max) const {
        if (!value_.is_int64() && !value_.is_uint64()) {
            expected("an integer");
        }
        const bool too_big =
            value_.is_uint64() && value_.as<std::uint64_t>() > static_cast<std::uint64_t>(max);
        const std::int64_t v = too_big ? max : value_.as<std::int64_t>();
        if (too_big || v < min || v > max) {
            fail("must be between " + std::to_string(min) + " and " + std::to_string(max) +
                 ", found " + value_.to_string());
        }
        return v;
    }
    bool flag() const {
        if (!value_.is_bool()) {
            expected("true or false");
        }
        return value_.as<bool>();
    }
    std::string date() const {
        std::string t = text();
        if (!looks_like_date(t)) {
            fail("expected a date written YYYY-MM-DD, found \"" + t + "\"");
        }
        return t;
    }

    template <typename F>
    void each(F&& f) const {
        if (!value_.is_array()) {
            expected("an array");
        }
        std::size_t i = 0;
        for (const auto& item : value_.array_range()) {
            f(node(item, path_ + "[" + std::to_string(i++) + "]", origin_));
        }
    }

private:
    const ojson& value_;
    std::string path_;
    const std::string& origin_;
};

// A JSON object whose member names are checked against the names the format knows.
class object_node {
public:
    object_node(const node& n, std::initializer_list<const char*> known) : node_(n) {
        if (!n.value().is_object()) {
            n.expected("an object");
        }
        for (const auto& member : n.value().object_range()) {
            const bool ok = std::any_of(known.begin(), known.end(),
                                        [&](const char* k) { return member.key() == k; });
            if (!ok) {
                std::string names;
                for (const char* k : known) {
                    names += names.empty() ? k : std::string(", ") + k;
                }
                child(member.key())
                    .fail("unknown member \"" + member.key() + "\" (known: " + names + ")");
            }
        }
    }

    const node& self() const { return node_; }
    bool has(const std::string& key) const { return node_.value().contains(key); }
    node child(const std::string& key) const {
        const std::string path = node_.path() + "." + key;
        auto it = node_.value().find(key);
        if (it == node_.value().object_range().end()) {
            throw scenario_error(node_.origin() + ": at " + path + ": required member is missing");
        }
        return {it->value(), path, node_.origin()};
    }

    std::string text(const std::string& key) const { return child(key).text(); }
    std::string text(const std::string& key, const std::string& fallback) const {
        return has(key) ? text(key) : fallback;
    }
    double number(const std::string& key) const { return child(key).number(); }
    std::int64_t integer(const std::string& key, std::int64_t fallback, std::int64_t min,
                         std::int64_t max) const {
        return has(key) ? child(key).integer(min, max) : fallback;
    }
    bool flag(const std::string& key, bool fallback) const {
        return has(key) ? child(key).flag() : fallback;
    }
    std::vector<std::string> texts(const std::string& key) const {
        std::vector<std::string> out;
        if (has(key)) {
            child(key).each([&](const node& n) { out.push_back(n.text()); });
        }
        return out;
    }
    template <typename F>
    void each(const std::string& key, F&& f) const {
        if (has(key)) {
            child(key).each(std::forward<F>(f));
        }
    }

private:
    node node_;
};

ojson parse_json(const std::string& text, const std::string& origin) {
    try {
        return ojson::parse(text);
    } catch (const jsoncons::ser_error& e) {
        throw scenario_error(origin + ": not valid JSON: " + e.what());
    }
}

metric_series read_metric(const node& n, const std::string& name) {
    metric_series m;
    m.name = name;
    auto read_value = [](const node& v) -> std::optional<double> {
        if (v.value().is_null()) {
            return std::nullopt;
        }
        if (!v.value().is_number()) {
            v.expected("a number or null");
        }
        return v.number();
    };
    const ojson& v = n.value();
    if (v.is_number() || v.is_null()) {
        m.values.push_back(read_value(n));
    } else if (v.is_array()) {
        n.each([&](const node& item) { m.values.push_back(read_value(item)); });
    } else if (v.is_object()) {
        object_node o(n, {"values", "error_code", "error_message", "empty_timeseries", "unit",
                          "localized_name", "description"});
        o.each("values", [&](const node& item) { m.values.push_back(read_value(item)); });
        m.error_code = o.text("error_code", "Success");
        m.error_message = o.text("error_message", "");
        m.empty_timeseries = o.flag("empty_timeseries", false);
        m.unit = o.text("unit", "");
        m.localized_name = o.text("localized_name", "");
        m.description = o.text("description", "");
    } else {
        n.expected("a number, null, an array of them or an object");
    }
    return m;
}

std::vector<metric_series> read_metrics(const object_node& o) {
    std::vector<metric_series> metrics;
    if (!o.has("metrics")) {
        return metrics;
    }
    node n = o.child("metrics");
    if (!n.value().is_object()) {
        n.expected("an object of metric name to values");
    }
    for (const auto& member : n.value().object_range()) {
        const std::string& name = member.key();
        metrics.push_back(
            read_metric(node(member.value(), n.path() + "." + name, n.origin()), name));
    }
    return metrics;
}

sql_sku read_sku(const object_node& o, sql_sku fallback) {
    if (!o.has("sku")) {
        return fallback;
    }
    object_node s(o.child("sku"), {"name", "tier", "family", "capacity"});
    sql_sku sku;
    sku.name = s.text("name");
    sku.tier = s.text("tier", "");
    sku.family = s.text("family", "");
    sku.capacity = static_cast<int>(s.integer("capacity", 0, 0, 100000));
    return sku;
}

bool read_model(const object_node& o, const char* fallback) {
    const std::string model = o.text("model", fallback);
    if (model != "dtu" && model != "vcore") {
        o.child("model").fail(R"(expected "dtu" or "vcore", found ")" + model + "\"");
    }
    return model == "vcore";
}

void add_group(subscription& sub, const std::string& group) {
    if (!sub.has_resource_group(group)) {
        sub.resource_groups.push_back(group);
    }
}

virtual_machine read_vm(const node& n, subscription& sub, const std::string& default_location) {
    object_node o(n, {"name", "resource_group", "location", "size", "os_type", "computer_name",
                      "os_name", "os_version", "power_state", "statuses", "tags", "metrics"});
    virtual_machine vm;
    vm.name = o.text("name");
    vm.resource_group = o.text("resource_group");
    vm.location = o.text("location", default_location);
    vm.size = o.text("size", "Standard_D2s_v3");
    vm.os_type = o.text("os_type", "Linux");
    if (vm.os_type != "Linux" && vm.os_type != "Windows") {
        o.child("os_type").fail(R"(expected "Linux" or "Windows", found ")" + vm.os_type + "\"");
    }
    const bool windows = vm.os_type == "Windows";
    vm.computer_name = o.text("computer_name", vm.name);
    vm.os_name = o.text("os_name", windows ? "Windows Server 2022 Datacenter" : "ubuntu");
    vm.os_version = o.text("os_version", windows ? "10.0.20348" : "22.04");
    if (!o.has("power_state")) {
        vm.power_state = "running";
    } else if (!o.child("power_state").value().is_null()) {
        vm.power_state = o.text("power_state");
    }
    vm.status_codes = o.texts("statuses");
    if (o.has("tags")) {
        node tags = o.child("tags");
        if (!tags.value().is_object()) {
            tags.expected("an object of tag name to text");
        }
        for (const auto& member : tags.value().object_range()) {
            const std::string& key = member.key();
            vm.tags.emplace_back(key,
                                 node(member.value(), tags.path() + "." + key, n.origin()).text());
        }
    }
    vm.metrics = read_metrics(o);
    vm.id = "/subscriptions/" + sub.id + "/resourceGroups/" + vm.resource_group +
            "/providers/Microsoft.Compute/virtualMachines/" + vm.name;
    vm.vm_id = stable_guid("vm:" + to_lower(vm.id));
    if (sub.find_vm(vm.resource_group, vm.name) != nullptr) {
        o.child("name").fail("a virtual machine \"" + vm.name + "\" already exists in group \"" +
                             vm.resource_group + "\"");
    }
    add_group(sub, vm.resource_group);
    return vm;
}

elastic_pool read_pool(const node& n, const sql_server& server) {
    object_node o(n, {"name", "model", "sku", "location", "metrics"});
    elastic_pool pool;
    pool.name = o.text("name");
    pool.vcore = read_model(o, "dtu");
    pool.location = o.text("location", server.location);
    pool.sku = read_sku(o, pool.vcore ? sql_sku{"GP_Gen5", "GeneralPurpose", "Gen5", 2}
                                      : sql_sku{"StandardPool", "Standard", "", 100});
    pool.metrics = read_metrics(o);
    pool.id = server.id + "/elasticPools/" + pool.name;
    for (const auto& other : server.pools) {
        if (iequals(other.name, pool.name)) {
            o.child("name").fail("an elastic pool \"" + pool.name + "\" already exists");
        }
    }
    return pool;
}

sql_database read_database(const node& n, const sql_server& server) {
    object_node o(n, {"name", "model", "elastic_pool", "system", "kind", "sku", "location",
                      "status", "max_size_bytes", "metrics"});
    sql_database db;
    db.name = o.text("name");
    db.system = o.flag("system", false);
    db.vcore = read_model(o, "dtu");
    const elastic_pool* pool = nullptr;
    if (o.has("elastic_pool")) {
        const std::string pool_name = o.text("elastic_pool");
        for (const auto& p : server.pools) {
            if (iequals(p.name, pool_name)) {
                pool = &p;
            }
        }
        if (pool == nullptr) {
            o.child("elastic_pool")
                .fail("no elastic pool \"" + pool_name + "\" on server \"" + server.name + "\"");
        }
        db.vcore = pool->vcore;
        db.elastic_pool_id = pool->id;
    }
    std::string kind = db.system ? "v12.0,system" : "v12.0,user";
    if (!db.system && db.vcore) {
        kind += ",vcore";
    }
    if (!db.system && pool != nullptr) {
        kind += ",pool";
    }
    db.kind = o.text("kind", kind);
    sql_sku sku = db.system         ? sql_sku{"System0", "System", "", 0}
                  : pool != nullptr ? sql_sku{"ElasticPool", pool->sku.tier, "", 0}
                  : db.vcore        ? sql_sku{"GP_Gen5", "GeneralPurpose", "Gen5", 2}
                                    : sql_sku{"S0", "Standard", "", 0};
    db.sku = read_sku(o, sku);
    db.location = o.text("location", server.location);
    db.status = o.text("status", "Online");
    db.max_size_bytes = o.integer("max_size_bytes", db.system ? 32212254720 : 268435456000, 0,
                                  std::numeric_limits<std::int64_t>::max());
    db.metrics = read_metrics(o);
    db.id = server.id + "/databases/" + db.name;
    db.database_id = stable_guid("database:" + to_lower(db.id));
    for (const auto& other : server.databases) {
        if (iequals(other.name, db.name)) {
            o.child("name").fail("a database \"" + db.name + "\" already exists on server \"" +
                                 server.name + "\"");
        }
    }
    return db;
}

sql_server read_server(const node& n, subscription& sub, const std::string& default_location) {
    object_node o(n, {"name", "resource_group", "location", "administrator_login", "version",
                      "state", "elastic_pools", "databases"});
    sql_server server;
    server.name = o.text("name");
    server.resource_group = o.text("resource_group");
    server.location = o.text("location", default_location);
    server.administrator_login = o.text("administrator_login", "azureadmin");
    server.version = o.text("version", "12.0");
    server.state = o.text("state", "Ready");
    server.id = "/subscriptions/" + sub.id + "/resourceGroups/" + server.resource_group +
                "/providers/Microsoft.Sql/servers/" + server.name;
    if (sub.find_server(server.resource_group, server.name) != nullptr) {
        o.child("name").fail("a SQL server \"" + server.name + "\" already exists in group \"" +
                             server.resource_group + "\"");
    }
    o.each("elastic_pools", [&](const node& p) { server.pools.push_back(read_pool(p, server)); });
    o.each("databases",
           [&](const node& d) { server.databases.push_back(read_database(d, server)); });
    // Every Azure SQL server has its master database, listed first.
    const bool has_master =
        std::any_of(server.databases.begin(), server.databases.end(),
                    [](const sql_database& d) { return iequals(d.name, "master"); });
    if (!has_master) {
        sql_database master;
        master.name = "master";
        master.system = true;
        master.kind = "v12.0,system";
        master.location = server.location;
        master.status = "Online";
        master.max_size_bytes = 32212254720;
        master.sku = {"System0", "System", "", 0};
        master.id = server.id + "/databases/master";
        master.database_id = stable_guid("database:" + to_lower(master.id));
        server.databases.insert(server.databases.begin(), std::move(master));
    }
    add_group(sub, server.resource_group);
    return server;
}

const std::vector<std::string>& cost_dimensions() {
    static const std::vector<std::string> names{"ResourceGroupName", "ResourceType", "ResourceId",
                                                "ResourceLocation", "ServiceName"};
    return names;
}

billing_period read_period(const node& n) {
    object_node o(n, {"name", "start_date", "end_date", "invoice_ids", "total_cost", "costs"});
    billing_period period;
    period.name = o.text("name");
    period.start_date = o.child("start_date").date();
    period.end_date = o.child("end_date").date();
    period.invoice_ids = o.texts("invoice_ids");
    if (o.has("costs")) {
        node costs = o.child("costs");
        if (!costs.value().is_object()) {
            costs.expected("an object of dimension name to costs");
        }
        for (const auto& dim : costs.value().object_range()) {
            const std::string& dim_name = dim.key();
            node dim_node(dim.value(), costs.path() + "." + dim_name, n.origin());
            auto canonical =
                std::find_if(cost_dimensions().begin(), cost_dimensions().end(),
                             [&](const std::string& d) { return iequals(d, dim_name); });
            if (canonical == cost_dimensions().end()) {
                dim_node.fail("unknown cost dimension \"" + dim_name +
                              "\" (known: ResourceGroupName, ResourceType, ResourceId, "
                              "ResourceLocation, ServiceName; the BillingPeriod total is "
                              "total_cost)");
            }
            if (!dim.value().is_object()) {
                dim_node.expected("an object of group name to cost");
            }
            std::vector<cost_entry> entries;
            for (const auto& entry : dim.value().object_range()) {
                const std::string& key = entry.key();
                entries.push_back(
                    {key, node(entry.value(), dim_node.path() + "." + key, n.origin()).number()});
            }
            period.costs.emplace_back(*canonical, std::move(entries));
        }
    }
    if (o.has("total_cost")) {
        period.total_cost = o.number("total_cost");
    } else {
        const auto* by_service = period.costs_by("ServiceName");
        const auto* basis = by_service != nullptr  ? by_service
                            : period.costs.empty() ? nullptr
                                                   : &period.costs.front().second;
        if (basis != nullptr) {
            for (const auto& e : *basis) {
                period.total_cost += e.cost;
            }
        }
    }
    return period;
}

subscription read_subscription(const node& n, const std::string& default_location) {
    object_node o(n, {"id", "display_name", "currency", "resource_groups", "virtual_machines",
                      "sql_servers", "billing_periods", "forecast", "budgets"});
    subscription sub;
    sub.id = o.text("id");
    sub.display_name = o.text("display_name", "Emulated subscription");
    sub.currency = o.text("currency", "EUR");
    for (const auto& g : o.texts("resource_groups")) {
        add_group(sub, g);
    }
    o.each("virtual_machines", [&](const node& v) {
        sub.virtual_machines.push_back(read_vm(v, sub, default_location));
    });
    o.each("sql_servers", [&](const node& s) {
        sub.sql_servers.push_back(read_server(s, sub, default_location));
    });
    o.each("billing_periods", [&](const node& p) {
        billing_period period = read_period(p);
        for (const auto& other : sub.billing_periods) {
            if (other.name == period.name) {
                p.fail("a billing period \"" + period.name + "\" already exists");
            }
        }
        sub.billing_periods.push_back(std::move(period));
    });
    std::stable_sort(sub.billing_periods.begin(), sub.billing_periods.end(),
                     [](const billing_period& a, const billing_period& b) {
                         return a.start_date != b.start_date ? a.start_date > b.start_date
                                                             : a.name > b.name;
                     });
    o.each("forecast", [&](const node& r) {
        object_node row(r, {"date", "cost", "status", "currency"});
        sub.forecast.push_back({row.child("date").date(), row.number("cost"),
                                row.text("status", "Forecast"),
                                row.text("currency", sub.currency)});
    });
    o.each("budgets", [&](const node& b) {
        object_node budget_node(b, {"name", "amount", "current_spend", "category", "time_grain",
                                    "start_date", "end_date", "currency"});
        budget item;
        item.name = budget_node.text("name");
        item.amount = budget_node.number("amount");
        item.current_spend = budget_node.number("current_spend");
        item.category = budget_node.text("category", "Cost");
        item.time_grain = budget_node.text("time_grain", "Monthly");
        item.start_date = budget_node.text("start_date", "2024-01-01T00:00:00Z");
        item.end_date = budget_node.text("end_date", "2025-12-31T00:00:00Z");
        item.currency = budget_node.text("currency", sub.currency);
        sub.budgets.push_back(std::move(item));
    });
    return sub;
}

region read_region(const node& n) {
    object_node o(
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

tenant read_tenant(const node& n) {
    object_node o(n, {"id", "domains", "applications"});
    tenant t;
    t.id = o.text("id");
    t.domains = o.texts("domains");
    o.each("applications", [&](const node& a) {
        object_node app_node(
            a, {"client_id", "client_secret", "display_name", "object_id", "subscriptions"});
        application app;
        app.client_id = app_node.text("client_id");
        app.client_secret = app_node.text("client_secret");
        app.display_name = app_node.text("display_name", "emulated-application");
        app.object_id = app_node.text("object_id", stable_guid("object:" + app.client_id));
        app.subscriptions = app_node.texts("subscriptions");
        if (t.find_application(app.client_id) != nullptr) {
            app_node.child("client_id")
                .fail("an application \"" + app.client_id + "\" already exists in this tenant");
        }
        t.applications.push_back(std::move(app));
    });
    return t;
}

fault_kind parse_kind(const node& n) {
    static const std::vector<std::pair<const char*, fault_kind>> kinds{
        {"status", fault_kind::status},
        {"delay", fault_kind::delay},
        {"close", fault_kind::close_connection},
        {"close_mid_body", fault_kind::close_mid_body},
        {"wrong_content_type", fault_kind::wrong_content_type},
        {"truncated_body", fault_kind::truncated_body},
        {"invalid_json", fault_kind::invalid_json},
        {"empty_body", fault_kind::empty_body},
        {"large_body", fault_kind::large_body},
        {"body", fault_kind::custom_body}};
    const std::string name = n.text();
    std::string known;
    for (const auto& [k, kind] : kinds) {
        if (name == k) {
            return kind;
        }
        known += known.empty() ? k : std::string(", ") + k;
    }
    n.fail("unknown fault kind \"" + name + "\" (known: " + known + ")");
}

fault read_fault(const node& n) {
    object_node o(
        n, {"route", "kind", "status", "reason", "error_code", "error_message", "retry_after",
            "delay_ms", "content_type", "body", "size", "count", "path_contains"});
    fault f;
    f.route = o.text("route", "*");
    const auto& names = route_names();
    if (f.route == "unknown" ||
        (f.route != "*" && std::find(names.begin(), names.end(), f.route) == names.end())) {
        std::string known;
        for (const auto& r : names) {
            if (r != "unknown") {
                known += ", " + r;
            }
        }
        o.child("route").fail("unknown route \"" + f.route + "\" (known: *" + known + ")");
    }
    if (o.has("kind")) {
        f.kind = parse_kind(o.child("kind"));
    } else if (o.has("body")) {
        f.kind = fault_kind::custom_body;
    } else if (o.has("status")) {
        f.kind = fault_kind::status;
    } else if (o.has("delay_ms")) {
        f.kind = fault_kind::delay;
    } else {
        n.fail("a fault needs a \"kind\" (or a status, body or delay_ms to imply one)");
    }
    f.status = static_cast<int>(o.integer("status", 0, 100, 599));
    f.reason = o.text("reason", "");
    if (f.reason.find_first_of("\r\n") != std::string::npos) {
        o.child("reason").fail("a reason phrase cannot hold a line break");
    }
    f.error_code = o.text("error_code", "");
    f.error_message = o.text("error_message", "");
    f.retry_after_seconds = static_cast<int>(o.integer("retry_after", -1, 0, 86400));
    f.delay_ms = static_cast<int>(o.integer("delay_ms", 0, 0, 60000));
    f.content_type = o.text("content_type", "");
    f.body = o.text("body", "");
    f.size = static_cast<std::size_t>(
        o.integer("size", static_cast<std::int64_t>(f.size), 1, 1LL << 30));
    if (o.has("count")) {
        f.count = static_cast<int>(o.child("count").integer(1, int_max));
    }
    f.path_contains = o.text("path_contains", "");
    return f;
}

std::vector<fault> read_faults(const node& n) {
    std::vector<fault> faults;
    if (n.value().is_array()) {
        n.each([&](const node& f) { faults.push_back(read_fault(f)); });
    } else if (n.value().is_object()) {
        faults.push_back(read_fault(n));
    } else {
        n.expected("a fault object or an array of them");
    }
    return faults;
}

}  // namespace

scenario scenario_parser::parse(const std::string& json_text, const std::string& origin) {
    const ojson doc = parse_json(json_text, origin);
    object_node root(node(doc, "$", origin), {"description", "token_lifetime_seconds", "page_size",
                                              "tenants", "regions", "subscriptions", "faults"});
    scenario world;
    root.text("description", "");  // free text, but it must be text
    world.token_lifetime_seconds =
        static_cast<int>(root.integer("token_lifetime_seconds", 3599, 0, 30LL * 86400));
    world.page_size = static_cast<std::size_t>(root.integer("page_size", 0, 0, int_max));
    root.each("regions", [&](const node& r) {
        region reg = read_region(r);
        if (world.find_region(reg.name) != nullptr) {
            r.fail("a region \"" + reg.name + "\" already exists");
        }
        world.regions.push_back(std::move(reg));
    });
    const std::string default_location =
        world.regions.empty() ? "westeurope" : world.regions.front().name;
    root.each("subscriptions", [&](const node& s) {
        subscription sub = read_subscription(s, default_location);
        if (world.find_subscription(sub.id) != nullptr) {
            s.fail("a subscription \"" + sub.id + "\" already exists");
        }
        world.subscriptions.push_back(std::move(sub));
    });
    root.each("tenants", [&](const node& t) {
        tenant ten = read_tenant(t);
        if (world.find_tenant(ten.id) != nullptr) {
            t.fail("a tenant \"" + ten.id + "\" already exists");
        }
        for (const auto& app : ten.applications) {
            for (const auto& sub : app.subscriptions) {
                if (world.find_subscription(sub) == nullptr) {
                    t.fail("application \"" + app.client_id + "\" names subscription \"" + sub +
                           "\", which the scenario does not define");
                }
            }
        }
        world.tenants.push_back(std::move(ten));
    });
    if (root.has("faults")) {
        world.faults = read_faults(root.child("faults"));
    }
    return world;
}

scenario scenario_parser::parse_file(const std::string& path) {
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
    return parse(text.str(), origin);
}

std::vector<fault> scenario_parser::parse_faults(const std::string& json_text,
                                                 const std::string& origin) {
    const ojson doc = parse_json(json_text, origin);
    return read_faults(node(doc, "$", origin));
}

std::string scenario_parser::kind_name(fault_kind kind) {
    switch (kind) {
        case fault_kind::status:
            return "status";
        case fault_kind::delay:
            return "delay";
        case fault_kind::close_connection:
            return "close";
        case fault_kind::close_mid_body:
            return "close_mid_body";
        case fault_kind::wrong_content_type:
            return "wrong_content_type";
        case fault_kind::truncated_body:
            return "truncated_body";
        case fault_kind::invalid_json:
            return "invalid_json";
        case fault_kind::empty_body:
            return "empty_body";
        case fault_kind::large_body:
            return "large_body";
        case fault_kind::custom_body:
            return "body";
    }
    return "status";
}

}  // namespace zentrova::monitoring_modules::emulator::impl
