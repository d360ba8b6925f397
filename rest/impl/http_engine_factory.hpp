#pragma once

#include <memory>

#include "rest/connection_pool.hpp"
#include "rest/http_engine_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// The platform's HTTP engine over `pool`: libcurl, or WinHTTP in the Windows build. CMake picks
// the one file that defines it.
std::unique_ptr<http_engine_interface> make_http_engine(std::shared_ptr<connection_pool> pool);

}  // namespace zentrova::monitoring_modules::rest::impl
