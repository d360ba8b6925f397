#include <utility>

#include "rest/impl/http_engine_factory.hpp"
#include "rest/impl/winhttp_engine.hpp"

namespace zentrova::monitoring_modules::rest::impl {

std::unique_ptr<http_engine_interface> make_http_engine(std::shared_ptr<connection_pool> pool) {
    return std::make_unique<winhttp_engine>(std::move(pool));
}

}  // namespace zentrova::monitoring_modules::rest::impl
