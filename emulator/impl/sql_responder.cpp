#include "emulator/impl/sql_responder.hpp"

#include "emulator/impl/resource_answers.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

ojson sku_json(const sql_sku& sku) {
    ojson out = json_object();
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

http_answer sql_responder::sql_servers(const arm_request& r) {
    ojson items = json_array();
    for (const auto& server : r.sub.sql_servers) {
        const region* reg = r.world.find_region(server.location);
        ojson properties = json_object();
        properties["fullyQualifiedDomainName"] = server.name + ".database.windows.net";
        properties["administratorLogin"] = server.administrator_login;
        properties["administratorLoginPassword"] = ojson::null();
        properties["externalAdministratorLogin"] = ojson::null();
        properties["externalAdministratorSid"] = ojson::null();
        properties["version"] = server.version;
        properties["state"] = server.state;
        ojson item = json_object();
        item["id"] = server.id;
        item["name"] = server.name;
        item["type"] = "Microsoft.Sql/servers";
        // The 2014-04-01 list writes the region's display name.
        item["location"] = reg != nullptr ? reg->display_name : server.location;
        item["kind"] = "v12.0";
        item["properties"] = std::move(properties);
        items.push_back(std::move(item));
    }
    // The 2014-04-01 list is an OData service's answer, and says so.
    http_answer answer = paged_answer(r, items, r.world.page_size * r.world.copies);
    if (answer.status == 200) {
        answer.content_type =
            "application/json; odata=minimalmetadata; streaming=true; charset=utf-8";
        answer.set_header("DataServiceVersion", "3.0;");
    }
    return answer;
}

http_answer sql_responder::sql_databases(const arm_request& r) {
    const sql_server* server =
        r.sub.find_server(r.route.capture("group"), r.route.capture("server"));
    if (server == nullptr) {
        return resource_not_found(r, "Microsoft.Sql/servers", r.route.capture("server"));
    }
    ojson items = json_array();
    for (const auto& db : server->databases) {
        const region* reg = r.world.find_region(db.location);
        ojson properties = json_object();
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
        ojson item = json_object();
        item["sku"] = sku_json(db.sku);
        item["kind"] = db.kind;
        item["properties"] = std::move(properties);
        item["location"] = db.location;
        item["id"] = db.id;
        item["name"] = db.name;
        item["type"] = "Microsoft.Sql/servers/databases";
        items.push_back(std::move(item));
    }
    return paged_answer(r, items);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
