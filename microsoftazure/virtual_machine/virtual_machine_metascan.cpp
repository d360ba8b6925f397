#include "microsoftazure/virtual_machine/virtual_machine_metascan.hpp"

#include <stdexcept>

#include "json/exceptions.hpp"
#include "microsoftazure/azure_client.hpp"
#include "microsoftazure/discovery_rows.hpp"
#include "microsoftazure/failure_ladder.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

const char* const columns = "virtual_machine_metascan_section.virtual_machine_metascan_group.";

// Segment 4 of "/subscriptions/<id>/resourceGroups/<group>/providers/...", split at every "/"
// with the empty text before the leading "/" as segment 0.
std::string resource_group_of(const std::string& id) {
    std::vector<std::string> segments;
    std::size_t start = 0;
    for (;;) {
        const auto slash = id.find('/', start);
        segments.push_back(id.substr(start, slash - start));
        if (slash == std::string::npos) {
            break;
        }
        start = slash + 1;
    }
    if (segments.size() < 5) {
        throw std::runtime_error(
            "The virtual machine id '" + id +
            "' has no resource group; expected /subscriptions/<id>/resourceGroups/<group>/...");
    }
    return segments[4];
}

}  // namespace

virtual_machine_metascan::virtual_machine_metascan(
    std::shared_ptr<framework::module::service_container> container, int sensor_id,
    unsigned scan_id, const framework::settings::sensor_data_wrapper& settings)
    : metascan_base(std::move(container), sensor_id, scan_id, settings) {}

void virtual_machine_metascan::scan(framework::responses::meta_scan_result& result) {
    const auto& credentials = settings().credentials;
    azure_client client(*container(), credentials,
                        static_cast<std::uint32_t>(settings().connection.timeout));

    const auto [machines, regions] = list_subscription(
        client, credentials.subscription_id,
        "providers/Microsoft.Compute/virtualMachines?api-version=2019-12-01", log());
    progress(50, "Listed " + std::to_string(machines.size()) + " virtual machines");
    for (std::size_t i = 0; i < machines.size(); ++i) {
        const auto& machine = *machines[i];
        const std::string name = machine.get_string("/name");
        const std::string id = machine.get_string("/id");
        const std::string resource_group = resource_group_of(id);
        const std::string& region = regions.display_name(machine.get_string("/location"));
        const std::string os = machine.get_string("/properties/storageProfile/osDisk/osType");
        result.add_entry(name, {{std::string(columns) + "name", name},
                                {std::string(columns) + "vm_id", id},
                                {std::string(columns) + "os", os},
                                {std::string(columns) + "resource_group", resource_group},
                                {std::string(columns) + "region", region}});
        progress(row_progress(i, machines.size()), name);
    }
}

std::string virtual_machine_metascan::failure_message(const std::exception_ptr& failure) {
    return metascan_failure_message(failure, log());
}

}  // namespace zentrova::monitoring_modules::microsoftazure
