#include "emulator/impl/compute_responder.hpp"

#include "emulator/impl/resource_answers.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

ojson vm_item(const subscription& sub, const virtual_machine& vm) {
    const bool windows = vm.os_type == "Windows";
    const std::string group_prefix =
        "/subscriptions/" + sub.id + "/resourceGroups/" + vm.resource_group + "/providers/";
    ojson image = json_object();
    image["publisher"] = windows ? "MicrosoftWindowsServer" : "Canonical";
    image["offer"] = windows ? "WindowsServer" : "0001-com-ubuntu-server-jammy";
    image["sku"] = windows ? "2022-datacenter-azure-edition" : "22_04-lts-gen2";
    image["version"] = "latest";
    ojson managed_disk = json_object();
    managed_disk["storageAccountType"] = "Premium_LRS";
    managed_disk["id"] = group_prefix + "Microsoft.Compute/disks/" + vm.name + "_OsDisk_1";
    ojson os_disk = json_object();
    os_disk["osType"] = vm.os_type;
    os_disk["name"] = vm.name + "_OsDisk_1";
    os_disk["createOption"] = "FromImage";
    os_disk["caching"] = "ReadWrite";
    os_disk["managedDisk"] = std::move(managed_disk);
    os_disk["diskSizeGB"] = windows ? 127 : 30;
    ojson storage = json_object();
    storage["imageReference"] = std::move(image);
    storage["osDisk"] = std::move(os_disk);
    storage["dataDisks"] = json_array();
    ojson os_config = json_object();
    os_config["provisionVMAgent"] = true;
    if (windows) {
        os_config["enableAutomaticUpdates"] = true;
    } else {
        os_config["disablePasswordAuthentication"] = true;
    }
    ojson os_profile = json_object();
    os_profile["computerName"] = vm.computer_name;
    os_profile["adminUsername"] = "azureuser";
    os_profile[windows ? "windowsConfiguration" : "linuxConfiguration"] = std::move(os_config);
    os_profile["secrets"] = json_array();
    os_profile["allowExtensionOperations"] = true;
    ojson nic = json_object();
    nic["id"] = group_prefix + "Microsoft.Network/networkInterfaces/" + vm.name + "-nic";
    ojson nics = json_array();
    nics.push_back(std::move(nic));
    ojson network = json_object();
    network["networkInterfaces"] = std::move(nics);
    ojson hardware = json_object();
    hardware["vmSize"] = vm.size;
    ojson properties = json_object();
    properties["vmId"] = vm.vm_id;
    properties["hardwareProfile"] = std::move(hardware);
    properties["storageProfile"] = std::move(storage);
    properties["osProfile"] = std::move(os_profile);
    properties["networkProfile"] = std::move(network);
    properties["provisioningState"] = "Succeeded";
    ojson tags = json_object();
    for (const auto& [key, value] : vm.tags) {
        tags[key] = value;
    }
    ojson item = json_object();
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
    ojson status = json_object();
    status["code"] = code;
    status["level"] = "Info";
    status["displayStatus"] = display_status(code);
    if (!time.empty()) {
        status["time"] = time;
    }
    return status;
}

}  // namespace

http_answer compute_responder::vm_list(const arm_request& r) {
    ojson items = json_array();
    for (const auto& vm : r.sub.virtual_machines) {
        items.push_back(vm_item(r.sub, vm));
    }
    return paged_answer(r, items, r.world.page_size * r.world.copies);
}

http_answer compute_responder::instance_view(const arm_request& r) {
    const virtual_machine* vm = r.sub.find_vm(r.route.capture("group"), r.route.capture("vm"));
    if (vm == nullptr) {
        return resource_not_found(r, "Microsoft.Compute/virtualMachines", r.route.capture("vm"));
    }
    const std::string time = iso8601(std::chrono::floor<std::chrono::hours>(r.now));
    const bool running = vm->power_state.has_value() && *vm->power_state == "running";
    ojson view = json_object();
    if (running) {
        view["computerName"] = vm->computer_name;
        view["osName"] = vm->os_name;
        view["osVersion"] = vm->os_version;
        ojson agent_statuses = json_array();
        ojson agent_status = status_item("ProvisioningState/succeeded", time);
        agent_status["displayStatus"] = "Ready";
        agent_statuses.push_back(std::move(agent_status));
        ojson agent = json_object();
        agent["vmAgentVersion"] = "2.10.0.8";
        agent["statuses"] = std::move(agent_statuses);
        view["vmAgent"] = std::move(agent);
    }
    ojson disk_statuses = json_array();
    disk_statuses.push_back(status_item("ProvisioningState/succeeded", time));
    ojson disk = json_object();
    disk["name"] = vm->name + "_OsDisk_1";
    disk["statuses"] = std::move(disk_statuses);
    ojson disks = json_array();
    disks.push_back(std::move(disk));
    view["disks"] = std::move(disks);
    view["hyperVGeneration"] = "V2";
    ojson statuses = json_array();
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

}  // namespace zentrova::monitoring_modules::emulator::impl
