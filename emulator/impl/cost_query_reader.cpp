#include "emulator/impl/cost_query_reader.hpp"

#include <algorithm>
#include <vector>

#include "emulator/impl/http_exchange.hpp"
#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

const std::vector<std::string>& dimensions() {
    static const std::vector<std::string> names{"BillingPeriod",    "ResourceGroupName",
                                                "ResourceType",     "ResourceId",
                                                "ResourceLocation", "ServiceName"};
    return names;
}

}  // namespace

http_answer cost_query_reader::bad_query(const std::string& what) {
    return arm_error(400, "BadRequest", "Invalid query definition: " + what);
}

const ojson* cost_query_reader::member(const ojson* value, std::string_view name) {
    if (value == nullptr || !value->is_object()) {
        return nullptr;
    }
    for (const auto& m : value->object_range()) {
        if (iequals(m.key(), name)) {
            return &m.value();
        }
    }
    return nullptr;
}

std::string cost_query_reader::text(const ojson* value) {
    return value != nullptr && value->is_string() ? value->as<std::string>() : std::string();
}

cost_query_reader::dataset_request cost_query_reader::read_dataset(const ojson& root,
                                                                   const char* granularity,
                                                                   bool period_required) {
    dataset_request out;
    auto reject = [&out](const std::string& what) {
        out.rejection = bad_query(what);
        return out;
    };
    const std::string type = text(member(&root, "type"));
    if (!iequals(type, "ActualCost") && !iequals(type, "AmortizedCost") &&
        !iequals(type, "Usage")) {
        return reject("type '" + type + "' is not one of ActualCost, AmortizedCost, Usage.");
    }
    const ojson* timeframe = member(&root, "timeframe");
    if (timeframe != nullptr || period_required) {
        if (!iequals(text(timeframe), "Custom")) {
            return reject("the emulator answers timeframe Custom only, found '" + text(timeframe) +
                          "'.");
        }
        const ojson* period = member(&root, "timePeriod");
        out.from = text(member(period, "from"));
        out.to = text(member(period, "to"));
        if (!looks_like_date(out.from) || !looks_like_date(out.to)) {
            return reject("timePeriod needs 'from' and 'to' dates (YYYY-MM-DD), found '" +
                          out.from + "' and '" + out.to + "'.");
        }
        out.from.resize(10);
        out.to.resize(10);
    }
    const ojson* dataset = member(&root, "dataset");
    if (dataset == nullptr || !dataset->is_object()) {
        return reject("the 'dataset' object is missing.");
    }
    const std::string asked_granularity = text(member(dataset, "granularity"));
    if (!asked_granularity.empty() && !iequals(asked_granularity, granularity)) {
        return reject("the emulator answers this request with granularity " +
                      std::string(granularity) + " only, found '" + asked_granularity + "'.");
    }
    const ojson* aggregation = member(dataset, "aggregation");
    if (aggregation == nullptr || !aggregation->is_object() || aggregation->empty()) {
        return reject(
            "dataset.aggregation needs one entry such as "
            "{\"totalCost\":{\"name\":\"PreTaxCost\",\"function\":\"Sum\"}}.");
    }
    const ojson& first = aggregation->object_range().begin()->value();
    out.cost_column = text(member(&first, "name"));
    if (out.cost_column.empty()) {
        return reject("the aggregation has no 'name'.");
    }
    if (!iequals(text(member(&first, "function")), "Sum")) {
        return reject("the aggregation function must be Sum, found '" +
                      text(member(&first, "function")) + "'.");
    }
    const ojson* grouping = member(dataset, "grouping");
    if (grouping != nullptr) {
        if (!grouping->is_array() || grouping->size() > 1) {
            return reject("the emulator answers at most one grouping.");
        }
        for (const auto& g : grouping->array_range()) {
            if (!iequals(text(member(&g, "type")), "Dimension")) {
                return reject("grouping type '" + text(member(&g, "type")) +
                              "' is not supported; use Dimension.");
            }
            const std::string name = text(member(&g, "name"));
            auto it = std::find_if(dimensions().begin(), dimensions().end(),
                                   [&](const std::string& d) { return iequals(d, name); });
            if (it == dimensions().end()) {
                return reject("grouping dimension '" + name +
                              "' is not one of BillingPeriod, ResourceGroupName, ResourceType, "
                              "ResourceId, ResourceLocation, ServiceName.");
            }
            out.dimension = *it;
        }
    }
    return out;
}

std::optional<ojson> cost_query_reader::parse_body(const std::string& body, std::string& problem) {
    try {
        ojson root = ojson::parse(body);
        if (root.is_object()) {
            return root;
        }
        problem = "the request body is not a JSON object.";
    } catch (const jsoncons::ser_error& e) {
        problem = std::string("the request body is not valid JSON (") + e.what() + ").";
    }
    return std::nullopt;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
