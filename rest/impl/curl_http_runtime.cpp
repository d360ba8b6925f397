#include <curl/curl.h>

#include <stdexcept>
#include <string>

#include "rest/http_runtime.hpp"

namespace zentrova::monitoring_modules::rest {

// libcurl counts its initialisations, so runtimes nest and the last one cleans up.
http_runtime::http_runtime() {
    const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) cannot start: ") +
                                 curl_easy_strerror(code));
    }
}

http_runtime::~http_runtime() {
    curl_global_cleanup();
}

}  // namespace zentrova::monitoring_modules::rest
