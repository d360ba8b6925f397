#include "emulator/impl/metric_catalog.hpp"

#include <array>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

constexpr const char* vm = "Microsoft.Compute/virtualMachines";
constexpr const char* db = "Microsoft.Sql/servers/databases";
constexpr const char* pool = "Microsoft.Sql/servers/elasticPools";

// Rows as the supported-metrics tables give them. A database's storage figures are maxima and
// its connection and deadlock figures totals; an elastic pool's storage figures are averages.
constexpr std::array<metric_definition, 34> definitions{{
    {vm, "Percentage CPU", "Percentage CPU", "Percent", "average"},
    {vm, "CPU Credits Remaining", "CPU Credits Remaining", "Count", "average"},
    {vm, "CPU Credits Consumed", "CPU Credits Consumed", "Count", "average"},
    {db, "cpu_percent", "CPU percentage", "Percent", "average"},
    {db, "cpu_limit", "CPU limit", "Count", "average"},
    {db, "cpu_used", "CPU used", "Count", "average"},
    {db, "physical_data_read_percent", "Data IO percentage", "Percent", "average"},
    {db, "log_write_percent", "Log IO percentage", "Percent", "average"},
    {db, "dtu_consumption_percent", "DTU percentage", "Percent", "average"},
    {db, "dtu_limit", "DTU Limit", "Count", "average"},
    {db, "dtu_used", "DTU used", "Count", "average"},
    {db, "storage", "Data space used", "Bytes", "maximum"},
    {db, "storage_percent", "Data space used percent", "Percent", "maximum"},
    {db, "allocated_data_storage", "Data space allocated", "Bytes", "average"},
    {db, "sessions_percent", "Sessions percentage", "Percent", "average"},
    {db, "workers_percent", "Workers percentage", "Percent", "average"},
    {db, "connection_successful", "Successful Connections", "Count", "total"},
    {db, "connection_failed", "Failed Connections", "Count", "total"},
    {db, "blocked_by_firewall", "Blocked by Firewall", "Count", "total"},
    {db, "deadlock", "Deadlocks", "Count", "total"},
    {pool, "cpu_percent", "CPU percentage", "Percent", "average"},
    {pool, "cpu_limit", "CPU limit", "Count", "average"},
    {pool, "cpu_used", "CPU used", "Count", "average"},
    {pool, "dtu_consumption_percent", "DTU percentage", "Percent", "average"},
    {pool, "eDTU_limit", "eDTU limit", "Count", "average"},
    {pool, "eDTU_used", "eDTU used", "Count", "average"},
    {pool, "storage_used", "Data space used", "Bytes", "average"},
    {pool, "storage_percent", "Data space used percent", "Percent", "average"},
    {pool, "storage_limit", "Data max size", "Bytes", "average"},
    {pool, "allocated_data_storage", "Data space allocated", "Bytes", "average"},
    {pool, "log_write_percent", "Log IO percentage", "Percent", "average"},
    {pool, "physical_data_read_percent", "Data IO percentage", "Percent", "average"},
    {pool, "sessions_percent", "Sessions percentage", "Percent", "average"},
    {pool, "workers_percent", "Workers percentage", "Percent", "average"},
}};

}  // namespace

const metric_definition* metric_catalog::find(std::string_view resource_namespace,
                                              std::string_view name) {
    for (const auto& d : definitions) {
        if (iequals(d.resource_namespace, resource_namespace) && iequals(d.name, name)) {
            return &d;
        }
    }
    return nullptr;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
