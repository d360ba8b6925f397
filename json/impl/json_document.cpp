#include "json/impl/json_document.hpp"

#include <jsoncons_ext/jsonpath/jsonpath.hpp>

#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "json/exceptions.hpp"
#include "json/impl/document_value.hpp"
#include "json/impl/plain_json_reader.hpp"

namespace zentrova::monitoring_modules::json::impl {

namespace {

// The library's document builder first sets aside room for a thousand pending members (about
// 64 KiB of its allocator's memory); a document's values then take about three times its text.
constexpr std::size_t builder_reserve = std::size_t{64} * 1024U;
constexpr std::size_t bytes_per_text_byte = 3;

}  // namespace

// A document and the arena that holds all of its values. The value is built in place and never
// destroyed: everything it owns is the arena's, which goes away whole with the tree.
struct json_document::tree {
    // Parses the text: plain answers straight into the library's document builder, any other
    // text, and every text that is not JSON, with the library's parser. Throws
    // exceptions::parse_error with the parser's own text.
    explicit tree(std::string_view text)
        : arena(builder_reserve + bytes_per_text_byte * text.size()) {
        const document_arena::building building(arena);
        jsoncons::json_decoder<document_value> builder;
        if (plain_json_reader(text, builder).read() && builder.is_valid()) {
            new (&storage) document_value(builder.get_result());
            return;
        }
        try {
            new (&storage) document_value(document_value::parse(text));
        } catch (const jsoncons::ser_error& error) {
            throw exceptions::parse_error(error.what());
        }
    }

    // The matches of a JSONPath expression over `root`, copied into this tree's arena.
    tree(const document_value& root, const std::string& jsonpath) : arena(builder_reserve) {
        const document_arena::building building(arena);
        new (&storage) document_value(jsoncons::jsonpath::json_query(
            jsoncons::combine_allocators(arena_allocator<char>()), root, jsonpath));
    }

    ~tree() = default;
    tree(const tree&) = delete;
    tree& operator=(const tree&) = delete;
    tree(tree&&) = delete;
    tree& operator=(tree&&) = delete;

    const document_value& value() const {
        return *std::launder(reinterpret_cast<const document_value*>(&storage));
    }

    document_arena arena;
    std::aligned_storage_t<sizeof(document_value), alignof(document_value)> storage;
};

namespace {

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

json_document::json_document(std::string_view text) : tree_(std::make_unique<tree>(text)) {}

json_document::json_document(std::unique_ptr<tree> parsed) : tree_(std::move(parsed)) {}

json_document::~json_document() = default;
json_document::json_document(json_document&&) noexcept = default;
json_document& json_document::operator=(json_document&&) noexcept = default;

json_node json_document::root() const {
    return json_node(&tree_->value());
}

json_document json_document::select(const std::string& jsonpath) const {
    if (uses_regular_expression(jsonpath)) {
        throw exceptions::query_error(
            "regular expressions (=~, tokenize) are not supported; compare with == or use "
            "contains(), starts_with() or ends_with()");
    }
    try {
        return json_document(std::make_unique<tree>(tree_->value(), jsonpath));
    } catch (const jsoncons::jsonpath::jsonpath_error& error) {
        throw exceptions::query_error(error.what());
    } catch (const std::exception& error) {
        // Evaluation can also fail outside the expression parser, for example in a function
        // given an argument of the wrong kind.
        throw exceptions::query_error(error.what());
    }
}

}  // namespace zentrova::monitoring_modules::json::impl
