#include "json/parser_factory.hpp"

#include "json/impl/impl_jsonpath.hpp"
#include "json/impl/impl_jsonpointer.hpp"

namespace zentrova::monitoring_modules::json {

std::unique_ptr<parser_interface> create_jsonpointer_parser(std::string_view body) {
    return std::make_unique<impl::impl_jsonpointer>(body);
}

std::unique_ptr<parser_interface> create_jsonpath_parser(std::string_view body) {
    return std::make_unique<impl::impl_jsonpath>(body);
}

}  // namespace zentrova::monitoring_modules::json
