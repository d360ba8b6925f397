#pragma once

#include <jsoncons/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/impl/arm_request.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Reads the bodies of Cost Management query and forecast requests as the service reads them
// (member names in any case) and rejects what it would reject, with its 400 answer.
class cost_query_reader {
public:
    // What a query or forecast body asks for, or the 400 answer that rejects it.
    struct dataset_request {
        std::string cost_column;
        std::string dimension;  // canonical; empty: not grouped
        std::string from;       // YYYY-MM-DD; empty: no time period given
        std::string to;
        std::optional<http_answer> rejection;
    };

    // The body as a JSON object, or nothing and `problem` saying why not.
    static std::optional<jsoncons::ojson> parse_body(const std::string& body, std::string& problem);
    static dataset_request read_dataset(const jsoncons::ojson& root, const char* granularity,
                                        bool period_required);
    static http_answer bad_query(const std::string& what);
    // The member of an object with this name in any case; nullptr for anything else.
    static const jsoncons::ojson* member(const jsoncons::ojson* value, std::string_view name);
    // The text of a string value; empty for anything else.
    static std::string text(const jsoncons::ojson* value);
};

}  // namespace zentrova::monitoring_modules::emulator::impl
