#include "json/parser_factory.hpp"

#include "json/impl/impl_jsonpath.hpp"
#include "json/impl/impl_jsonpointer.hpp"

namespace zentrova::monitoring_modules::json {

// The body is taken by value so that a caller can move in a body it no longer needs; the text is
// then released as soon as it is parsed.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
std::unique_ptr<parser_interface> create_jsonpointer_parser(std::string body) {
    return std::make_unique<impl::impl_jsonpointer>(body);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
std::unique_ptr<parser_interface> create_jsonpath_parser(std::string body) {
    return std::make_unique<impl::impl_jsonpath>(body);
}

}  // namespace zentrova::monitoring_modules::json
