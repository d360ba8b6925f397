#include "json/impl/json_document.hpp"

#include <jsoncons/json.hpp>
#include <jsoncons_ext/jsonpath/jsonpath.hpp>

#include <exception>
#include <string_view>
#include <type_traits>
#include <utility>

#include "json/exceptions.hpp"

namespace zentrova::monitoring_modules::json::impl {

// Sorted members: lookups by name are binary searches, and objects list their members by name,
// which is the order string maps are handed out in.
static_assert(std::is_same_v<jsoncons::json::policy_type, jsoncons::sorted_policy>);

struct json_document::tree {
    jsoncons::json value;
};

namespace {

jsoncons::json parse_text(std::string_view text) {
    try {
        return jsoncons::json::parse(text);
    } catch (const jsoncons::ser_error& error) {
        throw exceptions::parse_error(error.what());
    }
}

// Whether the expression uses a regular expression outside its string literals: the match
// operator "=~" or the function tokenize(). jsoncons evaluates both with std::regex, whose
// libstdc++ matcher recurses once per character of the value, so a long string in a response
// would exhaust the calling thread's stack.
bool uses_regular_expression(const std::string& jsonpath) {
    constexpr std::string_view tokenize = "tokenize";
    char quote = 0;
    for (std::size_t i = 0; i < jsonpath.size(); ++i) {
        const char c = jsonpath[i];
        if (quote != 0) {
            if (c == '\\') {
                ++i;
            } else if (c == quote) {
                quote = 0;
            }
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (jsonpath.compare(i, 2, "=~") == 0 ||
                   jsonpath.compare(i, tokenize.size(), tokenize) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

json_document::json_document(std::string_view text)
    : tree_(std::make_unique<tree>(tree{parse_text(text)})) {}

json_document::json_document(std::unique_ptr<tree> parsed) : tree_(std::move(parsed)) {}

json_document::~json_document() = default;
json_document::json_document(json_document&&) noexcept = default;
json_document& json_document::operator=(json_document&&) noexcept = default;

json_node json_document::root() const {
    return json_node(&tree_->value);
}

json_document json_document::select(const std::string& jsonpath) const {
    if (uses_regular_expression(jsonpath)) {
        throw exceptions::query_error(
            "regular expressions (=~, tokenize) are not supported; compare with == or use "
            "contains(), starts_with() or ends_with()");
    }
    try {
        return json_document(
            std::make_unique<tree>(tree{jsoncons::jsonpath::json_query(tree_->value, jsonpath)}));
    } catch (const jsoncons::jsonpath::jsonpath_error& error) {
        throw exceptions::query_error(error.what());
    } catch (const std::exception& error) {
        // Evaluation can also fail outside the expression parser, for example in a function
        // given an argument of the wrong kind.
        throw exceptions::query_error(error.what());
    }
}

}  // namespace zentrova::monitoring_modules::json::impl
