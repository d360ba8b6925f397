#include "emulator/impl/resource_responder.hpp"

#include "emulator/impl/json_answer.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

ojson object() {
    return json_object();
}
ojson array() {
    return json_array();
}

// A missing resource in an existing group is ResourceNotFound; a missing group says so.
http_answer not_found(const arm_request& r, const std::string& type, const std::string& name) {
    const std::string& group = r.route.capture("group");
    if (!r.sub.has_resource_group(group)) {
        return arm_error(404, "ResourceGroupNotFound",
                         "Resource group '" + group + "' could not be found.");
    }
    return arm_error(404, "ResourceNotFound",
                     "The Resource '" + type + "/" + name + "' under resource group '" + group +
                         "' was not found.");
}

// ARM lists answer one page and a nextLink that carries the position in $skiptoken.
http_answer paged(const arm_request& r, const ojson& items) {
    std::size_t skip = 0;
    if (r.request.has_param("$skiptoken")) {
        const std::string token = r.request.param("$skiptoken");
        if (token.empty() ||
            !std::all_of(token.begin(), token.end(),
                         [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }) ||
            token.size() > 9) {
            return arm_error(400, "InvalidSkipToken",
                             "The $skiptoken '" + token + "' was not issued by this emulator.");
        }
        skip = std::stoul(token);
    }
    const std::size_t total = items.size();
    const std::size_t page = r.world.page_size == 0 ? total : r.world.page_size;
    ojson value = array();
    for (std::size_t i = skip; i < total && i < skip + page; ++i) {
        value.push_back(items[i]);
    }
    ojson body = object();
    body["value"] = std::move(value);
    if (skip + page < total) {
        body["nextLink"] = r.base_url + r.request.path.substr(1) +
                           "?api-version=" + r.request.param("api-version") +
                           "&$skiptoken=" + std::to_string(skip + page);
    }
    return json_answer(body);
}

struct known_metric {
    const char* name;
    const char* localized;
    const char* unit;
};

constexpr std::array<known_metric, 24> known_metrics{{
    {"Percentage CPU", "Percentage CPU", "Percent"},
    {"CPU Credits Remaining", "CPU Credits Remaining", "Count"},
    {"CPU Credits Consumed", "CPU Credits Consumed", "Count"},
    {"cpu_percent", "CPU percentage", "Percent"},
    {"cpu_limit", "CPU limit", "Count"},
    {"cpu_used", "CPU used", "Count"},
    {"physical_data_read_percent", "Data IO percentage", "Percent"},
    {"log_write_percent", "Log IO percentage", "Percent"},
    {"dtu_consumption_percent", "DTU percentage", "Percent"},
    {"dtu_limit", "DTU Limit", "Count"},
    {"dtu_used", "DTU used", "Count"},
    {"eDTU_limit", "eDTU limit", "Count"},
    {"eDTU_used", "eDTU used", "Count"},
    {"storage", "Data space used", "Bytes"},
    {"storage_used", "Data space used", "Bytes"},
    {"storage_percent", "Data space used percent", "Percent"},
    {"storage_limit", "Data max size", "Bytes"},
    {"allocated_data_storage", "Data space allocated", "Bytes"},
    {"sessions_percent", "Sessions percentage", "Percent"},
    {"workers_percent", "Workers percentage", "Percent"},
    {"connection_successful", "Successful Connections", "Count"},
    {"connection_failed", "Failed Connections", "Count"},
    {"blocked_by_firewall", "Blocked by Firewall", "Count"},
    {"deadlock", "Deadlocks", "Count"},
}};

const known_metric* find_known(const std::string& name) {
    for (const auto& k : known_metrics) {
        if (iequals(k.name, name)) {
            return &k;
        }
    }
    return nullptr;
}

std::string trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

// ISO 8601 durations as Azure Monitor takes them: P1D, PT1H, PT5M, PT30S, P1DT12H.
std::optional<std::chrono::seconds> parse_duration(std::string_view text) {
    if (text.empty() || (text[0] != 'P' && text[0] != 'p')) {
        return std::nullopt;
    }
    bool in_time = false;
    long long total = 0;
    long long number = -1;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            number = (number < 0 ? 0 : number) * 10 + (c - '0');
            if (number > 100000000) {
                return std::nullopt;
            }
            continue;
        }
        if (c == 'T' && !in_time && number < 0) {
            in_time = true;
            continue;
        }
        long long unit = 0;
        if (!in_time && c == 'D') {
            unit = 86400;
        } else if (!in_time && c == 'W') {
            unit = 7LL * 86400;
        } else if (in_time && c == 'H') {
            unit = 3600;
        } else if (in_time && c == 'M') {
            unit = 60;
        } else if (in_time && c == 'S') {
            unit = 1;
        }
        if (unit == 0 || number < 0) {
            return std::nullopt;
        }
        total += number * unit;
        number = -1;
    }
    if (number >= 0 || total == 0) {
        return std::nullopt;
    }
    return std::chrono::seconds(total);
}

