#include "emulator/impl/scenario_resource_reader.hpp"

#include <algorithm>
#include <limits>
#include <optional>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

metric_series read_metric(const scenario_node& n, const std::string& name) {
    metric_series m;
    m.name = name;
    auto read_value = [](const scenario_node& v) -> std::optional<double> {
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
        n.each([&](const scenario_node& item) { m.values.push_back(read_value(item)); });
    } else if (v.is_object()) {
        scenario_object o(n, {"values", "error_code", "error_message", "empty_timeseries", "unit",
                              "localized_name", "description"});
        o.each("values", [&](const scenario_node& item) { m.values.push_back(read_value(item)); });
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

std::vector<metric_series> read_metrics(const scenario_object& o) {
    std::vector<metric_series> metrics;
    if (!o.has("metrics")) {
        return metrics;
    }
    o.child("metrics").each_member("an object of metric name to values",
                                   [&](const std::string& name, const scenario_node& values) {
                                       metrics.push_back(read_metric(values, name));
                                   });
    return metrics;
}

sql_sku read_sku(const scenario_object& o, sql_sku fallback) {
    if (!o.has("sku")) {
        return fallback;
    }
    scenario_object s(o.child("sku"), {"name", "tier", "family", "capacity"});
    sql_sku sku;
    sku.name = s.text("name");
    sku.tier = s.text("tier", "");
    sku.family = s.text("family", "");
    sku.capacity = static_cast<int>(s.integer("capacity", 0, 0, 100000));
    return sku;
}

bool read_model(const scenario_object& o, const char* fallback) {
    const std::string model = o.text("model", fallback);
    if (model != "dtu" && model != "vcore") {
        o.child("model").fail(R"(expected "dtu" or "vcore", found ")" + model + "\"");
    }
    return model == "vcore";
}

void add_resource_group(subscription& sub, const std::string& group) {
    if (!sub.has_resource_group(group)) {
        sub.resource_groups.push_back(group);
    }
}

virtual_machine read_virtual_machine(const scenario_node& n, subscription& sub,
                                     const std::string& default_location) {
    scenario_object o(n, {"name", "resource_group", "location", "size", "os_type", "computer_name",
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
        o.child("tags").each_member("an object of tag name to text",
                                    [&](const std::string& key, const scenario_node& value) {
                                        vm.tags.emplace_back(key, value.text());
                                    });
    }
    vm.metrics = read_metrics(o);
    vm.id = "/subscriptions/" + sub.id + "/resourceGroups/" + vm.resource_group +
            "/providers/Microsoft.Compute/virtualMachines/" + vm.name;
    vm.vm_id = stable_guid("vm:" + to_lower(vm.id));
    if (sub.find_vm(vm.resource_group, vm.name) != nullptr) {
        o.child("name").fail("a virtual machine \"" + vm.name + "\" already exists in group \"" +
                             vm.resource_group + "\"");
    }
    add_resource_group(sub, vm.resource_group);
    return vm;
}

elastic_pool read_pool(const scenario_node& n, const sql_server& server) {
    scenario_object o(n, {"name", "model", "sku", "location", "metrics"});
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

sql_database read_database(const scenario_node& n, const sql_server& server) {
    scenario_object o(n, {"name", "model", "elastic_pool", "system", "kind", "sku", "location",
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

sql_server read_sql_server(const scenario_node& n, subscription& sub,
                           const std::string& default_location) {
    scenario_object o(n, {"name", "resource_group", "location", "administrator_login", "version",
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
    o.each("elastic_pools",
           [&](const scenario_node& p) { server.pools.push_back(read_pool(p, server)); });
    o.each("databases",
           [&](const scenario_node& d) { server.databases.push_back(read_database(d, server)); });
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
    add_resource_group(sub, server.resource_group);
    return server;
}

}  // namespace

void scenario_resource_reader::read_resources(const scenario_object& o, subscription& sub,
                                              const std::string& default_location) {
    for (const auto& g : o.texts("resource_groups")) {
        add_resource_group(sub, g);
    }
    o.each("virtual_machines", [&](const scenario_node& v) {
        sub.virtual_machines.push_back(read_virtual_machine(v, sub, default_location));
    });
    o.each("sql_servers", [&](const scenario_node& s) {
        sub.sql_servers.push_back(read_sql_server(s, sub, default_location));
    });
}

}  // namespace zentrova::monitoring_modules::emulator::impl
