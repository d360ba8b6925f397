#include <curl/curl.h>

#include <stdexcept>
#include <string>

#include "rest/http_runtime.hpp"
#include "rest/impl/curl_library.hpp"

namespace zentrova::monitoring_modules::rest {

// The first runtime loads libcurl, so that only a module that connects pays for it. libcurl
// counts its initialisations, so runtimes nest and the last one cleans up; libcurl itself stays
// loaded.
http_runtime::http_runtime() {
    const auto& curl = impl::curl_library::get();
    const CURLcode code = curl.global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) cannot start: ") +
                                 curl.easy_strerror(code));
    }
}

http_runtime::~http_runtime() {
    // Loaded: this runtime's constructor got it.
    impl::curl_library::get().global_cleanup();
}

}  // namespace zentrova::monitoring_modules::rest
