#include <utility>

#include "rest/impl/curl_engine.hpp"
#include "rest/impl/http_engine_factory.hpp"

namespace zentrova::monitoring_modules::rest::impl {

std::unique_ptr<http_engine_interface> make_http_engine(std::shared_ptr<connection_pool> pool) {
    return std::make_unique<curl_engine>(std::move(pool));
}

}  // namespace zentrova::monitoring_modules::rest::impl
