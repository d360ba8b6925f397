// The JSON query layer: a path and a body, every operation of both parsers.
// Input: the path on the first line, the body after it.
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "fuzz/fuzz_target.hpp"
#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"

namespace {

namespace json = zentrova::monitoring_modules::json;
using zentrova::monitoring_modules::fuzz::input_reader;
using zentrova::monitoring_modules::fuzz::require;

// The outcome of one query: its value as text, or the failure's message. Only the layer's own
// exceptions are expected; anything else passes through and ends the run as a crash.
template <typename Query>
std::optional<std::string> attempt(Query&& query) {
    try {
        return query();
    } catch (const json::exceptions::exception&) {
        return std::nullopt;
    }
}

std::string joined(const std::map<std::string, std::string>& map) {
    std::string text;
    for (const auto& [key, value] : map) {
        text += key + '\x1f' + value + '\x1e';
    }
    return text;
}

// The four scalar queries, and that a boolean reads as its JSON text.
void query_scalars(const json::parser_interface& parser, const std::string& path) {
    const auto text = attempt([&] { return parser.get_string(path); });
    attempt([&] { return std::to_string(parser.get_int(path)); });
    attempt([&] { return std::to_string(parser.get_double(path)); });
    const auto flag =
        attempt([&] { return std::string(parser.get_bool(path) ? "true" : "false"); });
    if (flag) {
        require(text == flag, "a boolean reads as text other than true or false");
    }
}

// The collections, and that a sub-parser sees what its parent sees at the same node.
void query_collections(const json::parser_interface& parser, const std::string& path, int depth) {
    attempt([&] {
        std::string text;
        for (const auto& entry : parser.get_string_array(path)) {
            text += entry;
        }
        return text;
    });
    const auto map = attempt([&] { return joined(parser.get_string_map(path)); });

    std::unique_ptr<json::parser_interface> object;
    attempt([&] {
        object = parser.get_object(path);
        return std::string();
    });
    if (object) {
        const auto inner = attempt([&] { return joined(object->get_string_map("")); });
        require(inner == map, "get_object's parser reads its object other than the parent does");
        if (depth == 0) {
            query_scalars(*object, path);
            query_collections(*object, path, depth + 1);
        }
    }

    std::vector<std::unique_ptr<json::parser_interface>> elements;
    attempt([&] {
        elements = parser.get_object_array(path);
        return std::string();
    });
    for (std::size_t i = 0; i < elements.size() && i < 4; ++i) {
        const auto element = attempt([&] { return joined(elements[i]->get_string_map("")); });
        const auto direct =
            attempt([&] { return joined(parser.get_string_map(path + "/" + std::to_string(i))); });
        require(element == direct,
                "get_object_array's parser reads its element other than the parent does");
    }
}

void query_jsonpath(const std::string& path, const std::string& body) {
    std::unique_ptr<json::parser_interface> parser;
    try {
        parser = json::create_jsonpath_parser(body);
    } catch (const json::exceptions::parse_error&) {
        return;
    }
    query_scalars(*parser, path);
    // The collections are not offered with JSONPath, whatever the path.
    const std::function<void()> collections[] = {
        [&] { parser->get_string_array(path); }, [&] { parser->get_string_map(path); },
        [&] { parser->get_object_array(path); }, [&] { parser->get_object(path); }};
    for (const auto& call : collections) {
        bool refused = false;
        try {
            call();
        } catch (const json::exceptions::exception& e) {
            refused = std::string(e.what()) == json::exceptions::messages::not_yet_implemented;
        }
        require(refused, "a JSONPath parser answered a collection query");
    }
}

void query_jsonpointer(const std::string& path, const std::string& body) {
    std::unique_ptr<json::parser_interface> parser;
    try {
        parser = json::create_jsonpointer_parser(body);
    } catch (const json::exceptions::parse_error&) {
        return;
    }
    query_scalars(*parser, path);
    query_collections(*parser, path, 0);
}

}  // namespace

MICROSOFTAZURE_FUZZ_TARGET(json_query) {
    input_reader input(data, size);
    const std::string path(input.line());
    const std::string body(input.rest());
    query_jsonpointer(path, body);
    query_jsonpath(path, body);
    return 0;
}
