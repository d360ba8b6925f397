#include "rest/http_runtime.hpp"

namespace zentrova::monitoring_modules::rest {

// WinHTTP needs no process-wide start-up or clean-up: everything it keeps belongs to the
// session that each connection pool opens and closes. The runtime exists on Windows only so
// that the pool's life looks the same to every engine.
http_runtime::http_runtime() = default;

http_runtime::~http_runtime() = default;

}  // namespace zentrova::monitoring_modules::rest