http_answer metrics_answer(const arm_request& r, const std::string& resource_id,
                           const char* resource_namespace, const std::string& location,
                           const std::vector<metric_series>& metrics) {
    static const std::vector<std::string> valid_aggregations{"average", "minimum", "maximum",
                                                             "total", "count"};
    std::vector<std::string> aggregations;
    const std::string aggregation = r.request.param("aggregation");
    for (const auto& part : split(aggregation.empty() ? "average" : aggregation, ',')) {
        const std::string name = to_lower(trim(part));
        if (std::find(valid_aggregations.begin(), valid_aggregations.end(), name) ==
            valid_aggregations.end()) {
            return arm_error(400, "BadRequest",
                             "'" + trim(part) +
                                 "' is not a valid aggregation; use Average, Minimum, Maximum, "
                                 "Total or Count.");
        }
        aggregations.push_back(name);
    }

    const auto end = std::chrono::floor<std::chrono::minutes>(r.now);
    std::string timespan = r.request.param("timespan");
    if (timespan.find('/') == std::string::npos) {
        const auto duration =
            timespan.empty() ? std::optional<std::chrono::seconds>(60) : parse_duration(timespan);
        if (!duration) {
            return arm_error(400, "BadRequest",
                             "Invalid timespan '" + timespan +
                                 "': give an ISO 8601 duration such as PT1M or a start/end pair.");
        }
        timespan = iso8601(end - *duration) + "/" + iso8601(end);
    }
    const std::string interval =
        r.request.has_param("interval") ? r.request.param("interval") : "PT1M";

    std::vector<const metric_series*> chosen;
    if (!r.request.has_param("metricnames")) {
        if (!metrics.empty()) {
            chosen.push_back(&metrics.front());
        }
    } else {
        for (const auto& part : split(r.request.param("metricnames"), ',')) {
            const std::string asked = trim(part);
            for (const auto& m : metrics) {
                if (iequals(m.name, asked) &&
                    std::find(chosen.begin(), chosen.end(), &m) == chosen.end()) {
                    chosen.push_back(&m);
                    break;
                }
            }
        }
    }

    ojson value = array();
    std::size_t points = 0;
    for (const metric_series* m : chosen) {
        const known_metric* known = find_known(m->name);
        const std::string localized = !m->localized_name.empty() ? m->localized_name
                                      : known != nullptr         ? known->localized
                                                                 : m->name;
        const std::string unit = !m->unit.empty()                ? m->unit
                                 : known != nullptr              ? known->unit
                                 : icontains(m->name, "percent") ? "Percent"
                                                                 : "Count";
        ojson item = object();
        item["id"] = resource_id + "/providers/Microsoft.Insights/metrics/" + m->name;
        item["type"] = "Microsoft.Insights/metrics";
        ojson name = object();
        name["value"] = m->name;
        name["localizedValue"] = localized;
        item["name"] = std::move(name);
        item["displayDescription"] = m->description.empty() ? localized : m->description;
        item["unit"] = unit;
        ojson timeseries = array();
        if (!m->empty_timeseries) {
            ojson data = array();
            const auto count = static_cast<long>(m->values.size());
            for (long i = 0; i < count; ++i) {
                ojson point = object();
                point["timeStamp"] = iso8601(end - std::chrono::minutes(count - i));
                if (const auto& v = m->values[static_cast<std::size_t>(i)]; v.has_value()) {
                    for (const auto& a : aggregations) {
                        point[a] = *v;
                    }
                }
                data.push_back(std::move(point));
            }
            points += m->values.size();
            ojson series = object();
            series["metadatavalues"] = array();
            series["data"] = std::move(data);
            timeseries.push_back(std::move(series));
        }
        item["timeseries"] = std::move(timeseries);
        if (m->error_code != "Success") {
            item["errorMessage"] = m->error_message.empty()
                                       ? "The scenario marks metric " + m->name + " as failed."
                                       : m->error_message;
        }
        item["errorCode"] = m->error_code;
        value.push_back(std::move(item));
    }
    ojson body = object();
    body["cost"] = points;
    body["timespan"] = timespan;
    body["interval"] = interval;
    body["value"] = std::move(value);
    body["namespace"] = resource_namespace;
    body["resourceregion"] = location;
    return json_answer(body);
}

