#include "emulator/impl/location_responder.hpp"

#include "emulator/impl/json_answer.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

using jsoncons::ojson;

http_answer location_responder::locations(const arm_request& r) {
    ojson value = json_array();
    for (const auto& region : r.world.regions) {
        const std::string prefix = "/subscriptions/" + r.sub.id + "/locations/";
        ojson metadata = json_object();
        metadata["regionType"] = region.region_type;
        metadata["regionCategory"] = region.region_category;
        metadata["geographyGroup"] = region.geography_group;
        metadata["longitude"] = region.longitude;
        metadata["latitude"] = region.latitude;
        metadata["physicalLocation"] = region.physical_location;
        ojson paired = json_array();
        if (!region.paired_region.empty()) {
            ojson pair = json_object();
            pair["name"] = region.paired_region;
            pair["id"] = prefix + region.paired_region;
            paired.push_back(std::move(pair));
        }
        metadata["pairedRegion"] = std::move(paired);
        ojson item = json_object();
        item["id"] = prefix + region.name;
        item["name"] = region.name;
        item["displayName"] = region.display_name;
        item["regionalDisplayName"] = region.regional_display_name;
        item["metadata"] = std::move(metadata);
        value.push_back(std::move(item));
    }
    ojson body = json_object();
    body["value"] = std::move(value);
    return json_answer(body);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
