#include "json/impl/json_document.hpp"

#include <jsoncons/json_filter.hpp>
#include <jsoncons_ext/jsonpath/jsonpath.hpp>

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "json/exceptions.hpp"
#include "json/impl/document_value.hpp"
#include "json/impl/plain_json_reader.hpp"
#include "json/parser_factory.hpp"

namespace zentrova::monitoring_modules::json::impl {

namespace {

// The values of an ordinary answer take about three times its text.
constexpr std::size_t bytes_per_text_byte = 3;

using jsoncons::semantic_tag;
using jsoncons::ser_context;

// Hands the events of one text on to the document builder and counts the values among them: the
// reading stops with exceptions::too_many_values at the first value beyond the limit, before the
// builder holds it. A value costs the builder and the document up to about 150 bytes however
// short its text, so that the count, more than the answer's size, bounds a document's memory.
class value_counter final : public jsoncons::basic_json_filter<char> {
public:
    using basic_json_filter::basic_json_filter;

private:
    void count() {
        if (++values_ > largest_document_values) {
            throw exceptions::too_many_values(
                "more than " + std::to_string(largest_document_values) +
                " values (objects, arrays, texts, numbers, true, false and null), more than any "
                "Azure answer the module reads; reading stopped there (check that the endpoint is "
                "an Azure endpoint)");
        }
    }

    JSONCONS_VISITOR_RETURN_TYPE visit_begin_object(semantic_tag tag, const ser_context& context,
                                                    std::error_code& failed) override {
        count();
        destination().begin_object(tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_begin_array(semantic_tag tag, const ser_context& context,
                                                   std::error_code& failed) override {
        count();
        destination().begin_array(tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_string(const string_view_type& value, semantic_tag tag,
                                              const ser_context& context,
                                              std::error_code& failed) override {
        count();
        destination().string_value(value, tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_uint64(std::uint64_t value, semantic_tag tag,
                                              const ser_context& context,
                                              std::error_code& failed) override {
        count();
        destination().uint64_value(value, tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_int64(std::int64_t value, semantic_tag tag,
                                             const ser_context& context,
                                             std::error_code& failed) override {
        count();
        destination().int64_value(value, tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_double(double value, semantic_tag tag,
                                              const ser_context& context,
                                              std::error_code& failed) override {
        count();
        destination().double_value(value, tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_bool(bool value, semantic_tag tag,
                                            const ser_context& context,
                                            std::error_code& failed) override {
        count();
        destination().bool_value(value, tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_null(semantic_tag tag, const ser_context& context,
                                            std::error_code& failed) override {
        count();
        destination().null_value(tag, context, failed);
        JSONCONS_VISITOR_RETURN;
    }

    std::size_t values_ = 0;
};

}  // namespace

// A document and the arena that holds all of its values. The value is built in place and never
// destroyed: everything it owns is the arena's, which goes away whole with the tree.
struct json_document::tree {
    // Parses the text: plain answers straight into the library's document builder, any other
    // text, and every text that is not JSON, with the library's parser. Throws
    // exceptions::parse_error with the parser's own text, exceptions::too_many_values at the
    // first value past the limit.
    explicit tree(std::string_view text) : arena(bytes_per_text_byte * text.size()) {
        const document_arena::building building(arena);
        if (read_plain(text)) {
            return;
        }
        // What the plain reader built goes before the library reads the text again.
        arena.release();
        try {
            read_with_library(text);
        } catch (const jsoncons::ser_error& error) {
            throw exceptions::parse_error(error.what());
        }
    }

    // The matches of a JSONPath expression over `root`, copied into this tree's arena.
    tree(const document_value& root, const std::string& jsonpath) : arena(0) {
        const document_arena::building building(arena);
        new (&storage) document_value(jsoncons::jsonpath::json_query(
            jsoncons::combine_allocators(arena_allocator<char>()), root, jsonpath));
    }

    ~tree() = default;
    tree(const tree&) = delete;
    tree& operator=(const tree&) = delete;
    tree(tree&&) = delete;
    tree& operator=(tree&&) = delete;

    // Whether the plain reader took the whole text.
    bool read_plain(std::string_view text) {
        jsoncons::json_decoder<document_value> builder;
        value_counter counter(builder);
        if (!plain_json_reader(text, counter).read() || !builder.is_valid()) {
            return false;
        }
        new (&storage) document_value(builder.get_result());
        return true;
    }

    // The library's own parse of a text (basic_json::parse), its values counted on the way.
    void read_with_library(std::string_view text) {
        jsoncons::json_decoder<document_value> builder;
        value_counter counter(builder);
        jsoncons::json_parser parser;
        const auto bom =
            jsoncons::unicode_traits::detect_encoding_from_bom(text.data(), text.size());
        if (bom.encoding != jsoncons::unicode_traits::encoding_kind::utf8 &&
            bom.encoding != jsoncons::unicode_traits::encoding_kind::undetected) {
            throw jsoncons::ser_error(jsoncons::json_errc::illegal_unicode_character, parser.line(),
                                      parser.column());
        }
        const auto offset = static_cast<std::size_t>(bom.ptr - text.data());
        parser.update(text.data() + offset, text.size() - offset);
        parser.parse_some(counter);
        parser.finish_parse(counter);
        parser.check_done();
        if (!builder.is_valid()) {
            throw jsoncons::ser_error(jsoncons::json_errc::source_error,
                                      "Failed to parse json string");
        }
        new (&storage) document_value(builder.get_result());
    }

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