ojson vm_item(const subscription& sub, const virtual_machine& vm) {
    const bool windows = vm.os_type == "Windows";
    const std::string group_prefix =
        "/subscriptions/" + sub.id + "/resourceGroups/" + vm.resource_group + "/providers/";
    ojson image = object();
    image["publisher"] = windows ? "MicrosoftWindowsServer" : "Canonical";
    image["offer"] = windows ? "WindowsServer" : "0001-com-ubuntu-server-jammy";
    image["sku"] = windows ? "2022-datacenter-azure-edition" : "22_04-lts-gen2";
    image["version"] = "latest";
    ojson managed_disk = object();
    managed_disk["storageAccountType"] = "Premium_LRS";
    managed_disk["id"] = group_prefix + "Microsoft.Compute/disks/" + vm.name + "_OsDisk_1";
    ojson os_disk = object();
    os_disk["osType"] = vm.os_type;
    os_disk["name"] = vm.name + "_OsDisk_1";
    os_disk["createOption"] = "FromImage";
    os_disk["caching"] = "ReadWrite";
    os_disk["managedDisk"] = std::move(managed_disk);
    os_disk["diskSizeGB"] = windows ? 127 : 30;
    ojson storage = object();
    storage["imageReference"] = std::move(image);
    storage["osDisk"] = std::move(os_disk);
    storage["dataDisks"] = array();
    ojson os_config = object();
    os_config["provisionVMAgent"] = true;
    if (windows) {
        os_config["enableAutomaticUpdates"] = true;
    } else {
        os_config["disablePasswordAuthentication"] = true;
    }
    ojson os_profile = object();
    os_profile["computerName"] = vm.computer_name;
    os_profile["adminUsername"] = "azureuser";
    os_profile[windows ? "windowsConfiguration" : "linuxConfiguration"] = std::move(os_config);
    os_profile["secrets"] = array();
    os_profile["allowExtensionOperations"] = true;
    ojson nic = object();
    nic["id"] = group_prefix + "Microsoft.Network/networkInterfaces/" + vm.name + "-nic";
    ojson nics = array();
    nics.push_back(std::move(nic));
    ojson network = object();
    network["networkInterfaces"] = std::move(nics);
    ojson hardware = object();
    hardware["vmSize"] = vm.size;
    ojson properties = object();
    properties["vmId"] = vm.vm_id;
    properties["hardwareProfile"] = std::move(hardware);
    properties["storageProfile"] = std::move(storage);
    properties["osProfile"] = std::move(os_profile);
    properties["networkProfile"] = std::move(network);
    properties["provisioningState"] = "Succeeded";
    ojson tags = object();
    for (const auto& [key, value] : vm.tags) {
        tags[key] = value;
    }
    ojson item = object();
    item["name"] = vm.name;
    item["id"] = vm.id;
    item["type"] = "Microsoft.Compute/virtualMachines";
    item["location"] = vm.location;
    item["tags"] = std::move(tags);
    item["properties"] = std::move(properties);
    return item;
}

std::string display_status(const std::string& code) {
    const std::size_t slash = code.find('/');
    if (slash == std::string::npos) {
        return code;
    }
    const std::string kind = code.substr(0, slash);
    const std::string state = code.substr(slash + 1);
    if (kind == "PowerState") {
        return "VM " + state;
    }
    if (kind == "ProvisioningState") {
        return "Provisioning " + state;
    }
    return code;
}

ojson status_item(const std::string& code, const std::string& time) {
    ojson status = object();
    status["code"] = code;
    status["level"] = "Info";
    status["displayStatus"] = display_status(code);
    if (!time.empty()) {
        status["time"] = time;
    }
    return status;
}

ojson sku_json(const sql_sku& sku) {
    ojson out = object();
    out["name"] = sku.name;
    if (!sku.tier.empty()) {
        out["tier"] = sku.tier;
    }
    if (!sku.family.empty()) {
        out["family"] = sku.family;
    }
    if (sku.capacity > 0) {
        out["capacity"] = sku.capacity;
    }
    return out;
}

