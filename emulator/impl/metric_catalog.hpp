#pragma once

#include <string_view>

namespace zentrova::monitoring_modules::emulator::impl {

// What Azure Monitor publishes about one metric of a resource type: its display name, its unit
// and its primary aggregation (the one a request that names none gets).
struct metric_definition {
    const char* resource_namespace;
    const char* name;
    const char* localized;
    const char* unit;
    const char* primary_aggregation;  // lower case, as the answer's data points name it
};

// Microsoft's supported-metrics tables for the resource types the module watches, kept here
// and nowhere else.
class metric_catalog {
public:
    // The definition of a metric of a resource type, names compared without regard to case;
    // nullptr for a metric the tables do not list.
    static const metric_definition* find(std::string_view resource_namespace,
                                         std::string_view name);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
