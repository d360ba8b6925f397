#include "microsoftazure/sql_database/sql_database_metascan.hpp"

#include <set>
#include <stdexcept>

#include "json/exceptions.hpp"
#include "microsoftazure/azure_client.hpp"
#include "microsoftazure/discovery_rows.hpp"
#include "microsoftazure/failure_ladder.hpp"
#include "microsoftazure/response_check.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

const char* const columns = "sql_database_metascan_section.sql_database_metascan_group.";

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// The name at the end of a resource id ("/.../elasticPools/pool-a" gives "pool-a").
std::string last_segment(const std::string& id) {
    return id.substr(id.rfind('/') + 1);
}

// The pool a pooled database belongs to. Azure always names it; without it the database
// could be neither listed as a pool nor as a single database.
std::string elastic_pool_id(const json::parser_interface& database, const std::string& id) {
    try {
        return database.get_object("/properties")->get_string("/elasticPoolId");
    } catch (const json::exceptions::empty_result&) {
        throw std::runtime_error("The database '" + id +
                                 "' is in an elastic pool but names no properties.elasticPoolId");
    }
}

// Turns user databases into rows: one per single database, one per elastic pool for all the
// databases in it, whichever server lists them.
class database_rows {
public:
    database_rows(const region_table& regions, framework::responses::meta_scan_result& result)
        : regions_(regions), result_(result) {}

    // Adds the rows of `database`; answers the name of the row it added, or "" for none (a
    // further database of a pool already listed).
    std::string add(const json::parser_interface& database) {
        const std::string kind = database.get_string("/kind");
        const std::string name = database.get_string("/name");
        const std::string location = database.get_string("/location");
        const std::string id = database.get_string("/id");
        const bool vcore = contains(kind, "vcore");
        if (contains(kind, "pool")) {
            const std::string pool_id = elastic_pool_id(database, id);
            if (!pools_seen_.insert(pool_id).second) {
                return {};
            }
            return add_row(last_segment(pool_id), pool_id, location,
                           vcore ? "Elastic pool, vCore" : "Elastic pool, DTU");
        }
        return add_row(name, id, location,
                       vcore ? "Single database, vCore" : "Single database, DTU");
    }

private:
    std::string add_row(const std::string& name, const std::string& database_id,
                        const std::string& location, const char* type) {
        const std::string& region = regions_.display_name(location);
        result_.add_entry(name, {{std::string(columns) + "name", name},
                                 {std::string(columns) + "database_id", database_id},
                                 {std::string(columns) + "region", region},
                                 {std::string(columns) + "type", type}});
        return name;
    }

    const region_table& regions_;
    std::set<std::string> pools_seen_;
    framework::responses::meta_scan_result& result_;
};

}  // namespace

sql_database_metascan::sql_database_metascan(
    std::shared_ptr<framework::module::service_container> container, int sensor_id,
    unsigned scan_id, const framework::settings::sensor_data_wrapper& settings)
    : metascan_base(std::move(container), sensor_id, scan_id, settings) {}

void sql_database_metascan::scan(framework::responses::meta_scan_result& result) {
    const auto& credentials = settings().credentials;
    azure_client client(*container(), credentials,
                        static_cast<std::uint32_t>(settings().connection.timeout));

    // Only the first page of servers, and of each server's databases, is read.
    const auto [servers, regions] =
        list_subscription(client, credentials.subscription_id,
                          "providers/Microsoft.Sql/servers?api-version=2014-04-01", log());
    progress(50, "Listed " + std::to_string(servers.size()) + " SQL servers");
    database_rows rows(regions, result);
    for (std::size_t i = 0; i < servers.size(); ++i) {
        const std::string server_id = servers[i]->get_string("/id");
        const auto databases = object_rows(
            *read_json_response(client.get(server_id + "/databases?api-version=2020-02-02-preview"),
                                "Databases response: ", log()),
            "/value");

        // Each server has its share of the progress from 50 to 100; its user databases (the
        // system one is never listed) move the progress through that share.
        std::vector<const json::parser_interface*> user_databases;
        for (const auto& database : databases) {
            if (!contains(database->get_string("/kind"), "system")) {
                user_databases.push_back(database.get());
            }
        }
        const int share_start = i == 0 ? 50 : row_progress(i - 1, servers.size());
        const int share_end = row_progress(i, servers.size());
        for (std::size_t j = 0; j < user_databases.size(); ++j) {
            const std::string row = rows.add(*user_databases[j]);
            if (!row.empty()) {
                const auto share = static_cast<std::size_t>(share_end - share_start);
                progress(share_start + static_cast<int>(share * (j + 1) / user_databases.size()),
                         row);
            }
        }
        progress(share_end, servers[i]->get_string("/name") + ": " +
                                std::to_string(user_databases.size()) + " databases");
    }
}

std::string sql_database_metascan::failure_message(const std::exception_ptr& failure) {
    return metascan_failure_message(failure, log());
}

}  // namespace zentrova::monitoring_modules::microsoftazure