std::string objective_name(const sql_sku& sku) {
    return sku.capacity > 0 && !sku.family.empty() ? sku.name + "_" + std::to_string(sku.capacity)
                                                   : sku.name;
}

}  // namespace

http_answer resource_responder::respond(const arm_request& r) {
    switch (r.route.id) {
        case route_id::vm_list:
            return vm_list(r);
        case route_id::locations:
            return locations(r);
        case route_id::vm_metrics:
            return vm_metrics(r);
        case route_id::instance_view:
            return instance_view(r);
        case route_id::sql_servers:
            return sql_servers(r);
        case route_id::sql_databases:
            return sql_databases(r);
        case route_id::sql_database_metrics:
        case route_id::sql_pool_metrics:
            return sql_metrics(r);
        default:
            return arm_error(404, "NotFound", "The emulator has no resource route for this path.");
    }
}

http_answer resource_responder::vm_list(const arm_request& r) {
    ojson items = array();
    for (const auto& vm : r.sub.virtual_machines) {
        items.push_back(vm_item(r.sub, vm));
    }
    return paged(r, items);
}

http_answer resource_responder::locations(const arm_request& r) {
    ojson value = array();
    for (const auto& region : r.world.regions) {
        const std::string prefix = "/subscriptions/" + r.sub.id + "/locations/";
        ojson metadata = object();
        metadata["regionType"] = region.region_type;
        metadata["regionCategory"] = region.region_category;
        metadata["geographyGroup"] = region.geography_group;
        metadata["longitude"] = region.longitude;
        metadata["latitude"] = region.latitude;
        metadata["physicalLocation"] = region.physical_location;
        ojson paired = array();
        if (!region.paired_region.empty()) {
            ojson pair = object();
            pair["name"] = region.paired_region;
            pair["id"] = prefix + region.paired_region;
            paired.push_back(std::move(pair));
        }
        metadata["pairedRegion"] = std::move(paired);
        ojson item = object();
        item["id"] = prefix + region.name;
        item["name"] = region.name;
        item["displayName"] = region.display_name;
        item["regionalDisplayName"] = region.regional_display_name;
        item["metadata"] = std::move(metadata);
        value.push_back(std::move(item));
    }
    ojson body = object();
    body["value"] = std::move(value);
    return json_answer(body);
}

http_answer resource_responder::vm_metrics(const arm_request& r) {
    const virtual_machine* vm = r.sub.find_vm(r.route.capture("group"), r.route.capture("vm"));
    if (vm == nullptr) {
        return not_found(r, "Microsoft.Compute/virtualMachines", r.route.capture("vm"));
    }
    return metrics_answer(r, vm->id, "Microsoft.Compute/virtualMachines", vm->location,
                          vm->metrics);
}

http_answer resource_responder::instance_view(const arm_request& r) {
    const virtual_machine* vm = r.sub.find_vm(r.route.capture("group"), r.route.capture("vm"));
    if (vm == nullptr) {
        return not_found(r, "Microsoft.Compute/virtualMachines", r.route.capture("vm"));
    }
    const std::string time = iso8601(std::chrono::floor<std::chrono::hours>(r.now));
    const bool running = vm->power_state.has_value() && *vm->power_state == "running";
    ojson view = object();
    if (running) {
        view["computerName"] = vm->computer_name;
        view["osName"] = vm->os_name;
        view["osVersion"] = vm->os_version;
        ojson agent_statuses = array();
        ojson agent_status = status_item("ProvisioningState/succeeded", time);
        agent_status["displayStatus"] = "Ready";
        agent_statuses.push_back(std::move(agent_status));
        ojson agent = object();
        agent["vmAgentVersion"] = "2.10.0.8";
        agent["statuses"] = std::move(agent_statuses);
        view["vmAgent"] = std::move(agent);
    }
    ojson disk_statuses = array();
    disk_statuses.push_back(status_item("ProvisioningState/succeeded", time));
    ojson disk = object();
    disk["name"] = vm->name + "_OsDisk_1";
    disk["statuses"] = std::move(disk_statuses);
    ojson disks = array();
    disks.push_back(std::move(disk));
    view["disks"] = std::move(disks);
    view["hyperVGeneration"] = "V2";
    ojson statuses = array();
    if (!vm->status_codes.empty()) {
        for (const auto& code : vm->status_codes) {
            statuses.push_back(status_item(code, ""));
        }
    } else {
        statuses.push_back(status_item("ProvisioningState/succeeded", time));
        if (vm->power_state.has_value()) {
            statuses.push_back(status_item("PowerState/" + *vm->power_state, ""));
        }
    }
    view["statuses"] = std::move(statuses);
    return json_answer(view);
}

http_answer resource_responder::sql_servers(const arm_request& r) {
    ojson items = array();
    for (const auto& server : r.sub.sql_servers) {
        const region* reg = r.world.find_region(server.location);
        ojson properties = object();
        properties["fullyQualifiedDomainName"] = server.name + ".database.windows.net";
        properties["administratorLogin"] = server.administrator_login;
        properties["administratorLoginPassword"] = ojson::null();
        properties["externalAdministratorLogin"] = ojson::null();
        properties["externalAdministratorSid"] = ojson::null();
        properties["version"] = server.version;
        properties["state"] = server.state;
        ojson item = object();
        item["id"] = server.id;
        item["name"] = server.name;
        item["type"] = "Microsoft.Sql/servers";
        // The 2014-04-01 list writes the region's display name.
        item["location"] = reg != nullptr ? reg->display_name : server.location;
        item["kind"] = "v12.0";
        item["properties"] = std::move(properties);
        items.push_back(std::move(item));
    }
    return paged(r, items);
}

http_answer resource_responder::sql_databases(const arm_request& r) {
    const sql_server* server =
        r.sub.find_server(r.route.capture("group"), r.route.capture("server"));
    if (server == nullptr) {
        return not_found(r, "Microsoft.Sql/servers", r.route.capture("server"));
    }
    ojson items = array();
    for (const auto& db : server->databases) {
        const region* reg = r.world.find_region(db.location);
        ojson properties = object();
        properties["collation"] = "SQL_Latin1_General_CP1_CI_AS";
        properties["maxSizeBytes"] = db.max_size_bytes;
        if (!db.elastic_pool_id.empty()) {
            properties["elasticPoolId"] = db.elastic_pool_id;
        }
        properties["status"] = db.status;
        properties["databaseId"] = db.database_id;
        properties["creationDate"] = "2024-01-15T09:30:00.000Z";
        properties["currentServiceObjectiveName"] = objective_name(db.sku);
        properties["requestedServiceObjectiveName"] = objective_name(db.sku);
        properties["defaultSecondaryLocation"] =
            reg != nullptr && !reg->paired_region.empty() ? reg->paired_region : db.location;
        properties["catalogCollation"] = "SQL_Latin1_General_CP1_CI_AS";
        properties["zoneRedundant"] = false;
        if (db.vcore) {
            properties["licenseType"] = "LicenseIncluded";
        }
        properties["readScale"] = "Disabled";
        properties["currentSku"] = sku_json(db.sku);
        ojson item = object();
        item["sku"] = sku_json(db.sku);
        item["kind"] = db.kind;
        item["properties"] = std::move(properties);
        item["location"] = db.location;
        item["id"] = db.id;
        item["name"] = db.name;
        item["type"] = "Microsoft.Sql/servers/databases";
        items.push_back(std::move(item));
    }
    return paged(r, items);
}

http_answer resource_responder::sql_metrics(const arm_request& r) {
    const sql_server* server =
        r.sub.find_server(r.route.capture("group"), r.route.capture("server"));
    if (server == nullptr) {
        return not_found(r, "Microsoft.Sql/servers", r.route.capture("server"));
    }
    if (r.route.id == route_id::sql_pool_metrics) {
        const std::string& name = r.route.capture("pool");
        for (const auto& pool : server->pools) {
            if (iequals(pool.name, name)) {
                return metrics_answer(r, pool.id, "Microsoft.Sql/servers/elasticPools",
                                      pool.location, pool.metrics);
            }
        }
        return not_found(r, "Microsoft.Sql/servers/elasticPools", server->name + "/" + name);
    }
    const std::string& name = r.route.capture("database");
    for (const auto& db : server->databases) {
        if (iequals(db.name, name)) {
            return metrics_answer(r, db.id, "Microsoft.Sql/servers/databases", db.location,
                                  db.metrics);
        }
    }
    return not_found(r, "Microsoft.Sql/servers/databases", server->name + "/" + name);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
